// SPDX-License-Identifier: Apache-2.0
// Prints the card production life cycle data.
#include <iostream>

#include <navo/Client.h>
#include <navo/Outcome.h>

int main() {
    try {
        Navo::Session session;
        const Navo::Map reply = session.Call({{Navo::Key::Cmd, Navo::CommandText(Navo::Command::Cplc)}});
        const Navo::Outcome outcome = Navo::Interpret(Navo::Command::Cplc, reply);
        std::cout << (outcome.success ? outcome.value : outcome.message) << "\n";
        return outcome.success ? 0 : 1;
    } catch (const Navo::ClientError& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
