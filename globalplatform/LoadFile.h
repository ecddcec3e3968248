// SPDX-License-Identifier: Apache-2.0
// The structure of a load file: GlobalPlatform Card 2.3.1, 11.6.2.3 and C.2.
#pragma once

#include <optional>
#include <vector>

#include "globalplatform/Tlv.h"

namespace GlobalPlatform {

// What LOAD can number: blocks of at most 255 bytes.
constexpr std::size_t MostLoadBlocks = 256;
constexpr std::size_t LongestLoadFile = MostLoadBlocks * 255;

struct LoadFileParts {
    std::vector<TlvObject> before;  // of the data block: blocks for data authentication, if all is right
    Bytes dataBlock;
};

// Nothing when the bytes are no sequence of objects that ends with a data block.
[[nodiscard]] std::optional<LoadFileParts> ParseLoadFile(const Bytes& file);

// Whether the bytes begin as a load file does, and not as a data block alone.
[[nodiscard]] bool BeginsLikeLoadFile(const Bytes& bytes);

// Whether an object in front of the data block is one for data authentication: a domain's AID and its
// signature.
[[nodiscard]] bool IsAuthenticationBlock(const TlvObject& object);

// The load file of a data block that nobody has to authenticate.
[[nodiscard]] Bytes MakeLoadFile(const Bytes& dataBlock);

// What a data block in the CAP file format of Java Card (Virtual Machine, chapter 6) says of itself:
// components, of which the first has the magic number DECAFFED.
struct CodeDescription {
    bool known = false;          // the format; other code says nothing
    Bytes package;               // AID
    Bytes version;               // major, minor
    std::vector<Bytes> modules;  // the AIDs of its applets; none in a library
};

// Nothing when the components are damaged.
[[nodiscard]] std::optional<CodeDescription> DescribeCode(const Bytes& dataBlock);

}  // namespace GlobalPlatform
