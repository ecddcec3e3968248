// SPDX-License-Identifier: Apache-2.0
// What reaches the key server: the first byte chooses a script, a catalogue, or the bodies of messages, one a
// line, to a server that plays a script and manages cards.
#include "keyserver/service/KeyService.h"

#include "tests/fuzz/FuzzTarget.h"
#include "tests/support/keyserver/CatalogueSamples.h"
#include "tests/support/keyserver/Samples.h"

namespace {

using namespace KeyServer;

// A mistake names the text that it was found in.
template <typename Read>
void ReadOrRefuse(Read read) {
    try {
        read();
    } catch (const ScriptError& error) {
        Require(std::string(error.what()).rfind("origin", 0) == 0, "a mistake is told with its place");
    }
}

Catalogue Served() {
    Catalogue catalogue = CatalogueOf(TwoSteps);
    catalogue.services.push_back(ServiceOf(
        R"({"do": "list"}, {"do": "delete", "aid": "A0000008410001"}, {"do": "putKey", "version": "31"})",
        R"("hostChallenge": "0102030405060708")"));
    return catalogue;
}

void Converse(FuzzInput& input) {
    Journal journal({}, "");
    KeyService service(Served(), {16, std::chrono::minutes(1)}, journal);
    while (!input.AtEnd()) {
        const Reply reply = service.Answer(input.Line(), 1);
        Require(reply.status == 200 || reply.status == 400, "a message has an answer");
        Require(
            reply.status != 200 || reply.body.find("\"resultCode\"") != std::string::npos,
            "an answer has a result code");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    switch (input.Byte() % 3) {
        case 0:
            ReadOrRefuse([&] { ParseScript(input.Rest(), "origin"); });
            break;
        case 1:
            ReadOrRefuse([&] { ParseCatalogue(input.Rest(), "origin", "/nowhere"); });
            break;
        default:
            Converse(input);
            break;
    }
    return 0;
}
