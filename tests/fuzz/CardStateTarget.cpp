// SPDX-License-Identifier: Apache-2.0
// The text that a software card is kept in.
#include <stdexcept>

#include "card/StateText.h"
#include "tests/fuzz/FuzzTarget.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const Card::CardContent content =
            Card::DecodeState(std::string(reinterpret_cast<const char*>(data), size));
        const std::string text = Card::EncodeState(content);
        Require(Card::EncodeState(Card::DecodeState(text)) == text, "a card's text reads back as it was");
    } catch (const std::runtime_error& error) {
        Require(*error.what() != '\0', "a refusal says why");
    }
    return 0;
}
