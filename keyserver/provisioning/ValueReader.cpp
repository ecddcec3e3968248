// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/ValueReader.h"

#include "globalplatform/Aid.h"

namespace KeyServer {

using GlobalPlatform::FromHexText;

Bytes ReadHex(const Place& place, std::size_t least, std::size_t most) {
    const std::string text = place.Text();
    const std::optional<Bytes> bytes = FromHexText(text);
    if (!bytes) {
        place.Complain("must be bytes in hexadecimal digits, two for each");
    }
    if (bytes->size() < least || bytes->size() > most) {
        const std::string range =
            least == most ? std::to_string(least) : std::to_string(least) + " to " + std::to_string(most);
        place.Complain("has " + std::to_string(bytes->size()) + " bytes; it must have " + range);
    }
    return *bytes;
}

std::uint8_t ReadByte(const Place& place) {
    return ReadHex(place, 1, 1).front();
}

Bytes ReadAid(const Place& place) {
    return ReadHex(place, GlobalPlatform::ShortestAid, GlobalPlatform::LongestAid);
}

}  // namespace KeyServer
