// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/ConnectionTable.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace KeyServer;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Phase = ConnectionTable::Phase;

namespace {

class ConnectionTableTest : public testing::Test {
protected:
    struct Member final : ConnectionTable::Member {
        Member(std::string ownName, std::vector<std::string>& sharedCalls)
            : name(std::move(ownName)), calls(sharedCalls) {}

        void Dismiss(ConnectionTable::Dismissal reason) override {
            calls.push_back((reason == ConnectionTable::Dismissal::ForRoom ? "room " : "dismiss ") + name);
        }
        void Abort() override { calls.push_back("abort " + name); }

        std::string name;
        std::vector<std::string>& calls;
    };

    // A connection in this phase since now; a second passes.
    std::uint64_t Entered(const std::string& name, Phase phase) {
        const std::uint64_t number = table.TakeNumber();
        table.Enter(number, std::make_shared<Member>(name, calls));
        table.SetPhase(number, phase);
        now += seconds(1);
        return number;
    }

    std::vector<std::string> calls;
    std::chrono::steady_clock::time_point now;
    ConnectionTable table{[this] { return now; }};
};

}  // namespace

TEST_F(ConnectionTableTest, NumbersConnectionsFromOne) {
    EXPECT_EQ(Entered("A", Phase::Opening), 1U);
    EXPECT_EQ(Entered("B", Phase::Opening), 2U);
    table.Leave(1);
    EXPECT_EQ(Entered("C", Phase::Opening), 3U);
    EXPECT_EQ(table.Size(), 2U);
    EXPECT_EQ(table.Accepted(), 3U);
}

TEST_F(ConnectionTableTest, MakesRoomByPhaseThenByAge) {
    Entered("waits for longer", Phase::Waiting);
    Entered("waits", Phase::Waiting);
    Entered("opens for longer", Phase::Opening);
    Entered("opens", Phase::Opening);
    Entered("leaves", Phase::Leaving);
    while (table.MakeRoom()) {
    }
    EXPECT_THAT(
        calls,
        ElementsAre(
            "room leaves", "room opens for longer", "room opens", "room waits for longer", "room waits"));
    EXPECT_EQ(table.Size(), 0U) << "who is on the way out holds no place";
    for (std::uint64_t number = 1; number <= 5; ++number) {
        table.Leave(number);
    }
    EXPECT_EQ(table.Size(), 0U);
}

TEST_F(ConnectionTableTest, SparesWhoIsBeingAnswered) {
    Entered("A", Phase::Answering);
    now += seconds(1000);
    Entered("B", Phase::Sending);
    EXPECT_FALSE(table.MakeRoom());
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(ConnectionTableTest, AbortsWhoTakesLongToReceiveItsAnswer) {
    Entered("A", Phase::Sending);
    Entered("B", Phase::Sending);
    EXPECT_TRUE(table.MakeRoom()) << "two seconds have passed for the first";
    EXPECT_FALSE(table.MakeRoom());
    EXPECT_THAT(calls, ElementsAre("abort A"));
}

TEST_F(ConnectionTableTest, CountsTheTimeFromTheLastPhase) {
    const std::uint64_t first = Entered("A", Phase::Waiting);
    Entered("B", Phase::Waiting);
    table.SetPhase(first, Phase::Answering);
    table.SetPhase(first, Phase::Waiting);
    EXPECT_TRUE(table.MakeRoom());
    EXPECT_THAT(calls, ElementsAre("room B"));
}

TEST_F(ConnectionTableTest, TellsWhetherThoseThatWereOpenHaveLeft) {
    constexpr std::chrono::milliseconds Moment{1};
    const std::uint64_t first = Entered("A", Phase::Waiting);
    const std::uint64_t met = table.AbortAll();
    Entered("B", Phase::Opening);
    EXPECT_FALSE(table.AwaitLeaving(met, Moment));
    table.Leave(first);
    EXPECT_TRUE(table.AwaitLeaving(met, Moment)) << "who came later does not matter";
}

TEST_F(ConnectionTableTest, DismissesAndAbortsAll) {
    Entered("A", Phase::Answering);
    Entered("B", Phase::Waiting);
    table.DismissAll(ConnectionTable::Dismissal::Gently);
    table.AbortAll();
    EXPECT_THAT(calls, ElementsAre("dismiss A", "dismiss B", "abort A", "abort B"));
}
