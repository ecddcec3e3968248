// SPDX-License-Identifier: Apache-2.0
// Command sets: relaying them to the card, and telling the client how far they are.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "app/Agent.h"
#include "app/ResultCode.h"
#include "app/Se.h"
#include "app/jobs/JobServices.h"
#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/RecordingPort.h"
#include "tests/support/service/ResultCodePrinter.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr char SelectAnswer[] = "6F108408A000000003000000A5049F6501FF9000";

class Relay : public testing::Test {
protected:
    Relay() : job(RequestOf(&agent, &port)), se(0) {}

    // Puts the device into the given state and opens its element.
    void Begin(const std::string& configuration) {
        world.Configure(configuration);
        ASSERT_TRUE(se.Open());
        Device::ForgetExchanges();
        world.ForgetLog();
        Na::SetResultCodeText("left behind");
    }

    // An element that answers a SELECT in a way of its own, and every other command with 9000.
    void BeginOrdinarily() {
        Begin(
            "[card]\nanswer 00A4040000=" + std::string(SelectAnswer) +
            "\nanswer 80*=9000\nanswer 01*=9000\n");
    }

    std::string Send(const std::string& commandSet) { return Na::SendApdu(job, se, commandSet); }

    std::vector<std::string> ProgressTexts() const {
        std::vector<std::string> texts;
        for (const auto& report : port.progress) {
            texts.push_back(report.second);
        }
        return texts;
    }

    DeviceWorld world;
    RecordingPort port;
    Na::Agent agent;
    GivenJob job;
    Na::Se se;
};

}  // namespace

TEST_F(Relay, ReturnsNothingForAnEmptySet) {
    BeginOrdinarily();
    EXPECT_EQ(Send(""), "");
    EXPECT_EQ(Device::ExchangeCount(), 0U);
    EXPECT_THAT(world.Log(), IsEmpty());
    EXPECT_EQ(Na::GetResultCodeText(), "left behind");
}

TEST_F(Relay, AnswersASetOfOneItemWithASetOfOneItem) {
    BeginOrdinarily();
    EXPECT_EQ(Send("/0100A4040000"), std::string("/01") + SelectAnswer);
    EXPECT_THAT(Device::Exchanges(), ElementsAre(Device::Exchange{"00A4040000", SelectAnswer}));
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
}

TEST_F(Relay, AnswersEveryItemOfASetInItsOrder) {
    Begin("[card]\nanswer 8001=AA9000\nanswer 8002=BB6A82\nanswer 8003=6D00\n");
    EXPECT_EQ(Send("/018001/018002/018003"), "/01AA9000/01BB6A82/016D00");
}

TEST_F(Relay, DoesNotLookAtTheTwoCharactersThatBeginAnItem) {
    Begin("[card]\nanswer 8001=9000\n");
    EXPECT_EQ(Send("/ZZ8001/  8001"), "/019000/019000");
}

TEST_F(Relay, TakesTheFirstCharacterOfTheSetAsItStands) {
    Begin("[card]\nanswer 8001=9000\n");
    EXPECT_EQ(Send("X018001/018001"), "X019000/019000");
}

TEST_F(Relay, ReadsAnApduInEitherCase) {
    Begin("[card]\nanswer 80CA9F7F00=9000\n");
    EXPECT_EQ(Send("/0180ca9f7f00"), "/019000");
}

TEST_F(Relay, ReportsNoProgressForAnApduOfSixCharacters) {
    BeginOrdinarily();
    EXPECT_EQ(Send("/0180CA9F"), "/019000");
    EXPECT_THAT(port.progress, IsEmpty());
    EXPECT_EQ(Device::ExchangeCount(), 1U);
}

TEST_F(Relay, ReportsProgressForAnApduOfSevenCharacters) {
    BeginOrdinarily();
    EXPECT_EQ(Send("/0180CA9F7"), "/019000");
    EXPECT_THAT(port.progress, ElementsAre(Pair(ClientId, "CA_Research")));
    EXPECT_THAT(Device::Exchanges(), ElementsAre(Device::Exchange{"80CA9F70", "9000"}));
}

TEST_F(Relay, ReportsProgressBeforeItSendsTheCommand) {
    BeginOrdinarily();
    std::vector<std::string> logAtProgress;
    std::uint64_t exchangesAtProgress = 1;
    port.onProgress = [&] {
        logAtProgress = world.LocatedLog();
        exchangesAtProgress = Device::ExchangeCount();
    };
    Send("/0100A4040000");
    EXPECT_EQ(exchangesAtProgress, 0U);
    EXPECT_THAT(
        logAtProgress,
        ElementsAre(
            "D SendApdu: CAPDU: 00A4040000 [10]", "D SendProgress: Sending progress",
            "D SendProgress: Progress: A4", "D SendProgress: Sending progress: Select Service"));
    EXPECT_THAT(world.LocatedLog(), Contains("D Apdu: Sending command to SE"));
}

TEST_F(Relay, NamesEveryClassOfCardCommand) {
    BeginOrdinarily();
    Send(
        "/0180EA0000/0180CA0000/0180F20000/0180E60000/0180E80000/0180D80000/0180A40000/0180F00000/0180E20000/"
        "0180500000/0180820000");
    EXPECT_THAT(
        ProgressTexts(),
        ElementsAre(
            "EA_Deletion", "CA_Research", "F2_Status Inquiry", "E6_Services Installation",
            "E8_Service loading", "D8_Key Changes", "A4_Select Service", "F0_Change of state",
            "E2_Change Info", "50_Authentication request", "82_Authentication response"));
}

TEST_F(Relay, ReportsAnUnknownInstructionWithAnUnderscoreAndNothingMore) {
    BeginOrdinarily();
    Send("/0180C00000/0180ca0000");
    EXPECT_THAT(ProgressTexts(), ElementsAre("C0_", "ca_"));
    EXPECT_THAT(world.LocatedLog(), Contains("D SendProgress: Sending progress: "));
}

TEST_F(Relay, RefusesASetWithAnApduOfOneCharacter) {
    BeginOrdinarily();
    EXPECT_EQ(Send("/018"), "21_taken wrong adpu.");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::MalformedCommandSet);
    EXPECT_EQ(Device::ExchangeCount(), 0U);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D SendApdu: CAPDU: 8 [1]", "E SendApdu: Wrong cApdu"));
}

TEST_F(Relay, RefusesASetWithAnItemThatHasNoApdu) {
    BeginOrdinarily();
    for (const std::string set : {"/", "/0", "/01", "/01/", "//", "/0/018001", "//018001", "80"}) {
        Na::SetResultCodeText("left behind");
        EXPECT_EQ(Send(set), "21_taken wrong adpu.") << set;
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::MalformedCommandSet) << set;
    }
    EXPECT_EQ(Device::ExchangeCount(), 0U);
    EXPECT_THAT(world.LocatedLog(), Contains("D SendApdu: CAPDU:  [0]"));
}

TEST_F(Relay, ForgetsEarlierResponsesWhenALaterItemIsMalformed) {
    BeginOrdinarily();
    EXPECT_EQ(Send("/018001/018002/"), "21_taken wrong adpu.");
    EXPECT_EQ(Device::ExchangeCount(), 2U);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::MalformedCommandSet);
}

TEST_F(Relay, SendsAnApduOfTwoCharacters) {
    BeginOrdinarily();
    EXPECT_EQ(Send("/0180"), "/019000");
    EXPECT_EQ(Device::ExchangeCount(), 1U);
}

TEST_F(Relay, SendsAnApduOf65544CharactersAndRefusesALongerOne) {
    BeginOrdinarily();
    const std::string longest = "0102" + std::string(65540, '0');
    EXPECT_EQ(Send("/01" + longest), "/019000");
    EXPECT_EQ(Device::ExchangeCount(), 1U);
    EXPECT_EQ(Send("/01" + longest + "0"), "21_taken wrong adpu.");
    EXPECT_EQ(Device::ExchangeCount(), 1U);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::MalformedCommandSet);
    EXPECT_THAT(world.LocatedLog(), Contains("D SendApdu: CAPDU: " + longest + "0 [65545]"));
}

TEST_F(Relay, TellsTheServerWhenTheCardGivesNoResponse) {
    Begin("[card]\nanswer 80*=9000\n[fault nfc_se_send_apdu]\nresult=NFC_ERROR_OPERATION_FAILED\nfrom=2\n");
    EXPECT_EQ(Send("/018001/018002/018003"), "21_SD API Exception.");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::NoApdu);
    EXPECT_EQ(Device::Calls("nfc_se_send_apdu"), 2U) << "the third command is not sent";
    EXPECT_THAT(world.LocatedLog(), Contains("E SendApdu: Empty rAPDU"));
}

TEST_F(Relay, TellsTheServerWhenTheResponseHasNoStatusWordAndKeepsTheCodeOfTheExchange) {
    Begin("[card]\nanswer 8001=90\nanswer 8002=empty\n");
    EXPECT_EQ(Send("/018001"), "21_SD API Exception.");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
    EXPECT_EQ(Send("/018002"), "21_SD API Exception.");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
}

TEST_F(Relay, GoesOnWithoutReportsWhenTheClientHasGone) {
    BeginOrdinarily();
    job.request->port = nullptr;
    EXPECT_EQ(Send("/0100A4040000"), std::string("/01") + SelectAnswer);
    EXPECT_THAT(port.progress, IsEmpty());
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D SendApdu: CAPDU: 00A4040000 [10]", "D SendProgress: Sending progress",
                                "D SendProgress: No Clients", "D Apdu: Sending command to SE"));
}

TEST_F(Relay, ReportsToNobodyForAJobWithoutRequest) {
    const GivenJob orphan(nullptr);
    world.ForgetLog();
    Na::SendProgress(orphan, "A4");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("D SendProgress: Sending progress", "D SendProgress: No Clients"));
}

TEST_F(Relay, ReadsTheCplcIntoTheRequest) {
    const std::string cplc =
        "0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF0123";
    Begin("[card]\nanswer 80CA9F7F00=9F7F2A" + cplc + "9000\n");
    Na::ReadCplc(job, se);
    EXPECT_EQ(job.request->cplc, cplc);
    EXPECT_EQ(job.request->seId, "0123456789ABCDEF0123456789ABCDEF0123");
}

TEST_F(Relay, TakesAShortCplcWholeForTheIdentifier) {
    Begin("[card]\nanswer 80CA9F7F00=9F7F02ABCD9000\n");
    Na::ReadCplc(job, se);
    EXPECT_EQ(job.request->cplc, "ABCD");
    EXPECT_EQ(job.request->seId, "ABCD");
}

TEST_F(Relay, LeavesTheRequestAsItIsWhenTheCardHasNoCplc) {
    Begin("[card]\nanswer 80CA9F7F00=6A88\n");
    job.request->cplc = "earlier";
    job.request->seId = "earlier too";
    Na::ReadCplc(job, se);
    EXPECT_EQ(job.request->cplc, "earlier");
    EXPECT_EQ(job.request->seId, "earlier too");
}
