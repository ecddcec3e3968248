// SPDX-License-Identifier: Apache-2.0
// Lets the server run its script for a service, and says what the card is told meanwhile: run SERVICE-ID
// [FC-ID].
#include <iostream>

#include <navo/Causes.h>
#include <navo/Jobs.h>

namespace {

void Run(const std::string& serviceId, const std::string& functionId) {
    Navo::Session session;
    Navo::CallOptions options;
    options.onProgress = [](const std::string& text) { std::cout << text << std::endl; };
    session.Do(Navo::Jobs::RunScript({serviceId, functionId}), options);
    std::cout << "done\n";
}

void Explain(const std::string& code) {
    for (const Navo::Cause& cause : Navo::CausesOf(code)) {
        std::cerr << cause.meaning << "\n" << cause.lookAt << "\n";
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) {
        std::cerr << "Usage: run SERVICE-ID [FC-ID]\n";
        return 2;
    }
    try {
        Run(arguments[1], count > 2 ? arguments[2] : "");
        return 0;
    } catch (const Navo::JobFailed& failure) {
        std::cerr << failure.what() << "\n";
        Explain(failure.Result().code);
        return 1;
    } catch (const Navo::ClientError& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
