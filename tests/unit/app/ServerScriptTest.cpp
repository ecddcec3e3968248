// SPDX-License-Identifier: Apache-2.0
// The job in which the server drives the card.
#include <gmock/gmock.h>

#include <algorithm>

#include "app/NavoProxy.h"
#include "app/jobs/ServerScript.h"
#include "common/Locations.h"
#include "tests/support/service/ResultCodePrinter.h"
#include "tests/support/service/ResultTexts.h"
#include "tests/unit/app/ServerJob.h"

namespace {

using ResultText::Done;

using testing::Contains;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

HttpReaction CommandSet(const std::string& set) {
    return Answer(R"({"resultCode":"00000000","cApduSet":")" + set + R"("})");
}

HttpReaction Result(const std::string& code) {
    return Answer(R"({"resultCode":")" + code + R"("})");
}

class ServerScript : public ServerJob {
protected:
    std::string Run(const std::string& configuration) { return ServerJob::Run(request, configuration); }
    std::string Run() { return Run(Card("answer 8001=AA9000\nanswer 8002=9000\nanswer 80E2*=9000\n")); }

    Na::RequestMap request = {{"Cmd", "65"}, {"ServiceId", "svc"}, {"FcId", "fc"}, {"pushReq", "push"}};
};

}  // namespace

TEST_F(ServerScript, EndsAtOnceWhenTheServersFirstCodeIsNoCommandSet) {
    peer.Script({Result("00000001")});
    EXPECT_EQ(Run(), Done);
    EXPECT_EQ(peer.Requests().size(), 1U);
    EXPECT_EQ(Device::ExchangeCount(), 2U) << "the CPLC query alone";
    EXPECT_THAT(port.progress, IsEmpty());
}

TEST_F(ServerScript, OpensWithTheClientsFieldsAndTheCard) {
    peer.Script({Result("00000001")});
    Run();
    EXPECT_EQ(Sent(0, "msgCd"), "INITIALIZEAPDU");
    EXPECT_EQ(Sent(0, "serviceId"), "svc");
    EXPECT_EQ(Sent(0, "pushReq"), "push");
    EXPECT_EQ(Sent(0, "cplc"), Cplc);
    EXPECT_EQ(Sent(0, "seId"), SeId);
    EXPECT_THAT(peer.Requests()[0].body, testing::Not(testing::HasSubstr("\"fc\"")));
    EXPECT_THAT(world.Log(), Contains("I/info: Execute"));
    EXPECT_THAT(
        world.Log(),
        Contains(ContainsRegex("^D/\\[/src/app/Agent\\.cpp:[0-9]+ Do\\] Job execution: sid svc; fid "
                               "fc; req push$")));
}

TEST_F(ServerScript, TakesTheFunctionIntoTheSessionKey) {
    peer.Script({Result("00000001")});
    Run();
    EXPECT_EQ(Sent(0, "sessionKey"), Na::NavoProxy::GetSessionKey(Sent(0, "msgTime"), "fc", 50));
}

TEST_F(ServerScript, KeepsOneFileOfCookiesForTheClient) {
    peer.Script({CommandSet("/018001"), Result("00000001")});
    Run();
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(Locations::CookieDirectory)) {
        files.push_back(entry.path().filename().string());
    }
    EXPECT_THAT(files, ElementsAre("dbus_com.example.wallet_2817"));
}

TEST_F(ServerScript, DrivesTheElementThatItsRequestNames) {
    world.Configure(std::string("[card uicc]\ncplc=") + Cplc + "\nanswer 8001=9000\n");
    peer.Script({CommandSet("/018001"), Result("00000001")});
    Na::Job_SET_JOB_EXECUTOR job(RequestOf(&agent, &port, request));
    job.request->readerKind = 2;
    job.Execute();
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
    EXPECT_EQ(Device::ExchangeCount(Device::Element::Uicc), 3U);
}

TEST_F(ServerScript, MakesOneExchangeAndOneFurtherRequestForASetOfOneItem) {
    peer.Script({CommandSet("/018001"), Result("00000001")});
    EXPECT_EQ(Run(), Done);
    ASSERT_EQ(peer.Requests().size(), 2U);
    EXPECT_EQ(Sent(1, "msgCd"), "NEXTAPDU");
    EXPECT_EQ(Sent(1, "rApduSet"), "/01AA9000");
    EXPECT_EQ(Sent(1, "seId"), SeId);
    EXPECT_EQ(Sent(0, "UUID"), Sent(1, "UUID"));
    EXPECT_EQ(Device::ExchangeCount(), 3U);
    EXPECT_THAT(world.LocatedLog(), Contains("D Do: cAPDU: /018001"));
    EXPECT_THAT(world.LocatedLog(), Contains("D Do: rAPDU: /01AA9000"));
}

TEST_F(ServerScript, RunsSetAfterSetAndReportsProgress) {
    peer.Script({CommandSet("/0180E20000/018001"), CommandSet("/0180E20001"), Result("00000002")});
    EXPECT_EQ(Run(), ResultText::DoneButNfcOff);
    EXPECT_THAT(
        port.progress, ElementsAre(Pair(ClientId, "E2_Change Info"), Pair(ClientId, "E2_Change Info")));
    EXPECT_EQ(Sent(1, "rApduSet"), "/019000/01AA9000");
    EXPECT_EQ(Sent(2, "rApduSet"), "/019000");
}

TEST_F(ServerScript, EndsWithWhateverCodeTheServerGives) {
    for (const auto& code : std::map<std::string, std::string>{
             {"00000009", ResultText::Retry},
             {"20100000", "20100000_"},
             {"10600001", ResultText::AddressChanged},
             {"77777777", "77777777"}}) {
        peer.Script({CommandSet("/018001"), Result(code.first)});
        EXPECT_EQ(Run(), code.second);
    }
}

TEST_F(ServerScript, LooksTheElementUpTwiceAndKeepsItOpenToTheEnd) {
    peer.Script({CommandSet("/018001"), CommandSet("/018002"), Result("00000001")});
    Run();
    EXPECT_EQ(Device::Calls("nfc_se_open_secure_element"), 2U);
    EXPECT_EQ(Device::Calls("nfc_se_close_secure_element"), 2U);
    EXPECT_EQ(Device::OpenHandles(), 0U);
    const std::vector<std::string> log = world.LocatedLog();
    const auto closing = std::find(log.rbegin(), log.rend(), "D Close: Closing SE");
    const auto lastRequest =
        std::find(log.rbegin(), log.rend(), "D ConnectionUp: Trying to set up Internet connection");
    ASSERT_NE(lastRequest, log.rend());
    EXPECT_LT(closing - log.rbegin(), lastRequest - log.rbegin()) << "closing stands later in the log";
}

TEST_F(ServerScript, SendsMissingFieldsEmpty) {
    request = {{"Cmd", "65"}};
    peer.Script({Result("00000001")});
    EXPECT_EQ(Run(), Done);
    EXPECT_EQ(Sent(0, "serviceId"), "");
    EXPECT_EQ(Sent(0, "pushReq"), "");
    EXPECT_EQ(Sent(0, "sessionKey"), "");
    EXPECT_THAT(world.LocatedLog(), Contains("D Do: Job execution: sid ; fid ; req "));
}

TEST_F(ServerScript, GivesItsRequestTheFieldsThatWereMissing) {
    world.Configure(Card());
    peer.Script({Result("00000001")});
    Na::Job_SET_JOB_EXECUTOR job(RequestOf(&agent, &port, {{"Cmd", "65"}}));
    job.Execute();
    EXPECT_THAT(
        job.request->data,
        ElementsAre(Pair("Cmd", "65"), Pair("FcId", ""), Pair("ServiceId", ""), Pair("pushReq", "")));
    EXPECT_THAT(job.result, IsEmpty());
}

// No blank of a message reaches the server, so these texts arrive without theirs.
TEST_F(ServerScript, SendsTheFailureTextOfAMalformedSetAndLetsTheServerDecide) {
    peer.Script({CommandSet("/018001/018"), CommandSet("/018002"), Result("00000001")});
    EXPECT_EQ(Run(), Done);
    EXPECT_EQ(Sent(1, "rApduSet"), "21_takenwrongadpu.");
    EXPECT_EQ(Sent(2, "rApduSet"), "/019000");
}

TEST_F(ServerScript, EndsWithTheTransportsCodeWhenTheServerDoesNotTakeAFailureText) {
    peer.Script({CommandSet("/018"), Answer("", 503)});
    EXPECT_EQ(Run(), "503");
    peer.Script({CommandSet("/018"), Answer("")});
    EXPECT_EQ(Run(), ResultText::NoResponseFromServer);
}

TEST_F(ServerScript, SendsTheFailureTextOfASilentCardAndLetsTheServerDecide) {
    peer.Script({CommandSet("/018001"), Result("90202001")});
    EXPECT_EQ(Run(Card() + "[fault nfc_se_send_apdu]\nresult=-1\nfrom=3\n"), ResultText::CardJobFailed);
    EXPECT_EQ(Sent(1, "rApduSet"), "21_SDAPIException.");
}

TEST_F(ServerScript, EndsWithAnErrorWhenTheCommandSetIsEmptyOrMissing) {
    for (const HttpReaction& reaction : {CommandSet(""), Result("00000000")}) {
        const std::size_t before = peer.Requests().size();
        peer.Script({reaction, Result("00000001")});
        EXPECT_EQ(Run(), ResultText::NoApdu);
        EXPECT_EQ(before + 1, peer.Requests().size()) << "no further request goes out";
        EXPECT_EQ(Device::ExchangeCount(), 2U);
        EXPECT_THAT(world.LocatedLog(), Contains("D Do: cAPDU: "));
        EXPECT_THAT(world.LocatedLog(), Contains("E Do: Command set is missing or empty"));
    }
}

TEST_F(ServerScript, SendsAResponseSetOf65537CharactersAndNoLongerOne) {
    const std::string item = "/018001";
    const std::string response = "00{32765}9000";  // 65534 characters behind "/01"
    peer.Script({CommandSet(item), Result("00000009")});
    EXPECT_EQ(Run(Card("answer 8001=" + response + "\n")), ResultText::Retry);
    ASSERT_EQ(peer.Requests().size(), 2U);
    EXPECT_EQ(Sent(1, "rApduSet").size(), 65537U);

    // "/01" and 65526 characters, then "/01" and 6.
    peer.Script({CommandSet(item + "/018002"), Result("00000009")});
    EXPECT_EQ(Run(Card("answer 8001=00{32761}9000\nanswer 8002=009000\n")), Done)
        << "nothing is sent, and the exchange left a success";
    EXPECT_EQ(peer.Requests().size(), 3U);
    EXPECT_EQ(Device::ExchangeCount(), 4U) << "the set is not run again";
}

TEST_F(ServerScript, TellsTheServerWhenTheClientHasGone) {
    world.Configure(Card("answer 80E2*=9000\n"));
    peer.Script({CommandSet("/0180E20000"), CommandSet("/0180E20001"), Result("00000009")});
    Na::Job_SET_JOB_EXECUTOR job(RequestOf(&agent, &port, request));
    port.onProgress = [&] { job.request->port = nullptr; };
    job.Execute();
    EXPECT_EQ(peer.Requests().size(), 3U);
    EXPECT_EQ(Sent(1, "rApduSet"), "/019000") << "the set that was running is finished";
    EXPECT_EQ(Sent(2, "rApduSet"), "21_clientdisappeared./");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode(9));
    EXPECT_EQ(Device::ExchangeCount(), 3U);
    EXPECT_THAT(world.LocatedLog(), Contains("D Do: Client disappeared. Terminating"));
    EXPECT_THAT(world.LocatedLog(), Contains("D Do: rAPDU: 21_client disappeared./"));
}

TEST_F(ServerScript, EndsWithItsOwnCodeWhenTheServerDoesNotAnswerTheLastText) {
    world.Configure(Card("answer 80E2*=9000\n"));
    peer.Script({CommandSet("/0180E20000"), CommandSet("/0180E20001"), Answer("", 500)});
    Na::Job_SET_JOB_EXECUTOR job(RequestOf(&agent, &port, request));
    port.onProgress = [&] { job.request->port = nullptr; };
    job.Execute();
    EXPECT_EQ(Na::GetResultCodeText(), "500");
}

TEST_F(ServerScript, EndsWhenTheElementCannotBeOpened) {
    EXPECT_EQ(Run(Card() + "[fault nfc_se_open_secure_element]\nresult=-13\n"), ResultText::ElementRefused);
    EXPECT_EQ(Run(Card() + "[fault nfc_se_open_secure_element]\nresult=-1\n"), ResultText::UnknownError);
    EXPECT_THAT(
        world.Log(), Contains(ContainsRegex("^E/\\[/src/app/Agent\\.cpp:[0-9]+ Do\\] Error opening SE$")));
    EXPECT_THAT(peer.Requests(), IsEmpty());
}

TEST_F(ServerScript, EndsWhenTheCardHasNoCplc) {
    EXPECT_EQ(Run(Card("answer 80CA9F7F00=6A88\n")), Done);
    EXPECT_EQ(Run(Card() + "[fault nfc_se_send_apdu]\nresult=-1\n"), ResultText::NoApdu);
    EXPECT_THAT(peer.Requests(), IsEmpty());
    EXPECT_EQ(Device::Calls("nfc_se_close_secure_element"), 2U);
}

TEST_F(ServerScript, DoesNothingWithoutARequest) {
    world.Configure(Card());
    Na::Job_SET_JOB_EXECUTOR job(nullptr);
    job.Execute();
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::UnknownError);
    EXPECT_EQ(Device::Calls("nfc_se_open_secure_element"), 0U);
}

TEST_F(ServerScript, ReportsAnElementThatCannotBeClosedInPlaceOfTheServersCode) {
    peer.Script({Result("00000002")});
    EXPECT_EQ(
        Run(Card() + "[fault nfc_se_close_secure_element]\nresult=-1\nfrom=2\ntimes=1\n"),
        ResultText::ElementNotClosed);
}

TEST_F(ServerScript, EndsWithASuccessWhenTheAnswerIsNoJson) {
    for (const char* const body : {"no JSON", "[]", R"({"resultCode":0})", R"({"cApduSet":"/018001"})"}) {
        peer.Script({Answer(body)});
        EXPECT_EQ(Run(), Done) << body;
        EXPECT_EQ(Device::ExchangeCount(), 2U) << body;
    }
}

TEST_F(ServerScript, EndsWithATransportFailureBetweenTwoSets) {
    peer.Script({CommandSet("/018001"), Answer("", 404)});
    EXPECT_EQ(Run(), "404");
    EXPECT_EQ(Device::OpenHandles(), 0U);
}

TEST_F(ServerScript, SendsNothingWithoutANetwork) {
    EXPECT_EQ(Run(Card() + "[network]\ntype=disconnected\n"), ResultText::NetworkUnavailable);
    EXPECT_THAT(peer.Requests(), IsEmpty());
}
