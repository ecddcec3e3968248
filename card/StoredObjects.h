// The objects that STORE DATA carries, GlobalPlatform Card 2.3.1, 11.11.2.3.
#pragma once

#include <optional>
#include <vector>

#include "globalplatform/Tlv.h"

namespace Card {

// As in P1, 11.11.2.1.
namespace ObjectStructure {
constexpr std::uint8_t Unknown = 0x00;
constexpr std::uint8_t DataGroups = 0x08;
constexpr std::uint8_t BerTlv = 0x10;
}  // namespace ObjectStructure

struct LeadingObjects {
    std::vector<GlobalPlatform::TlvObject> objects;
    GlobalPlatform::Bytes remainder;  // the beginning of one more
};

// Data groups have identifiers of two bytes and lengths of one byte, or of FF and two more. Nothing when an
// object can never be right: a tag or length of too many bytes.
std::optional<LeadingObjects> ReadLeadingObjects(const GlobalPlatform::Bytes& data, std::uint8_t structure);

}  // namespace Card
