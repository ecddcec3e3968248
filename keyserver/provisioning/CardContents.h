// SPDX-License-Identifier: Apache-2.0
// What a card says of its contents: the entries of GET STATUS and the key information template, read with
// every length checked.
#pragma once

#include <string>
#include <vector>

#include "globalplatform/Bytes.h"
#include "globalplatform/Instruction.h"

namespace KeyServer {

// What can be listed.
enum class CardSubset : std::uint8_t {
    IssuerDomain = GlobalPlatform::StatusSubset::IssuerDomain,
    Applications = GlobalPlatform::StatusSubset::Applications,
    LoadFiles = GlobalPlatform::StatusSubset::LoadFiles,
};

// One line for each entry of a response to GET STATUS in TLV form; GlobalPlatform Card 2.3.1,
// table 11-36. Throws CardProblem.
[[nodiscard]] std::vector<std::string> DescribeEntries(CardSubset subset, const GlobalPlatform::Bytes& data);

// The versions in a key information template, in their order and each once; H.2. Throws CardProblem.
[[nodiscard]] std::vector<std::uint8_t> KeyVersions(const GlobalPlatform::Bytes& data);

}  // namespace KeyServer
