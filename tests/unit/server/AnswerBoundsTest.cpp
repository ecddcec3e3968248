// SPDX-License-Identifier: Apache-2.0
// Answers that say less than they seem to, or more than the service takes.
#include <gmock/gmock.h>

#include "app/NavoProxy.h"
#include "app/ResultCode.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/service/DeviceWorld.h"

using Na::GetResultMessage;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

std::string Nested(std::size_t levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

class AnswerBounds : public testing::Test {
protected:
    std::string Send(const std::string& answer) {
        peer.Script({Answer(answer)});
        return proxy.NextApdu("dbus;client_1", "SEID", "1/9000");
    }

    DeviceWorld world;
    HttpPeer peer;
    Na::NavoProxy proxy{peer.Url()};
};

TEST_F(AnswerBounds, FindTheResultBesideADeepMember) {
    Send("{\"deep\":" + Nested(500) + ",\"resultCode\":\"10000000\"}");
    EXPECT_EQ(GetResultMessage(), "10000000_An unknown Error has occurred");
}

TEST_F(AnswerBounds, NeverTakeAnAnswerForASuccessThatIsTooDeepToRead) {
    Send("{\"deep\":" + Nested(600) + ",\"resultCode\":\"10000000\"}");
    EXPECT_EQ(GetResultMessage(), "10100019_No response has been received from a Server system");
    EXPECT_THAT(
        world.LocatedLog(),
        Contains("E Parse: json_parser_load_from_data failed : nested deeper than 512 levels"));
    EXPECT_THAT(peer.Requests(), SizeIs(1));
}

TEST_F(AnswerBounds, NeverTakeAnAnswerForASuccessThatTheLibraryWouldMisread) {
    Send(R"({"a":"\ud800","resultCode":"10000000"})");
    EXPECT_EQ(GetResultMessage(), "10100019_No response has been received from a Server system");
}

TEST_F(AnswerBounds, LeaveTextsToTheLibraryThatItRefusesItself) {
    for (const char* const text : {"<!DOCTYPE html><p>busy</p>", "no JSON", "{\"resultCode\":\"1\"", " "}) {
        EXPECT_EQ(Send(text), text);
        EXPECT_EQ(GetResultMessage(), "00000001_The job has done successfully") << text;
    }
}

TEST_F(AnswerBounds, CutAResultThatIsTooLongForAReply) {
    const std::string whole(65535, 'r');
    Send("{\"resultCode\":\"" + whole + "r\"}");
    EXPECT_EQ(GetResultMessage(), whole + "r");
    EXPECT_THAT(world.LocatedLog(), Not(Contains(HasSubstr("is cut at"))));
    Send("{\"resultCode\":\"" + whole + "\xC3\xA9\"}");
    EXPECT_EQ(GetResultMessage(), whole);
    EXPECT_THAT(world.LocatedLog(), Contains("E SendRequest: A result of 65537 bytes is cut at 65536"));
}

TEST_F(AnswerBounds, ForgetTheMembersOfAnEarlierAnswer) {
    Send("{\"resultCode\":\"00000000\",\"cApduSet\":\"/0100\"}");
    EXPECT_EQ(proxy.LatestAnswer().Get("cApduSet"), "/0100");
    Send("");
    EXPECT_THAT(proxy.LatestAnswer().Get("cApduSet"), IsEmpty());
}

}  // namespace
