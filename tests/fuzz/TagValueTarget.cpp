// SPDX-License-Identifier: Apache-2.0
// Looking up a tag in a card's response. The first line is the tag, the rest the response, both as text.
#include <stdexcept>

#include "app/Se.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/ServiceWorld.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ServiceWorld();
    FuzzInput input(data, size);
    const std::string tag = input.Line();
    const std::string response = input.Rest();
    try {
        const std::string value = Na::Se::GetTagValue(response, tag);
        Require(response.find(value) != std::string::npos, "a value is a part of the response");
    } catch (const std::out_of_range&) {
        // A tag or a length that is cut short.
    }
    try {
        Na::Se::isValidSW(response);
    } catch (const std::out_of_range&) {
        Require(response.size() < 4, "four characters are a status word");
    }
    return 0;
}
