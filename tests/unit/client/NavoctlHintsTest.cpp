// SPDX-License-Identifier: Apache-2.0
// What navoctl says beside the result.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/client/Desk.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

TEST(NavoctlHints, EndAFailureWithWhatItMeansAndWhereToLook) {
    const Desk desk(Navo::Map{{"ReturnCode", "404"}});
    const ProgramEnd end = desk.Run({"run", "--service-id", "S"});
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(
        end.errors, EndsWith("navoctl: hint: The server has nothing at that address; log: journalctl -u "
                             "navoagent; it answered "
                             "with HTTP status 404; more: navoctl explain 404\n"));
}

TEST(NavoctlHints, EndAnErrorWithWhereToLook) {
    const TestBus bus;
    const ProgramEnd end = NavoctlProgram::Run(bus.Address(), {"memory"});
    EXPECT_EQ(end.status, 3);
    EXPECT_THAT(end.errors, HasSubstr("navoctl: hint: navoctl doctor; "));
    EXPECT_THAT(end.errors, EndsWith("log: journalctl -u navoagent\n"));
}

TEST(NavoctlHints, AreMissingAfterASuccessAndWithQuiet) {
    const Desk good(Navo::Map{{"ReturnCode", ResultText::Done}});
    EXPECT_THAT(good.Run({"eligibility"}).errors, Not(HasSubstr("hint")));
    const Desk bad(Navo::Map{{"ReturnCode", "404"}});
    EXPECT_THAT(bad.Run({"-q", "eligibility"}).errors, Not(HasSubstr("hint")));
}

TEST(NavoctlHints, ReportsProgressAsJsonLines) {
    const Desk desk([](Arrival& arrival) {
        arrival.Progress("E4_");
        arrival.Reply({{"ReturnCode", ResultText::Done}});
    });
    const ProgramEnd end = desk.Run({"--json", "run", "--service-id", "S"});
    EXPECT_EQ(
        end.errors,
        "{\"progress\":{\"number\":1,\"instruction\":\"E4\",\"name\":\"DELETE\",\"text\":\"E4_\"}}\n");
}

TEST(NavoctlHints, WarnOfAnAddressBeforeItIsStored) {
    const Desk desk(Navo::Map{{"ReturnCode", ResultText::Done}});
    const ProgramEnd end = desk.Run({"set-address", "http://kms:port"});
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.errors, HasSubstr("navoctl: warning: http sends card data and keys in the clear"));
    EXPECT_THAT(end.errors, HasSubstr("navoctl: warning: the port 'port' is no number"));
    EXPECT_EQ(desk.LastRequest().at("hostAddr"), "http://kms:port");
    EXPECT_EQ(desk.Run({"set-address", "https://kms"}).errors, "");
}
