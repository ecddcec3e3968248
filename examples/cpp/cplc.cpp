// SPDX-License-Identifier: Apache-2.0
// Prints the card production life cycle data.
#include <iostream>

#include <navo/Jobs.h>

int main() {
    try {
        Navo::Session session;
        std::cout << session.Do(Navo::Jobs::Cplc()) << "\n";
        return 0;
    } catch (const Navo::ClientError& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
