// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

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
    EXPECT_EQ(ResultText::DeviceNotAvailable1, Run());
    ASSERT_EQ(1u, peer.Requests().size());
    EXPECT_EQ("/IssueCard.do", peer.Requests()[0].target);
    EXPECT_EQ("ELIGIBILITY", Sent(0, "msgCd"));
    EXPECT_EQ(SeId, Sent(0, "seId"));
    EXPECT_THAT(world.Log(), Contains("I/info: Eligibility"));
}

TEST_F(Eligibility, SucceedsWhenTheServerSaysSoOrNothing) {
    peer.Script({Answer(R"({"resultCode":"00000001"})"), Answer("{}"), Answer("no JSON at all")});
    EXPECT_EQ(ResultText::Done, Run());
    EXPECT_EQ(ResultText::Done, Run());
    EXPECT_EQ(ResultText::Done, Run());
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
    EXPECT_EQ(ResultText::PleaseWait, Run());
    EXPECT_EQ(3u, peer.Requests().size());
}

TEST_F(Eligibility, SendsNothingWithoutANetwork) {
    EXPECT_EQ(ResultText::NetworkUnavailable, Run(Card() + "[network]\ntype=disconnected\n"));
    EXPECT_THAT(peer.Requests(), IsEmpty());
}

TEST_F(Eligibility, SaysThatTheHostCannotBeReached) {
    const ClosedPort nobody;
    Na::SetNavoAddress("http://" + nobody.Address());
    EXPECT_EQ(ResultText::HostUnreachable, Run());
}

TEST_F(Eligibility, EndsWithABareHttpStatus) {
    peer.Script({Answer("", 404)});
    EXPECT_EQ(Run(), "404");
}

TEST_F(Eligibility, SendsNothingForACardWithoutCplc) {
    EXPECT_EQ(ResultText::UnknownError, Run(Card("answer 80CA9F7F00=6A88\n")));
    EXPECT_EQ(ResultText::UnknownError, Run(Card() + "[fault nfc_se_send_apdu]\nresult=-1\n"));
    EXPECT_EQ(ResultText::UnknownError, Run(Card() + "[fault nfc_se_open_secure_element]\nresult=-1\n"));
    EXPECT_EQ(ResultText::ElementRefused, Run(Card() + "[fault nfc_se_open_secure_element]\nresult=-13\n"));
    EXPECT_THAT(peer.Requests(), IsEmpty());
}
