// SPDX-License-Identifier: Apache-2.0
#include "common/Json.h"

#include <gmock/gmock.h>

#include "tests/support/service/DeviceWorld.h"
#include "tests/unit/common/FailingLibraries.h"

using Na::Json;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr char Replacement[] = "\xEF\xBF\xBD";
constexpr char LoadFailure[] = "E Parse: json_parser_load_from_data failed : ";

std::string Repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

// A list of lists as the only member.
std::string Nested(std::size_t depth) {
    return "{\"a\":" + Repeated("[", depth - 1) + Repeated("]", depth - 1) + ",\"b\":\"text\"}";
}

class JsonParse : public testing::Test {
protected:
    bool Parse(const std::string& text) { return json.Parse(text); }

    DeviceWorld world;
    Json json;
};

TEST(JsonConstruct, GivesAnEmptyObject) {
    EXPECT_EQ(Json().Construct(), "{}");
}

TEST(JsonConstruct, WritesMembersInByteOrder) {
    Json json;
    json.Set("msgCd", "1");
    json.Set("UUID", "2");
    json.Set("agentVersion", "3");
    EXPECT_EQ(json.Construct(), R"({"UUID":"2","agentVersion":"3","msgCd":"1"})");
}

TEST(JsonConstruct, KeepsTheLastValueOfAKey) {
    Json json;
    json.Set("a", "1");
    json.Set("a", "2");
    EXPECT_EQ(json.Construct(), R"({"a":"2"})");
}

TEST(JsonConstruct, EscapesWhatJsonEscapes) {
    Json json;
    json.Set("a\"b", "line\nquote\"back\\tab\t\xC3\xA9");
    EXPECT_EQ(json.Construct(), "{\"a\\\"b\":\"line\\nquote\\\"back\\\\tab\\t\xC3\xA9\"}");
}

TEST(JsonConstruct, ReplacesBytesThatAreNoUtf8) {
    Json json;
    json.Set("k\xFF", "v\xC3(");
    json.Set("zero", std::string("a\0b", 3));
    EXPECT_EQ(
        json.Construct(), std::string("{\"k") + Replacement + "\":\"v" + Replacement + "(\",\"zero\":\"a" +
                              Replacement + "b\"}");
}

TEST(JsonConstruct, ReadsBackWhatItWrote) {
    Json written;
    written.Set("plain", "text");
    written.Set("odd", "\"\\/\b\f\n\r\t\x01\x7F {}[]'");
    written.Set("", "empty key");
    Json read;
    ASSERT_TRUE(read.Parse(written.Construct()));
    EXPECT_EQ(read.Get("plain"), "text");
    EXPECT_EQ(read.Get("odd"), "\"\\/\b\f\n\r\t\x01\x7F {}[]'");
    EXPECT_EQ(read.Get(""), "empty key");
}

TEST(JsonConstruct, GivesAnEmptyTextWhenTheLibraryFails) {
    const DeviceWorld world;
    jsonGeneratorFails = true;
    EXPECT_EQ(Json().Construct(), "");
    jsonGeneratorFails = false;
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D Construct: Json serialization failed"));
}

TEST(JsonGet, IsEmptyForAnAbsentKey) {
    EXPECT_EQ(Json().Get("a"), "");
}

TEST_F(JsonParse, TakesTheTextsOfAnObject) {
    EXPECT_TRUE(Parse(R"( {"resultCode" : "00000000", "cApduSet":"2/0A00A4"} )"));
    EXPECT_EQ(json.Get("resultCode"), "00000000");
    EXPECT_EQ(json.Get("cApduSet"), "2/0A00A4");
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(JsonParse, StoresMembersOfOtherKindsEmptyAndGoesOn) {
    EXPECT_TRUE(Parse(R"({"a":1,"b":true,"c":null,"d":["x"],"e":{"f":"nested"},"g":"text"})"));
    EXPECT_EQ(json.Construct(), R"({"a":"","b":"","c":"","d":"","e":"","g":"text"})");
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(JsonParse, AddsToWhatIsThere) {
    json.Set("a", "old");
    json.Set("b", "kept");
    EXPECT_TRUE(Parse(R"({"a":"new"})"));
    EXPECT_EQ(json.Construct(), R"({"a":"new","b":"kept"})");
}

TEST_F(JsonParse, TakesTheLastOfRepeatedMembers) {
    EXPECT_TRUE(Parse(R"({"a":"1","a":"2"})"));
    EXPECT_EQ(json.Get("a"), "2");
}

TEST_F(JsonParse, FailsToLoadAnEmptyText) {
    for (const char* text : {"", " ", "\r\n\t "}) {
        world.ForgetLog();
        EXPECT_FALSE(Parse(text));
        EXPECT_THAT(world.LocatedLog(), ElementsAre(std::string(LoadFailure) + "the text is empty"));
    }
}

TEST_F(JsonParse, FailsToLoadWhatIsNoJson) {
    for (const char* text :
         {"<html></html>", "{\"a\":\"b\"", "{\"a\" \"b\"}", "nonsense", "{", "{\"a\":\"\xFF\"}",
          "{\"a\":\"b\"} x"}) {
        world.ForgetLog();
        EXPECT_FALSE(Parse(text)) << text;
        EXPECT_THAT(world.LocatedLog(), ElementsAre(StartsWith(LoadFailure))) << text;
    }
    EXPECT_FALSE(Parse(std::string("{\"a\":\"x\0y\"}", 11)));
    EXPECT_EQ(json.Construct(), "{}");
}

TEST_F(JsonParse, FailsOnARootThatIsNoObject) {
    for (const char* text : {"[1]", "[]", "\"text\"", "1", "true", "null"}) {
        world.ForgetLog();
        EXPECT_FALSE(Parse(text)) << text;
        EXPECT_THAT(world.LocatedLog(), ElementsAre("D Parse: json_node_get_object failed")) << text;
    }
}

TEST_F(JsonParse, FailsOnATextWithoutARoot) {
    EXPECT_FALSE(Parse("/* nothing but a comment */"));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D Parse: json_parser_get_root failed"));
}

TEST_F(JsonParse, TakesFiveHundredAndTwelveLevels) {
    EXPECT_TRUE(Parse(Nested(512)));
    EXPECT_EQ(json.Get("b"), "text");
}

TEST_F(JsonParse, RefusesOneLevelMore) {
    EXPECT_FALSE(Parse(Nested(513)));
    EXPECT_THAT(world.LocatedLog(), ElementsAre(std::string(LoadFailure) + "nested deeper than 512 levels"));
    EXPECT_EQ(json.Get("b"), "");
}

// "{" and "[" begin one each, and so does every comma.
TEST_F(JsonParse, TakesSixtyFiveThousandFiveHundredAndThirtySixValues) {
    EXPECT_TRUE(Parse("{\"a\":[0" + Repeated(",0", 65534) + "]}"));
    EXPECT_TRUE(Parse("{\"a\":\"" + std::string(100000, ',') + "\"}")) << "within a text";
}

TEST_F(JsonParse, RefusesOneValueMore) {
    EXPECT_FALSE(Parse("{\"a\":[0" + Repeated(",0", 65535) + "]}"));
    EXPECT_THAT(world.LocatedLog(), ElementsAre(std::string(LoadFailure) + "more than 65536 values"));
}

TEST_F(JsonParse, RefusesOneHundredThousandLevels) {
    EXPECT_FALSE(Parse(std::string(100000, '[')));
    EXPECT_FALSE(Parse(Repeated("{\"a\":", 100000)));
    EXPECT_FALSE(Parse("{\"a\":\"b\"}" + std::string(100000, '[')));
}

TEST_F(JsonParse, CountsNoBracketsInsideOfTexts) {
    EXPECT_TRUE(Parse("{\"a\":\"" + std::string(1000, '[') + "\\\"" + std::string(1000, '{') + "\"}"));
    EXPECT_THAT(json.Get("a"), SizeIs(2001));
}

TEST_F(JsonParse, CountsOnlyLevelsThatAreOpen) {
    EXPECT_TRUE(Parse("{\"a\":[" + Repeated("[],", 1000) + "[]],\"b\":\"text\"}"));
    EXPECT_EQ(json.Get("b"), "text");
}

// Each text hides its brackets behind something that the parser reads otherwise than JSON has it.
TEST_F(JsonParse, IsNotLedAstrayByBracketsBehindOddities) {
    const std::string deep(1000000, '[');
    for (const char* text :
         {"[\"\\ud800\"\",", "[\"\\udc00\"\",", "['\\',", "[/*/\"", "[//\"", "/ \" /", "/*d8'/",
          "[\"\\u\",\"", "['\"',", "[\"'\",", "/* \" */"}) {
        EXPECT_FALSE(Parse(text + deep)) << text;
    }
}

TEST_F(JsonParse, TakesEscapes) {
    EXPECT_TRUE(Parse(R"({"a":"\"\\\/\b\f\n\r\t\u0041\u00e9\u20AC\ud83d\ude00"})"));
    EXPECT_EQ(json.Get("a"), "\"\\/\b\f\n\r\tA\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST_F(JsonParse, RefusesEscapesThatAreNoCharacter) {
    for (const char* escape :
         {"\\ud800", "\\ud800x", "\\udc00", "\\ud800\\u0041", "\\u12", "\\uZZZZ", "\\ud83d\\n"}) {
        EXPECT_FALSE(Parse(std::string("{\"a\":\"") + escape + "\"}")) << escape;
    }
}

TEST_F(JsonParse, StoresNothingButUtf8) {
    EXPECT_TRUE(Parse(R"({"a":"\377","b\377":"c"})"));
    // Octal escapes are bytes to some releases of the library, characters to others.
    const std::string escaped = json.Get("a");
    EXPECT_THAT(escaped, AnyOf(Replacement, "\xC3\xBF"));
    EXPECT_EQ(json.Get("b" + escaped), "c");
}

TEST(JsonFromText, StaysEmptyAndSaysSoWhenTheTextCannotBeRead) {
    const DeviceWorld world;
    EXPECT_EQ(Json("[]").Construct(), "{}");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D Parse: json_node_get_object failed", "D Json: Json plain data parsing return error"));
}

TEST(JsonFromText, HasTheTextsMembers) {
    EXPECT_EQ(Json(R"({"a":"b"})").Get("a"), "b");
}

}  // namespace
