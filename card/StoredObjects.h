// SPDX-License-Identifier: Apache-2.0
// The objects that STORE DATA carries, GlobalPlatform Card 2.3.1, 11.11.2.3.
#pragma once

#include <optional>
#include <vector>

#include "globalplatform/Tlv.h"

namespace Card {

struct LeadingObjects {
    std::vector<GlobalPlatform::TlvObject> objects;
    GlobalPlatform::Bytes remainder;  // the beginning of one more
};

// The structure is one of DataStructure, and known. Data groups have identifiers of two bytes and lengths of
// one byte, or of FF and two more. Nothing when an object can never be right: a tag or length of too many
// bytes.
[[nodiscard]] std::optional<LeadingObjects> ReadLeadingObjects(
    const GlobalPlatform::Bytes& data, std::uint8_t structure);

}  // namespace Card
