// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Journal.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <system_error>

#include "keyserver/service/Json.h"
#include "tests/support/TemporaryFolder.h"

using namespace KeyServer;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

Exchange Sample() {
    Exchange exchange;
    exchange.connection = 2;
    exchange.message = 7;
    exchange.job = 3;
    exchange.set = 2;
    exchange.received = std::chrono::system_clock::time_point(std::chrono::microseconds(1706745599000125));
    exchange.duration = std::chrono::microseconds(812);
    exchange.session = "0123456789ABCDEF";
    exchange.service = "wallet";
    exchange.msgCd = "NEXTAPDU";
    exchange.request = "data={}";
    exchange.resultCode = "00000000";
    exchange.answer = "{}";
    exchange.remark = "step 2 of 3";
    exchange.verdicts = {
        {"00A4040000", "6F009000", "9000", "9000", true, "select"},
        {"80CA", "6A82", "6A82", "9000", false, ""}};
    exchange.notes = {"keys of version 31 are new"};
    exchange.misbehaviours = {"delay=5"};
    return exchange;
}

}  // namespace

TEST(Journal, TellsWhatCameAndWhatWent) {
    std::vector<std::string> lines;
    Journal journal([&lines](const std::string& line) { lines.push_back(line); }, "");
    journal.Note(Sample());
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_THAT(
        lines[0],
        AllOf(HasSubstr("[01234567] <- NEXTAPDU for wallet"), HasSubstr("message 7, connection 2")));
    EXPECT_THAT(lines[1], EndsWith("  select: 00A4040000 => 6F009000  good"));
    EXPECT_THAT(lines[2], EndsWith("80CA => 6A82  REFUSED, expected 9000"));
    EXPECT_THAT(lines[3], EndsWith("  * keys of version 31 are new"));
    EXPECT_THAT(lines[4], EndsWith("-> 00000000 step 2 of 3 [misbehaving: delay=5]"));
}

TEST(Journal, DoesNotCallItARefusalWhenTheCardDidWhatItWasTold) {
    std::vector<std::string> lines;
    Journal journal([&lines](const std::string& line) { lines.push_back(line); }, "");
    Exchange exchange = Sample();
    exchange.verdicts = {
        {"80E400", "9000", "9000", "6A88", false, ""}, {"80E400", "6310", "6310", "9000", false, ""}};
    journal.Note(exchange);
    EXPECT_THAT(lines.at(1), EndsWith("80E400 => 9000  unexpected, wanted 6A88"));
    EXPECT_THAT(lines.at(2), EndsWith("80E400 => 6310  unexpected, wanted 9000"));
}

namespace {

// A personalisation: what goes in clear, what the card says, and what came and went on the wire.
Exchange SecretExchange() {
    Exchange exchange = Sample();
    exchange.request = R"(data={"rApduSet":"/01700A5A0849999900000000049000","sessionKey":"C0FFEE"})";
    exchange.answer = R"({"cApduSet":"/0180E2900003AABBCC","resultCode":"00000000"})";
    exchange.remark = "the card says 5A084999990000000004";
    exchange.verdicts = {{"80E2900003AABBCC", "5A0849999900000000049000", "9000", "9000", true, ""}};
    exchange.notes = {"read 5A084999990000000004"};
    return exchange;
}

}  // namespace

TEST(Journal, HasAliasesForSecretsInLogAndRecord) {
    const TemporaryFolder folder;
    const std::string file = (folder.Path() / "record").string();
    std::string lines;
    Journal journal([&lines](const std::string& line) { lines += line + "\n"; }, file);
    journal.Note(SecretExchange());
    const std::string record = ReadFile(file);
    for (const std::string& text : {lines, record}) {
        EXPECT_THAT(
            text, AllOf(Not(HasSubstr("AABBCC")), Not(HasSubstr("499999")), Not(HasSubstr("C0FFEE"))));
        EXPECT_THAT(text, AllOf(HasSubstr("80E2900003{card data "), HasSubstr("5A08{card number ")));
    }
    EXPECT_THAT(record, HasSubstr(R"(\"sessionKey\":\"{session key )"));
    const std::string alias = lines.substr(lines.find("{card number "), 22);
    EXPECT_THAT(record, HasSubstr(alias)) << "the same in both";
}

TEST(Journal, ShowsSecretsToWhoAsksForThem) {
    std::string lines;
    Journal journal([&lines](const std::string& line) { lines += line + "\n"; }, "", Secrets::Shown);
    journal.Note(SecretExchange());
    EXPECT_THAT(lines, AllOf(HasSubstr("80E2900003AABBCC => 5A0849999900000000049000"), Not(HasSubstr("{"))));
}

TEST(Journal, KeepsForeignTextOnOneShortLine) {
    std::vector<std::string> lines;
    Journal journal([&lines](const std::string& line) { lines.push_back(line); }, "");
    Exchange exchange = Sample();
    exchange.session = "a\nb\x1B[31m";
    exchange.msgCd = std::string(5000, 'x') + "\n";
    exchange.verdicts.clear();
    exchange.notes.clear();
    journal.Note(exchange);
    ASSERT_EQ(lines.size(), 2U);
    for (const std::string& line : lines) {
        EXPECT_LT(line.size(), 250U);
        EXPECT_THAT(line, AllOf(Not(HasSubstr("\n")), Not(HasSubstr("\x1B"))));
    }
}

TEST(Journal, RecordsEachExchangeAsOneLineAtOnce) {
    const TemporaryFolder folder;
    const std::string file = (folder.Path() / "record").string();
    Journal journal({}, file);
    journal.Note(Sample());
    const std::string first = ReadFile(file);
    ASSERT_EQ(first.back(), '\n');
    const JsonValue object = ParseJson(first.substr(0, first.size() - 1));
    EXPECT_EQ(object.Find("session")->text, "0123456789ABCDEF");
    EXPECT_EQ(object.Find("message")->number, 7);
    EXPECT_EQ(object.Find("request")->text, "data={}");
    ASSERT_EQ(object.Find("verdicts")->items.size(), 2U);
    EXPECT_FALSE(object.Find("verdicts")->items[1].Find("accepted")->boolean);
    EXPECT_EQ(object.Find("verdicts")->items[0].Find("title")->text, "select");
    EXPECT_EQ(object.Find("notes")->items.at(0).text, "keys of version 31 are new");
    EXPECT_EQ(object.Find("misbehaviours")->items.at(0).text, "delay=5");
    EXPECT_EQ(object.Find("time")->text.size(), std::string("2024-01-31T23:59:59.000Z").size());
    EXPECT_EQ(object.Find("received")->text, "2024-01-31T23:59:59.000125Z");
    EXPECT_EQ(object.Find("durationMicroseconds")->number, 812);
    EXPECT_EQ(object.Find("process")->number, getpid());
    EXPECT_EQ(object.Find("job")->number, 3);
    EXPECT_EQ(object.Find("set")->number, 2);
    EXPECT_EQ(object.Find("verdicts")->items[1].Find("ordinal")->number, 2);
}

TEST(Journal, AppendsToAnOlderRecord) {
    const TemporaryFolder folder;
    const std::string file = folder.Write("record", "{}\n").string();
    Journal({}, file).Note(Sample());
    EXPECT_EQ(ReadFile(file).substr(0, 4), "{}\n{");
}

TEST(Journal, NamesTheRecordThatCannotBeOpened) {
    EXPECT_THROW(Journal({}, "/nowhere/record"), std::system_error);
}
