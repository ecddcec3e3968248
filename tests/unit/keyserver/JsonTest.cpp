// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Json.h"

#include <gmock/gmock.h>

using namespace KeyServer;
using testing::HasSubstr;

namespace {

std::string MistakeIn(const std::string& text) {
    try {
        ParseJson(text);
    } catch (const JsonError& error) {
        return error.what();
    }
    return {};
}

}  // namespace

TEST(Json, KeepsKindsAndOrder) {
    const std::string text = R"({"b":"x","a":[1,-2,0.5,true,null,{}]})";
    EXPECT_EQ(ToJson(ParseJson(text)), text);
}

TEST(Json, EscapesWhatATextHolds) {
    EXPECT_EQ(ToJson(JsonValue::Text("a\"b\\c\n\x01")), R"("a\"b\\c\n\u0001")");
    EXPECT_EQ(ToJson(JsonValue::Text("\xFF")), "\"\xEF\xBF\xBD\"");
}

TEST(Json, SaysWhereATextIsMalformed) {
    EXPECT_THAT(MistakeIn("{\"a\":\n}"), HasSubstr("line 2"));
    EXPECT_THAT(MistakeIn(""), HasSubstr("line 1, column 1"));
    EXPECT_THAT(MistakeIn("{} x"), HasSubstr("column 4"));
    EXPECT_THAT(MistakeIn("\"\xFF\""), HasSubstr("UTF-8"));
}

TEST(Json, RefusesAMemberThatStandsTwice) {
    EXPECT_THAT(MistakeIn(R"({"steps":[],"steps":[]})"), HasSubstr("\"steps\" stands twice"));
}

TEST(Json, RefusesDeepNesting) {
    EXPECT_THAT(MistakeIn(std::string(100000, '[')), HasSubstr("nested deeper"));
    EXPECT_EQ(MistakeIn(std::string(32, '[') + std::string(32, ']')), "");
    EXPECT_THAT(MistakeIn(std::string(33, '[') + std::string(33, ']')), HasSubstr("nested deeper"));
}
