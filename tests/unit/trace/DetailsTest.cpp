// SPDX-License-Identifier: Apache-2.0
// What is shown of an entry, what is not, and the forms in which it is written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "globalplatform/Instruction.h"
#include "tests/unit/trace/Telling.h"
#include "trace/Diff.h"
#include "trace/Html.h"

using GlobalPlatform::CommandApdu;
using GlobalPlatform::HexText;
using GlobalPlatform::SecurityLevel;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Trace::Bytes;
using Trace::Describer;
using Trace::Details;
using Trace::Story;

namespace {

Bytes Hex(const std::string& text) {
    return GlobalPlatform::FromHexText(text).value();
}

std::string Exchange(const std::string& command, const std::string& response) {
    return R"({"time":"2026-03-01T12:00:00.250Z","event":"exchange","command":")" + command +
           R"(","response":")" + response + R"(","code":0})" + "\n";
}

Details Described(const std::string& command, const std::string& response, bool hides = true) {
    Describer describer(hides, {});
    return describer.Describe(Tell({Exchange(command, response)}).entries.at(0));
}

// Rows of all sections, "name|value|meaning" each.
std::string RowsOf(const Details& details) {
    std::string text;
    for (const Trace::Section& section : details.sections) {
        for (const Trace::Row& row : section.rows) {
            text += std::string(row.depth, '>') + row.name + "|" + row.value + "|" + row.meaning + "\n";
        }
    }
    return text;
}

constexpr char Cplc[] =
    "479063404091812500002123001A2B3C4D5E4812212448132366481423670000000148152100A7B8C9D1";
constexpr char CardNumber[] = "4111111111111111";

GlobalPlatform::StaticKeys Keys() {
    return {Bytes(16, 0x40), Bytes(16, 0x41), Bytes(16, 0x42)};
}

// A channel of both ends as a recording has it: opening, then a PUT KEY and a GET STATUS under encryption.
std::string ChannelRecording() {
    const Bytes host = Hex("0102030405060708");
    const Bytes card = Hex("1112131415161718");
    const GlobalPlatform::SessionKeys session = DeriveSessionKeys(Keys(), host, card);
    GlobalPlatform::SecureMessaging sender(session);
    GlobalPlatform::SecureMessaging answerer(session);
    const auto wrapped = [&](std::uint8_t ins, std::uint8_t p1, const Bytes& data, const Bytes& answer) {
        CommandApdu command;
        command.cla = 0x80;
        command.ins = ins;
        command.p1 = p1;
        command.data = data;
        const CommandApdu sent = sender.Wrap(command, SecurityLevel::BothEncrypted);
        EXPECT_TRUE(answerer.Unwrap(sent, SecurityLevel::BothEncrypted));
        const Bytes response =
            ins == 0x82 ? Bytes() : answerer.WrapResponse(answer, 0x9000, SecurityLevel::BothEncrypted);
        return Exchange(HexText(EncodeCommand(sent)), HexText(response) + "9000");
    };
    const std::string opening =
        "00112233445566778899"
        "310370" +
        HexText(card) + HexText(CardCryptogram(session, host, card)) +
        "000005"
        "9000";
    std::string text = Exchange("8050310008" + HexText(host) + "00", opening);
    text += wrapped(0x82, 0x33, HostCryptogram(session, host, card), {});
    text += wrapped(0xD8, 0x00, Hex("318810AABBCCDDEEFF00112233445566778899"), Hex("31"));
    text += wrapped(0xF2, 0x40, Hex("4F00"), Hex("E3094F07A0000008410001"));
    return text;
}

std::string DifferenceOf(
    const std::string& left, const std::string& right, const Trace::ChannelKeys& keys = {}) {
    std::ostringstream stream;
    const bool same = Trace::WriteDifference(stream, Tell({left}), Tell({right}), true, keys);
    return (same ? "same: " : "differs: ") + stream.str();
}

}  // namespace

TEST(TraceDetails, TakeACommandApart) {
    const std::string data = std::string("07A0000008410001") + "08A000000841000101" + "09A00000084100010101" +
                             "0104" + "02C900" + "00";
    const Details details = Described("80E60C0021" + data, "9000");
    EXPECT_EQ(details.title, "INSTALL, for install, for make selectable");
    EXPECT_EQ(details.outcome, "9000");
    const std::string rows = RowsOf(details);
    EXPECT_THAT(rows, HasSubstr("CLA|80|GlobalPlatform"));
    EXPECT_THAT(rows, HasSubstr("P1|0C|for install, for make selectable"));
    EXPECT_THAT(rows, HasSubstr("AID of the load file|A0000008410001|"));
    EXPECT_THAT(rows, HasSubstr("AID of the application|A00000084100010101|"));
    EXPECT_THAT(rows, HasSubstr("privileges|04|Card Reset"));
    EXPECT_THAT(rows, HasSubstr(">C9 application parameters||"));
}

TEST(TraceDetails, ReadWhatACardLists) {
    const std::string registry =
        RowsOf(Described("80F24002024F0000", "E3124F07A00000084100019F700107C50180CC009000"));
    EXPECT_THAT(registry, HasSubstr(">4F AID|A0000008410001|"));
    EXPECT_THAT(
        registry,
        HasSubstr(">9F70 life cycle state|07|of a card: INITIALIZED; of an application: SELECTABLE"));
    EXPECT_THAT(registry, HasSubstr(">C5 privileges|80|Security Domain"));
    EXPECT_THAT(registry, HasSubstr("SW|9000|success"));
    EXPECT_THAT(RowsOf(Described("00A4040007A0000008410001", "6A82")), HasSubstr("AID|A0000008410001|"));
    EXPECT_EQ(Described("80E80003", "9000").title, "LOAD, block 3");
    EXPECT_EQ(Described("80E2", "6700").title, "a command that is malformed");
}

TEST(TraceDetails, HideSecretsAndSaySo) {
    const Details stored = Described(std::string("80E2900008") + CardNumber, "9000");
    EXPECT_EQ(WithoutDigests(stored.command), "80E2900008{card data *}");
    EXPECT_THAT(WithoutDigests(RowsOf(stored)), HasSubstr("data|{card data *}|8 bytes, masked"));
    EXPECT_EQ(
        Described(std::string("80E2100008") + CardNumber, "9000").command.substr(10),
        stored.command.substr(10))
        << "the same wherever it comes again";
    EXPECT_THAT(
        Described(
            "80D8008112"
            "310102030405060708090A0B0C0D0E0F10AA",
            "9000")
            .command,
        HasSubstr("{key data "));
    EXPECT_EQ(
        WithoutDigests(Described(
                           "0020000004"
                           "12345678",
                           "9000")
                           .command),
        "0020000004{reference data *}");
    EXPECT_THAT(
        Described("00B2010C00", "70125A084111111111111111", true).response, StartsWith("{card data "));
    EXPECT_THAT(
        RowsOf(Described("80CA004500", "45041234ABCD9000")), HasSubstr("45 card image number|{card "));
    EXPECT_THAT(
        Described(
            "80F8000008"
            "4111111111111111",
            "9000")
            .command,
        HasSubstr("{card "))
        << "wherever it is";
    const Details shown = Described(std::string("80E2900008") + CardNumber, "9000", false);
    EXPECT_EQ(shown.command, std::string("80E2900008") + CardNumber);
}

TEST(TraceDetails, HideTheSerialNumbersOfACard) {
    const Details details = Described("80CA9F7F00", std::string("9F7F2A") + Cplc + "9000");
    EXPECT_THAT(
        RowsOf(details), AllOf(HasSubstr(">IC fabricator|4790|"), HasSubstr(">IC serial number|{serial ")));
    for (const char* const secret : {"001A2B3C", "4D5E"}) {
        EXPECT_THAT(RowsOf(details) + details.response, Not(HasSubstr(secret)));
    }
}

TEST(TraceDetails, MaskedMeansAbsentFromEveryForm) {
    const std::string card = std::string("9F7F2A") + Cplc;
    const std::string record =
        R"({"time":"2026-03-01T12:00:00.250Z","session":"0A1B2C3D-0000-4000-8000-0123456789AB","msgCd":"INITIALIZEAPDU",)"
        R"("request":"data={\"sessionKey\":\"00112233445566778899AABBCCDDEEFF\",\"seId\":\")" +
        card.substr(0, 36) + R"(\",\"cplc\":\")" + card +
        R"(\",\"pushReq\":\"FEDCBA9876543210\"}","status":200,)"
        R"("answer":"{\"resultCode\":\"10500001\"}","remark":"the card )" +
        card.substr(0, 36) + R"( is none of ours","notes":["read )" + card + R"("]})" + "\n";
    const std::string log = "D/NavoAgent( 9): cmd: 67\nD/NavoAgent( 9): Job result: " + card + "\n";
    const Story story = Tell(
        {Exchange("80CA9F7F00", card + "9000") + Exchange(std::string("80E2900008") + CardNumber, "9000"),
         record, log});
    for (const Writer write :
         {Trace::WriteText, Trace::WriteJson, Trace::WriteMermaid, Trace::WriteHar, Trace::WriteHtml}) {
        const std::string text = Written(write, story);
        for (const std::string& secret :
             {card, card.substr(0, 36), std::string(CardNumber), std::string("001A2B3C"),
              std::string("FEDCBA98"), std::string("00112233445566778899AABB")}) {
            EXPECT_EQ(text.find(secret), std::string::npos) << secret << " in " << text.substr(0, 80);
        }
        if (write == Trace::WriteJson || write == Trace::WriteHtml) {
            EXPECT_THAT(Written(write, story, false), HasSubstr(CardNumber));
        }
    }
}

TEST(TraceDetails, FollowASecureChannel) {
    const Story story = Tell({ChannelRecording()});
    Describer without(true, {});
    const std::string opening = RowsOf(without.Describe(story.entries.at(0)));
    EXPECT_THAT(opening, AllOf(HasSubstr("host challenge|0102030405060708|"), HasSubstr("key version|31|")));
    EXPECT_THAT(
        opening, AllOf(HasSubstr("SCP03 with option i=70"), HasSubstr("key diversification data|{card ")));
    EXPECT_THAT(RowsOf(without.Describe(story.entries.at(1))), HasSubstr("host cryptogram|"));
    static_cast<void>(without.Describe(story.entries.at(2)));
    EXPECT_THAT(
        RowsOf(without.Describe(story.entries.at(3))),
        AllOf(HasSubstr("data, encrypted|"), HasSubstr("code (R-MAC)|")));

    Describer with(true, {{0x31, Keys()}});
    EXPECT_THAT(RowsOf(with.Describe(story.entries.at(0))), HasSubstr("the card's cryptogram is right"));
    EXPECT_THAT(RowsOf(with.Describe(story.entries.at(1))), HasSubstr("the host's cryptogram is right"));
    const Details key = with.Describe(story.entries.at(2));
    EXPECT_THAT(RowsOf(key), Not(HasSubstr("AABBCCDD"))) << "keys stay hidden in the clear, too";
    const Details status = with.Describe(story.entries.at(3));
    EXPECT_EQ(status.sections.at(1).name, "Command in the clear");
    EXPECT_THAT(RowsOf(status), HasSubstr(">4F AID|A0000008410001|"));

    Describer wrong(true, {{0x31, {Bytes(16, 1), Bytes(16, 2), Bytes(16, 3)}}});
    EXPECT_THAT(RowsOf(wrong.Describe(story.entries.at(0))), HasSubstr("the card's cryptogram is wrong"));
}

TEST(TraceDetails, TakeKeysFromACatalogue) {
    const std::string file = testing::TempDir() + "trace-keys-" + std::to_string(getpid());
    const auto write = [&](const std::string& text) { std::ofstream(file) << text; };
    write(
        R"({"cardKeys":[{"version":"31","enc":"40404040404040404040404040404040",)"
        R"("mac":"41414141414141414141414141414141","dek":"42424242424242424242424242424242"}],"services":[]})");
    EXPECT_EQ(Trace::ReadKeys(file).at(0x31).mac, Keys().mac);
    write(R"({"cardKeys":[{"version":"31","enc":"40","mac":"41","dek":"42"}]})");
    EXPECT_THROW(Trace::ReadKeys(file), std::runtime_error);
    write("{}");
    EXPECT_THROW(Trace::ReadKeys(file), std::runtime_error);
    std::remove(file.c_str());
    EXPECT_THROW(Trace::ReadKeys(file), std::runtime_error);
}

TEST(TraceOutput, IsWellFormedInEachForm) {
    const std::string hostile =
        R"({"time":"2026-03-01T12:00:00.250Z","msgCd":"</script><b>;#","request":"no message </script>","status":500,)"
        R"("answer":"<html>\n%%end","remark":"\u001b[31m"})"
        "\n";
    const Story story = Tell({hostile, Exchange("80CA9F7F00", "6A88") + "{\n"});
    const nlohmann::json json = nlohmann::json::parse(Written(Trace::WriteJson, story));
    EXPECT_EQ(json.at("first"), 1);
    EXPECT_EQ(json.at("entries").size(), 2U);
    EXPECT_EQ(json.at("problems").at(0).at("line"), 2);
    EXPECT_EQ(json.at("entries").at(1).at("outcome"), "6A88");
    const nlohmann::json har = nlohmann::json::parse(Written(Trace::WriteHar, story));
    EXPECT_EQ(har.at("log").at("entries").at(0).at("response").at("status"), 500);
    const std::string text = Written(Trace::WriteText, story);
    EXPECT_THAT(
        text, AllOf(HasSubstr("The first thing that went wrong is entry 1"), HasSubstr("input1:2: ")));
    EXPECT_THAT(text, AllOf(Not(HasSubstr("\x1B")), HasSubstr("Look at: ")));
    const std::string diagram = Written(Trace::WriteMermaid, story);
    EXPECT_THAT(diagram, AllOf(StartsWith("sequenceDiagram\n"), Not(HasSubstr(";")), Not(HasSubstr("<"))));
}

TEST(TraceOutput, PutsAPageTogetherThatNothingBreaksOutOf) {
    const Story story = Tell(
        {R"({"time":"2026-03-01T12:00:00.250Z","msgCd":"</script><script>alert(1)</script>","request":"","status":200,)"
         R"("answer":""})"});
    const std::string page = Written(Trace::WriteHtml, story);
    EXPECT_EQ(page.find("alert(1)</script>"), std::string::npos);
    EXPECT_THAT(
        page, AllOf(HasSubstr("default-src 'none'; script-src 'sha256-"), HasSubstr("\\u003c/script>")));
    EXPECT_THAT(
        page, AllOf(Not(HasSubstr("[[style]]")), Not(HasSubstr("import {")), HasSubstr("class EntryList")));
}

TEST(TraceDiff, ShowsTheFirstCommandAndTheFirstAnswerThatDiffer) {
    const std::string select = Exchange("00A4040000", "9000");
    EXPECT_EQ(DifferenceOf(select, select), "same: 1 step is the same\n");
    EXPECT_THAT(
        DifferenceOf(
            select + Exchange("80CA006600", "9000"),
            Exchange("00A4040000", "6A82") + Exchange("80CA004200", "9000")),
        AllOf(
            HasSubstr("The first command that differs is step 2"),
            HasSubstr("- entry 2: GET DATA, card data"), HasSubstr("The first answer that differs is step 1"),
            HasSubstr("=> 6A82 ")));
    EXPECT_THAT(DifferenceOf(select + select, select), HasSubstr("The first goes on with step 2"));
}

TEST(TraceDiff, SeesThroughAChannel) {
    std::string other = ChannelRecording();
    EXPECT_THAT(DifferenceOf(other, ChannelRecording()), StartsWith("same: 4 steps"));
    const std::size_t challenge = other.find("0102030405060708");
    other.replace(challenge, 2, "09");
    EXPECT_THAT(DifferenceOf(ChannelRecording(), other), StartsWith("same: "))
        << "a challenge differs each time";
    EXPECT_THAT(DifferenceOf(ChannelRecording(), ChannelRecording(), {{0x31, Keys()}}), StartsWith("same: "));
}
