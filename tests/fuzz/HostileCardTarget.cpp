// SPDX-License-Identifier: Apache-2.0
// A command to a card that answers what it likes: each response is a length of two bytes and that many bytes.
#include <stdexcept>

#include "app/Se.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/PlayedCard.h"
#include "tests/fuzz/ServiceWorld.h"

namespace {

void PlayResponses(FuzzInput& input) {
    Card() = PlayedCard();
    while (!input.AtEnd()) {
        std::string response;
        for (std::uint32_t left = input.Number(2); left > 0 && !input.AtEnd(); --left) {
            response += static_cast<char>(input.Byte());
        }
        Card().responses.push_back(response);
    }
}

// Whatever a query makes of the responses, it may raise nothing but what its callers expect.
template <typename Query>
void Ask(Query query) {
    try {
        query();
    } catch (const std::out_of_range&) {
        // A response that ends too early.
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ServiceWorld();
    FuzzInput input(data, size);
    const std::uint8_t query = input.Byte();
    PlayResponses(input);
    const std::size_t played = Card().responses.size();
    Na::SeSession session(0);
    Require(session.IsOpen(), "the device's element opens");
    switch (query % 3) {
        case 0: {
            const std::string response = session.Element().Apdu("80CA9F7F00");
            Require(response.empty() || response.size() >= 4, "a response has a status word");
            Require(Card().commands <= played + 1, "a card that has come to its end is not asked again");
            break;
        }
        case 1:
            Ask([&] { session.Element().GetCplc(); });
            break;
        default:
            Ask([&] { session.Element().GetFreeMemory(); });
            break;
    }
    return 0;
}
