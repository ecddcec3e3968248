// SPDX-License-Identifier: Apache-2.0
// A load file as INSTALL [for load] and LOAD carry it; GlobalPlatform Card 2.3.1, 11.6.2.3.
#pragma once

#include <stdexcept>
#include <string>

#include "globalplatform/Bytes.h"
#include "globalplatform/KeyType.h"

namespace KeyServer {

struct LoadFile {
    GlobalPlatform::Bytes data;  // with the object C4 around the load file data block
    GlobalPlatform::Bytes hash;  // SHA-256 of the data block
};

// A domain that a load file is for, and the key that it will verify the file with.
struct Signer {
    GlobalPlatform::Bytes domain;  // AID
    GlobalPlatform::KeyComponents key;
};

// Takes a load file data block, or a whole load file with its DAP blocks (E2) and the object C4, and puts
// those of the signers in front. Throws std::invalid_argument for anything else that can be told apart from a
// data block.
[[nodiscard]] LoadFile MakeLoadFile(const std::string& bytes, const std::vector<Signer>& signers = {});

}  // namespace KeyServer
