// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/SessionTable.h"

#include <gtest/gtest.h>

using namespace KeyServer;
using std::chrono::milliseconds;

namespace {

class SessionTableTest : public testing::Test {
protected:
    std::shared_ptr<Session> Named(const std::string& id) {
        auto session = std::make_shared<Session>();
        session->id = id;
        return session;
    }

    std::chrono::steady_clock::time_point now;
    SessionTable table{{2, milliseconds(100)}, [this] { return now; }};
};

}  // namespace

TEST_F(SessionTableTest, FindsWhatWasAdded) {
    const auto session = Named("A");
    table.Add(session);
    EXPECT_EQ(table.Find("A"), session);
    EXPECT_EQ(table.Find("B"), nullptr);
}

TEST_F(SessionTableTest, ForgetsASessionThatWasIdleForTooLong) {
    table.Add(Named("A"));
    now += milliseconds(100);
    EXPECT_NE(table.Find("A"), nullptr);
    now += milliseconds(100);
    EXPECT_NE(table.Find("A"), nullptr) << "a session that is used is not idle";
    now += milliseconds(101);
    EXPECT_EQ(table.Find("A"), nullptr);
    EXPECT_EQ(table.Size(), 0U);
}

TEST_F(SessionTableTest, HoldsNoMoreThanItsLimit) {
    table.Add(Named("A"));
    table.Add(Named("B"));
    table.Add(Named("B"));
    EXPECT_NE(table.Find("A"), nullptr) << "replacing takes no further place";
    table.Add(Named("C"));
    EXPECT_EQ(table.Size(), 2U);
    EXPECT_NE(table.Find("C"), nullptr);
}

TEST_F(SessionTableTest, GivesThePlaceAwayThatWasIdleForTheLongestTime) {
    table.Add(Named("A"));
    table.Add(Named("B"));
    table.Find("A");
    table.Add(Named("C"));
    EXPECT_EQ(table.Find("B"), nullptr);
    EXPECT_NE(table.Find("A"), nullptr);
}

TEST_F(SessionTableTest, KeepsSessionsThatWentPastTheirOpening) {
    const auto established = Named("A");
    table.Add(established);
    table.MarkContinued(*established);
    for (int i = 0; i < 100; ++i) {
        now += milliseconds(1);
        table.Add(Named("flood " + std::to_string(i)));
    }
    EXPECT_EQ(table.Find("A"), established);
}

TEST_F(SessionTableTest, GivesTheirPlaceAwayAtLastToo) {
    const auto first = Named("A");
    const auto second = Named("B");
    table.Add(first);
    table.Add(second);
    table.MarkContinued(*second);
    table.MarkContinued(*first);
    table.Find("B");
    table.Add(Named("C"));
    EXPECT_EQ(table.Find("A"), nullptr) << "was used before the other";
    EXPECT_NE(table.Find("B"), nullptr);
}

TEST_F(SessionTableTest, GivesThePlaceOfIdleSessionsAwayFirst) {
    const auto idle = Named("A");
    table.Add(idle);
    table.MarkContinued(*idle);
    now += milliseconds(60);
    table.Add(Named("B"));
    now += milliseconds(60);
    table.Add(Named("C"));
    EXPECT_EQ(table.Find("A"), nullptr);
    EXPECT_NE(table.Find("B"), nullptr);
}

TEST_F(SessionTableTest, GivesThePlaceOfSessionsThatAreOverAway) {
    const auto over = Named("A");
    table.Add(Named("B"));
    table.Add(over);
    table.MarkOver(*over);
    EXPECT_NE(table.Find("A"), nullptr) << "it can still repeat its last answer";
    table.MarkContinued(*over);
    table.Add(Named("C"));
    EXPECT_EQ(table.Find("A"), nullptr);
    EXPECT_NE(table.Find("B"), nullptr);
}

TEST_F(SessionTableTest, TakesASessionThatHadToGoForNoOther) {
    const auto gone = Named("A");
    table.Add(gone);
    table.Add(Named("A"));
    table.MarkOver(*gone);
    table.Add(Named("B"));
    table.Find("A");
    table.Add(Named("C"));
    EXPECT_NE(table.Find("A"), nullptr) << "it is not the one that is over";
}
