// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Misbehaviour.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace KeyServer;
using testing::HasSubstr;

namespace {

std::string MistakeIn(const std::string& order) {
    try {
        ParseMisbehaviour(order);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return {};
}

}  // namespace

TEST(Misbehaviour, HoldsFromTheFirstMessageOnUnlessToldOtherwise) {
    const Misbehaviour always = ParseMisbehaviour("empty");
    EXPECT_TRUE(always.HoldsFor(1));
    EXPECT_TRUE(always.HoldsFor(1000000));
    const Misbehaviour later = ParseMisbehaviour("empty@3");
    EXPECT_FALSE(later.HoldsFor(2));
    EXPECT_TRUE(later.HoldsFor(1000000));
    const Misbehaviour twice = ParseMisbehaviour("status=503@3x2");
    EXPECT_FALSE(twice.HoldsFor(2));
    EXPECT_TRUE(twice.HoldsFor(3));
    EXPECT_TRUE(twice.HoldsFor(4));
    EXPECT_FALSE(twice.HoldsFor(5));
}

TEST(Misbehaviour, PrintsWhatItReads) {
    for (const std::string& kind : MisbehaviourKinds()) {
        const bool needsValue = kind == "delay" || kind == "redirect-to" || kind == "code";
        const std::string text = kind + (needsValue ? "=5" : "") + "@2x7";
        EXPECT_EQ(ParseMisbehaviour(text).Text(), text);
    }
    EXPECT_EQ(ParseMisbehaviour("content-type=text/x-note@2").Text(), "content-type=text/x-note@2");
    EXPECT_EQ(ParseMisbehaviour("not-json=nested").Text(), "not-json=nested");
}

TEST(Misbehaviour, SaysWhatWouldBeRight) {
    EXPECT_THAT(MistakeIn("sulk"), HasSubstr("the kinds are status, delay"));
    EXPECT_THAT(MistakeIn(""), HasSubstr("the kinds are"));
    EXPECT_THAT(MistakeIn("status=soon"), HasSubstr("from 200 to 599"));
    EXPECT_THAT(MistakeIn("status=99"), HasSubstr("from 200 to 599"));
    EXPECT_THAT(MistakeIn("redirect=200"), HasSubstr("from 300 to 399"));
    EXPECT_THAT(MistakeIn("delay"), HasSubstr("milliseconds"));
    EXPECT_THAT(MistakeIn("delay=-1"), HasSubstr("milliseconds"));
    EXPECT_THAT(MistakeIn("empty=1"), HasSubstr("takes no value"));
    EXPECT_THAT(MistakeIn("redirect-to"), HasSubstr("needs a value"));
    EXPECT_THAT(MistakeIn("not-json=xml"), HasSubstr("truncated"));
    EXPECT_THAT(MistakeIn("content-type=a\r\nb"), HasSubstr("control characters"));
    for (const char* range :
         {"empty@", "empty@0", "empty@x2", "empty@2x", "empty@2x0", "empty@-1", "empty@1x2x3"}) {
        EXPECT_THAT(MistakeIn(range), HasSubstr("@FROM or @FROMxTIMES")) << range;
    }
}
