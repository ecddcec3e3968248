// The structure of a load file, GlobalPlatform Card 2.3.1, 11.6.2.3 and C.2.
#pragma once

#include <optional>
#include <vector>

#include "globalplatform/Bytes.h"

namespace Card {

using GlobalPlatform::Bytes;

constexpr std::size_t HashLength = 32;

Bytes Sha256(const Bytes& message);

struct LoadFileData {
    Bytes code;          // the load file data block
    bool authenticated;  // blocks for data authentication stand before it
};

// Nothing when the bytes are no whole load file.
std::optional<LoadFileData> ReadLoadFile(const Bytes& file);

// The AIDs of the applets when the code is in the CAP file format of Java Card (Virtual Machine, chapter 6):
// components, of which the first has the magic number DECAFFED. None of other code. Nothing when
// the components are damaged.
std::optional<std::vector<Bytes>> ModulesOfCode(const Bytes& code);

}  // namespace Card
