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

// For data authentication: the security domain that verifies it, and its signature.
struct AuthenticationBlock {
    Bytes domain;  // AID
    Bytes signature;
};

struct LoadFileParts {
    std::vector<AuthenticationBlock> blocks;
    bool ciphered = false;  // the data block, with the next
    Bytes initialVector;    // empty: of zeros
    Bytes dataBlock;
};

// Nothing when the bytes are no sequence of such blocks that ends with a data block, plain or encrypted.
[[nodiscard]] std::optional<LoadFileParts> ParseLoadFile(const Bytes& file);

// Whether the bytes begin as a load file does, and not as a data block alone.
[[nodiscard]] bool BeginsLikeLoadFile(const Bytes& bytes);

// The object that stands in front of the data block.
[[nodiscard]] Bytes AuthenticationObject(const AuthenticationBlock& block);

// The load file of a plain data block that nobody has to authenticate.
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
