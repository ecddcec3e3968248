#include <gmock/gmock.h>

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
    EXPECT_EQ("10500001_This device is not available", Run());
    ASSERT_EQ(1u, peer.Requests().size());
    EXPECT_EQ("/IssueCard.do", peer.Requests()[0].target);
    EXPECT_EQ("ELIGIBILITY", Sent(0, "msgCd"));
    EXPECT_EQ(SeId, Sent(0, "seId"));
    EXPECT_THAT(world.Log(), Contains("I/info: Eligibility"));
}

TEST_F(Eligibility, SucceedsWhenTheServerSaysSoOrNothing) {
    peer.Script({Answer(R"({"resultCode":"00000001"})"), Answer("{}"), Answer("no JSON at all")});
    EXPECT_EQ("00000001_The job has done successfully", Run());
    EXPECT_EQ("00000001_The job has done successfully", Run());
    EXPECT_EQ("00000001_The job has done successfully", Run());
}

TEST_F(Eligibility, HasClosedTheElementBeforeItAsksTheServer) {
    peer.Script({Answer(R"({"resultCode":"00000001"})")});
    Run();
    EXPECT_EQ(2u, Device::Calls("nfc_se_open_secure_element"));
    EXPECT_EQ(2u, Device::Calls("nfc_se_close_secure_element"));
    const std::vector<std::string> log = world.LocatedLog();
    const auto closing = std::find(log.rbegin(), log.rend(), "D Close: Closing SE");
    const auto connecting =
        std::find(log.rbegin(), log.rend(), "D ConnectionUp: Trying to set up Internet connection");
    ASSERT_NE(log.rend(), closing);
    ASSERT_NE(log.rend(), connecting);
    EXPECT_GT(closing - log.rbegin(), connecting - log.rbegin()) << "closing stands earlier in the log";
}

TEST_F(Eligibility, AsksThreeTimesWhileTheServerSaysToWait) {
    const HttpReaction wait = Answer(R"({"resultCode":"10500006"})");
    peer.Script({wait, wait, wait, Answer("{}")});
    EXPECT_EQ("10500006_Eligibility All mode is working. Please wait", Run());
    EXPECT_EQ(3u, peer.Requests().size());
}

TEST_F(Eligibility, SendsNothingWithoutANetwork) {
    EXPECT_EQ("10100000_Network is unavailable", Run(Card() + "[network]\ntype=disconnected\n"));
    EXPECT_THAT(peer.Requests(), IsEmpty());
}

TEST_F(Eligibility, SaysThatTheHostCannotBeReached) {
    const ClosedPort nobody;
    Na::SetNavoAddress("http://" + nobody.Address());
    EXPECT_EQ(
        "10100005_The remote host cannot be reached because of an intervening firewall, or if an "
        "intermediate "
        "router is down",
        Run());
}

TEST_F(Eligibility, EndsWithABareHttpStatus) {
    peer.Script({Answer("", 404)});
    EXPECT_EQ("404", Run());
}

TEST_F(Eligibility, SendsNothingForACardWithoutCplc) {
    EXPECT_EQ("00000001_The job has done successfully", Run(Card("answer 80CA9F7F00=6A88\n")));
    EXPECT_EQ("10000002_APDU is not available", Run(Card() + "[fault nfc_se_send_apdu]\nresult=-1\n"));
    EXPECT_EQ(
        "10000000_An unknown Error has occurred",
        Run(Card() + "[fault nfc_se_open_secure_element]\nresult=-1\n"));
    EXPECT_EQ(
        "10400006_No permission to access eSE",
        Run(Card() + "[fault nfc_se_open_secure_element]\nresult=-13\n"));
    EXPECT_THAT(peer.Requests(), IsEmpty());
}
