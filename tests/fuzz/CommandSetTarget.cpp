// SPDX-License-Identifier: Apache-2.0
// A server's command set, relayed to a card that accepts everything.
#include <algorithm>

#include "app/Agent.h"
#include "app/Se.h"
#include "app/jobs/JobServices.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/PlayedCard.h"
#include "tests/fuzz/ServiceWorld.h"
#include "tests/support/service/RecordingPort.h"

namespace {

std::size_t Slashes(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '/'));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ServiceWorld();
    static Na::Agent agent;
    static RecordingPort port;
    const std::string set(reinterpret_cast<const char*>(data), size);
    const GivenJob job(RequestOf(&agent, &port));
    Na::SeSession session(0);
    Require(session.IsOpen(), "the device's element opens");
    port.progress.clear();
    Card() = PlayedCard();
    const std::string responses = Na::SendApdu(job, session.Element(), set);
    Require(set.empty() == responses.empty(), "only an empty set has an empty response set");
    Require(Card().commands <= Slashes(set) + 1, "no more commands than the set has items");
    if (!responses.empty() && responses.compare(0, 3, "21_") != 0) {
        Require(responses.size() == 7 * Card().commands, "one response for each command");
    }
    return 0;
}
