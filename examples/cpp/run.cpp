// SPDX-License-Identifier: Apache-2.0
// Lets the server run its script for a service, and says what the card is told meanwhile: run SERVICE-ID
// [FC-ID].
#include <iostream>

#include <navo/Causes.h>
#include <navo/Client.h>
#include <navo/Outcome.h>

namespace {

int Run(const std::string& serviceId, const std::string& functionId) {
    Navo::Session session;
    Navo::CallOptions options;
    options.onProgress = [](const std::string& text) { std::cout << text << std::endl; };
    const Navo::Map request = {
        {Navo::Key::Cmd, Navo::CommandText(Navo::Command::RunScript)},
        {Navo::Key::ServiceId, serviceId},
        {Navo::Key::FcId, functionId}};
    const Navo::Outcome outcome = Navo::Interpret(Navo::Command::RunScript, session.Call(request, options));
    std::cout << outcome.message << "\n";
    for (const Navo::Cause& cause : Navo::CausesOf(outcome.code)) {
        std::cout << cause.meaning << "\n" << cause.lookAt << "\n";
    }
    return outcome.success ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) {
        std::cerr << "Usage: run SERVICE-ID [FC-ID]\n";
        return 2;
    }
    try {
        return Run(arguments[1], count > 2 ? arguments[2] : "");
    } catch (const Navo::ClientError& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
