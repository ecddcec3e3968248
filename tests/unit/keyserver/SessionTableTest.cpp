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
    EXPECT_TRUE(table.Add(session));
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

TEST_F(SessionTableTest, TakesNoMoreThanItsLimit) {
    EXPECT_TRUE(table.Add(Named("A")));
    EXPECT_TRUE(table.Add(Named("B")));
    EXPECT_FALSE(table.Add(Named("C")));
    EXPECT_TRUE(table.Add(Named("B"))) << "replacing takes no further place";
    EXPECT_EQ(table.Size(), 2U);
}

TEST_F(SessionTableTest, GivesThePlaceOfIdleSessionsAway) {
    table.Add(Named("A"));
    now += milliseconds(60);
    table.Add(Named("B"));
    now += milliseconds(60);
    EXPECT_TRUE(table.Add(Named("C")));
    EXPECT_EQ(table.Find("A"), nullptr);
    EXPECT_NE(table.Find("B"), nullptr);
}

TEST_F(SessionTableTest, GivesThePlaceOfSessionsThatAreOverAway) {
    table.Add(Named("A"));
    table.Add(Named("B"));
    table.MarkOver("A");
    EXPECT_NE(table.Find("A"), nullptr) << "it can still repeat its last answer";
    EXPECT_TRUE(table.Add(Named("C")));
    EXPECT_EQ(table.Find("A"), nullptr);
    EXPECT_NE(table.Find("B"), nullptr);
}
