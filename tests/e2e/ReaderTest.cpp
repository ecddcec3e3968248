// SPDX-License-Identifier: Apache-2.0
// The whole service on a card in a reader.
#include <gtest/gtest.h>

#include "tests/e2e/ReaderWorld.h"

namespace {

using Reader = ReaderWorld;

constexpr char Select[] = "00A4040008A00000015100000000";
constexpr char SelectExtended[] = "00A40400000008A0000001510000000000";
constexpr char CplcExtended[] = "80CA9F7F000000";

// The program that presents a card, with its first line read.
std::unique_ptr<Process> Present(World& world, PrivatePcscd& service, std::vector<std::string> options) {
    const std::size_t before = service.Insertions();
    options.insert(options.begin(), {NAVO_CARD_PROGRAM, "--port", std::to_string(service.Port())});
    std::unique_ptr<Process> card = world.Start(options);
    EXPECT_TRUE(Eventually([&] { return service.Insertions() > before; })) << card->Errors();
    return card;
}

TEST_F(Reader, HoldsTheCardWhoseCplcAndMemoryClientsAskFor) {
    const CardInReader card(*service);
    EXPECT_EQ(AskCplc(), PlainCplc());
    EXPECT_EQ(world.Ask({{"Cmd", "68"}}).at("MemoryInfo"), std::to_string(CardInReader::Plain().memory));
}

TEST_F(Reader, HoldsTheCardThatAServersScriptRunsOn) {
    const CardInReader card(*service);
    KeyServerProcess& server = Serve({{Select, "80CA9F7F00"}, {"80CA9F7F00"}});
    const World::Job job = RunScript();
    EXPECT_EQ(job.returnCode, Done);
    EXPECT_EQ(job.progress.size(), 3U);
    EXPECT_EQ(server.Messages().back().fields.at("rApduSet"), "/019F7F2A" + PlainCplc() + "9000");
    EXPECT_EQ(card.Commands(), 5U) << "two of them the service's own";
}

TEST_F(Reader, CarriesCommandsOfExtendedLength) {
    const CardInReader card(*service);
    KeyServerProcess& server = Serve({{SelectExtended}, {CplcExtended}});
    EXPECT_EQ(RunScript().returnCode, Done);
    EXPECT_EQ(server.Messages().back().fields.at("rApduSet"), "/019F7F2A" + PlainCplc() + "9000");
}

// What the service asks by itself does not fit this protocol: the device answers that in the card's place.
TEST_F(Reader, CarriesTheByteProtocolsCommandsAndAnswersAsTheyAre) {
    const CardInReader card(*service, CardInReader::Plain(true));
    world.Device().LetCardAnswer("00A4040000", "9000");
    world.Device().LetCardAnswer("80CA9F7F00", "9F7F2A" + PlainCplc() + "9000");
    KeyServerProcess& server = Serve({{"80CA9F7F2D"}});
    EXPECT_EQ(RunScript().returnCode, Done);
    EXPECT_EQ(server.Messages().back().fields.at("rApduSet"), "/019F7F2A" + PlainCplc() + "9000");
    EXPECT_EQ(card.Commands(), 1U);
}

TEST_F(Reader, FollowsTheByteProtocolsCardThatAnnouncesAResponse) {
    const CardInReader card(*service, CardInReader::Plain(true));
    world.Device().LetCardAnswer("00A4040000", "9000");
    world.Device().LetCardAnswer("80CA9F7F00", "9F7F2A" + PlainCplc() + "9000");
    KeyServerProcess& server = Serve({{Select}});
    RunScript();
    EXPECT_EQ(card.Commands(), 2U) << "the service asked for the response in its own way";
    EXPECT_EQ(server.Messages().back().fields.at("rApduSet"), "/016D00")
        << "which is no command of the card's";
}

TEST_F(Reader, TakesTheCardThatTheProgramPresents) {
    const std::string cplc(84, '7');
    const std::unique_ptr<Process> card = Present(world, *service, {"--cplc", cplc});
    EXPECT_EQ(AskCplc(), cplc);
    card->Signal(SIGTERM);
    EXPECT_EQ(card->WaitForEnd(), 0);
    EXPECT_EQ(AskCplc(), UnknownError);
}

TEST_F(Reader, TakesTheProgramsCardAgainWhenTheServiceComesBack) {
    const std::unique_ptr<Process> card = Present(world, *service, {});
    EXPECT_EQ(AskCplc(), PlainCplc());
    service->Kill();
    EXPECT_EQ(AskCplc(), UnknownError);
    service->Start();
    EXPECT_TRUE(Eventually([&] { return AskCplc() == PlainCplc(); })) << card->Errors();
    EXPECT_NE(card->Errors().find("the reader has gone"), std::string::npos);
}

TEST_F(Reader, MissesTheProgramsCardWhenItIsToEndWithTheReader) {
    const std::unique_ptr<Process> card = Present(world, *service, {"--once"});
    service->Kill();
    EXPECT_EQ(card->WaitForEnd(), 0);
    const World::Result alone = world.Run({NAVO_CARD_PROGRAM, "--once", "--port", "1"});
    EXPECT_EQ(alone.status, 1);
    EXPECT_EQ(
        alone.errors,
        "navo-card: no reader at 127.0.0.1 port 1: Connection refused (pcscd with the driver vpcd has "
        "one)\n");
}

}  // namespace
