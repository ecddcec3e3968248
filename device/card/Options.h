// What a software card is made of: its production data, its keys, its memory, its manner and where it is
// kept.
#pragma once

#include <cstdint>
#include <string>

#include "globalplatform/Bytes.h"
#include "globalplatform/Scp03.h"

namespace Card {

using GlobalPlatform::Bytes;

struct Options {
    // The plain card: issuer domain A000000151000000, keys 40..4F three times under version 1, memory only.
    Options();

    Bytes atr;        // at most 33 bytes
    Bytes cplc;       // 42 bytes
    Bytes issuerAid;  // of the issuer security domain, 5 to 16 bytes

    // Of a card that is new; a state file has its own.
    GlobalPlatform::StaticKeys keys;
    std::uint8_t keyVersion = 1;  // 1 to 127

    std::uint64_t memory = 1310720;  // non-volatile, of an empty card, in bytes
    std::uint64_t volatileMemory = 32768;

    // Where the card's content lasts beyond the process; empty: nowhere.
    std::string stateFile;

    // Long answers and wrong expected lengths in the manner of the protocol T=0.
    bool byteProtocol = false;
};

}  // namespace Card
