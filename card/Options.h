// SPDX-License-Identifier: Apache-2.0
// What a software card is made of: its production data, its keys, its memory, its manner and where it is
// kept.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "card/Manners.h"
#include "card/Program.h"
#include "globalplatform/Bytes.h"
#include "globalplatform/LifeCycle.h"
#include "globalplatform/Scp03.h"

namespace Card {

using GlobalPlatform::Bytes;

constexpr std::size_t LongestAtr = 33;  // ISO 7816-3, 8.2.1
constexpr std::size_t CplcLength = 42;
constexpr std::size_t LongestIssuerNumber = 32;
constexpr std::uint8_t HighestKeyVersion = 127;

// Of keys that a card has until it gets its first own: a practice of makers.
constexpr std::uint8_t InitialKeyVersion = 0xFF;

[[nodiscard]] constexpr bool IsKeyVersion(std::uint64_t version) {
    return (version >= 1 && version <= HighestKeyVersion) || version == InitialKeyVersion;
}

struct Options {
    // The plain card: issuer domain A000000151000000, secured, keys 40..4F three times under version 1, kept
    // nowhere.
    Options();

    Bytes atr;
    Bytes cplc;
    Bytes issuerNumber;  // issuer identification number, ISO 7812, until STORE DATA sets another

    // Of a card that is new; a state file has its own.
    Bytes issuerAid;                                                  // of the issuer security domain
    GlobalPlatform::StaticKeys keys;                                  // each of the same 16, 24 or 32 bytes
    std::uint8_t keyVersion = 1;                                      // 1 to 127, or 255
    std::uint8_t lifeCycle = GlobalPlatform::LifeCycle::CardSecured;  // a card's state

    std::uint64_t memory = 1310720;  // non-volatile, of an empty card, in bytes
    std::uint64_t volatileMemory = 32768;

    // The option "i" of the secure channel: 00, 10, 20, 30, 60 or 70; Amendment D, 5.1.
    std::uint8_t channelOption = GlobalPlatform::ChannelOption::PseudoRandomChallenge;

    // How often in a row authentication may fail before the card refuses it for ever.
    std::uint32_t authenticationAttempts = 10;

    // Where the card's content lasts beyond the process; empty: nowhere.
    std::string stateFile;

    // Long answers and wrong expected lengths in the manner of the protocol T=0.
    bool byteProtocol = false;

    Manners manners;

    // What installed applications answer.
    std::vector<Program> programs;
};

// Throws std::invalid_argument that names what cannot be.
void Check(const Options& options);

}  // namespace Card
