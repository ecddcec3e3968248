// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/support/service/ResultTexts.h"
#include "tests/unit/app/ServerJob.h"

namespace {

using testing::Contains;
using testing::IsEmpty;

class Eligibility : public ServerJob {
protected:
    std::string Run(const std::string& configuration = Card()) {
        return ServerJob::Run({{"Cmd", "69"}}, configuration);
    }
};

}  // namespace

TEST_F(Eligibility, EndsWithTheServersVerdict) {
    peer.Script({Answer(R"({"resultCode":"10500001"})")});
    EXPECT_EQ(Run(), ResultText::DeviceNotAvailable1);
    ASSERT_EQ(peer.Requests().size(), 1U);
    EXPECT_EQ(peer.Requests()[0].target, "/IssueCard.do");
    EXPECT_EQ(Sent(0, "msgCd"), "ELIGIBILITY");
    EXPECT_EQ(Sent(0, "seId"), SeId);
    EXPECT_THAT(world.Log(), Contains("I/info: Eligibility"));
}

TEST_F(Eligibility, SucceedsWhenTheServerSaysSoOrNothing) {
    peer.Script({Answer(R"({"resultCode":"00000001"})"), Answer("{}"), Answer("no JSON at all")});
    EXPECT_EQ(Run(), ResultText::Done);
    EXPECT_EQ(Run(), ResultText::Done);
    EXPECT_EQ(Run(), ResultText::Done);
}

TEST_F(Eligibility, HasClosedTheElementBeforeItAsksTheServer) {
    peer.Script({Answer(R"({"resultCode":"00000001"})")});
    Run();
    EXPECT_EQ(Device::Calls("nfc_se_open_secure_element"), 2U);
    EXPECT_EQ(Device::Calls("nfc_se_close_secure_element"), 2U);
    const std::vector<std::string> log = world.LocatedLog();
    const auto closing = std::find(log.rbegin(), log.rend(), "D Close: Closing SE");
    const auto connecting =
        std::find(log.rbegin(), log.rend(), "D ConnectionUp: Trying to set up Internet connection");
    ASSERT_NE(closing, log.rend());
    ASSERT_NE(connecting, log.rend());
    EXPECT_GT(closing - log.rbegin(), connecting - log.rbegin()) << "closing stands earlier in the log";
}

TEST_F(Eligibility, AsksThreeTimesWhileTheServerSaysToWait) {
    const HttpReaction wait = Answer(R"({"resultCode":"10500006"})");
    peer.Script({wait, wait, wait, Answer("{}")});
    EXPECT_EQ(Run(), ResultText::PleaseWait);
    EXPECT_EQ(peer.Requests().size(), 3U);
}

TEST_F(Eligibility, SendsNothingWithoutANetwork) {
    EXPECT_EQ(Run(Card() + "[network]\ntype=disconnected\n"), ResultText::NetworkUnavailable);
    EXPECT_THAT(peer.Requests(), IsEmpty());
}

TEST_F(Eligibility, SaysThatTheHostCannotBeReached) {
    const ClosedPort nobody;
    Na::SetNavoAddress("http://" + nobody.Address());
    EXPECT_EQ(Run(), ResultText::HostUnreachable);
}

TEST_F(Eligibility, EndsWithABareHttpStatus) {
    peer.Script({Answer("", 404)});
    EXPECT_EQ(Run(), "404");
}

TEST_F(Eligibility, SendsNothingForACardWithoutCplc) {
    EXPECT_EQ(Run(Card("answer 80CA9F7F00=6A88\n")), ResultText::UnknownError);
    EXPECT_EQ(Run(Card() + "[fault nfc_se_send_apdu]\nresult=-1\n"), ResultText::UnknownError);
    EXPECT_EQ(Run(Card() + "[fault nfc_se_open_secure_element]\nresult=-1\n"), ResultText::UnknownError);
    EXPECT_EQ(Run(Card() + "[fault nfc_se_open_secure_element]\nresult=-13\n"), ResultText::ElementRefused);
    EXPECT_THAT(peer.Requests(), IsEmpty());
}
