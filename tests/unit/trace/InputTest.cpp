// SPDX-License-Identifier: Apache-2.0
// Each form of input, whole and damaged.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/trace/Telling.h"
#include "trace/LineReader.h"
#include "trace/LogLine.h"

using testing::ElementsAre;
using testing::HasSubstr;
using Trace::IsoTime;
using Trace::LogLine;
using Trace::Problem;
using Trace::ReadLogLine;

namespace {

const std::vector<std::string> ScriptCourse = {
    "request",          "open", "apdu ", "message INITIALIZEAPDU", "apdu 00A4040000", "apdu 80CA006600",
    "message NEXTAPDU", "reply"};

std::string TimeOf(const std::string& line) {
    const std::optional<LogLine> read = ReadLogLine(line, Noon);
    return !read ? "no line" : read->time ? IsoTime(*read->time) : "no time";
}

std::string PartsOf(const std::string& line) {
    const std::optional<LogLine> read = ReadLogLine(line, Noon);
    return !read ? "no line"
                 : std::string(1, read->priority) + "|" + std::string(read->tag) + "|" +
                       std::to_string(read->process) + "|" + std::string(read->text);
}

}  // namespace

TEST(TraceInput, TellsTheSameOfEachFormOfALog) {
    for (const char* const prefix : {
             "D/NavoAgent( 1234): ",
             "03-01 11:59:00.250+0000 P 1234, T 1240 D/NavoAgent: ",
             "03-01 11:59:00.250+0900  1234  1240 D NavoAgent: ",
             "03-01 11:59:00.250  1234  1240 D NavoAgent       : ",
             "03-01 11:59:00.250+0000 D/NavoAgent( 1234): ",
             "Mar 01 11:59:00.250000 watch NavoAgent[1234]: D/NavoAgent( 1234): ",
             "Mar  1 11:59:00 watch NavoAgent[1234]: ",
             "2026-03-01T11:59:00+0000 watch NavoAgent[1234]: ",
         }) {
        const Trace::Story story = Tell({ScriptLog(prefix)});
        EXPECT_EQ(Course(story), ScriptCourse) << prefix;
        EXPECT_EQ(story.entries.at(4).process, 1234) << prefix;
        EXPECT_TRUE(story.problems.empty()) << prefix;
    }
}

TEST(TraceInput, TakesAJournalInJson) {
    std::string text;
    std::istringstream lines(ScriptLog(""));
    for (std::string line; std::getline(lines, line);) {
        text += R"({"__REALTIME_TIMESTAMP":"1772366400000042","_PID":"77","MESSAGE":"D/NavoAgent(   77): )" +
                line + "\"}\n";
    }
    const Trace::Story story = Tell({text});
    EXPECT_EQ(Course(story), ScriptCourse);
    EXPECT_EQ(story.entries.front().time, Noon + 42);
    EXPECT_EQ(story.entries.front().process, 77);
}

TEST(TraceInput, ReadsTimesAsTheyAreMeant) {
    EXPECT_EQ(TimeOf("D/NavoAgent( 1): x"), "no time");
    EXPECT_EQ(TimeOf("03-01 12:00:00.250+0900  1  1 D NavoAgent: x"), "2026-03-01T03:00:00.250000Z");
    EXPECT_EQ(TimeOf("03-01 12:00:00.250-0130  1  1 D NavoAgent: x"), "2026-03-01T13:30:00.250000Z");
    EXPECT_EQ(TimeOf("2024-02-29 12:00:00.5  1  1 D NavoAgent: x"), "2024-02-29T12:00:00.500000Z");
    EXPECT_EQ(TimeOf("12-31 23:59:59.999999  1  1 D NavoAgent: x"), "2025-12-31T23:59:59.999999Z");
    EXPECT_EQ(TimeOf("03-02 11:00:00.0  1  1 D NavoAgent: x"), "2026-03-02T11:00:00.000000Z");
    EXPECT_EQ(TimeOf("Feb 28 00:00:01 host x[1]: y"), "2026-02-28T00:00:01.000000Z");
    EXPECT_EQ(TimeOf("2026-03-01T12:00:00.25+09:00 host x[1]: y"), "2026-03-01T03:00:00.250000Z");
}

TEST(TraceInput, TakesLinesOfLogsApart) {
    EXPECT_EQ(PartsOf("E/NavoAgent(  12): a: b"), "E|NavoAgent|12|a: b");
    EXPECT_EQ(PartsOf("03-01 12:00:00.250+0900 P  12, T  13 I/Other: c"), "I|Other|12|c");
    EXPECT_EQ(PartsOf("Mar  1 12:00:00 host NavoAgent[9]: E/navo-device(   8): d"), "E|navo-device|8|d");
    for (const char* const line :
         {"", "D/", "D/NavoAgent", "D/NavoAgent(x): y", "03-01", "13-01 12:00:00.0 1 1 D a: b",
          "03-01 25:00:00 1 1 D a: b", "03-01 12:00:00.250 1 1 ? NavoAgent: x", "Mar 99 12:00:00 host a: b",
          "Foo 01 12:00:00 host a: b", "2026-03-01T12:00:00 host a: b", "2026-03-01T12:00:00Z host",
          "Mar 01 12:00:00 host a[1 b"}) {
        EXPECT_FALSE(ReadLogLine(line, Noon)) << line;
    }
}

TEST(TraceInput, PassesOverOtherProgramsAndWhatTheReaderOfLogsSays) {
    const Trace::Reading reading = Read(
        "--------- beginning of /dev/log_main\n03-01 11:59:00.2  1  1 D Other: CAPDU: 00A4040000 [10]\n\n" +
        ScriptLog("03-01 11:59:00.2  1  1 D NavoAgent: "));
    EXPECT_EQ(reading.entries.size(), ScriptCourse.size());
    EXPECT_TRUE(reading.problems.empty());
}

TEST(TraceInput, ReadsRecordingsOfAnyRelease) {
    const Trace::Reading older = Read(
        R"({"time":"2026-03-01T12:00:00.250Z","event":"exchange","command":"80CA9F7F00","response":"6A88","code":0})");
    ASSERT_EQ(older.entries.size(), 1U);
    EXPECT_EQ(older.entries[0].time, Noon + 250000);
    EXPECT_FALSE(older.entries[0].duration);
    const Trace::Reading newer = Read(
        R"({"time":"2026-03-01T12:00:01.000Z","event":"open","atr":"3B00","code":0,)"
        R"("received":"2026-03-01T12:00:00.250871Z","durationMicroseconds":412,"process":71,"session":1,"later":[]})");
    ASSERT_EQ(newer.entries.size(), 1U);
    EXPECT_EQ(newer.entries[0].time, Noon + 250871);
    EXPECT_EQ(newer.entries[0].duration, 412);
    EXPECT_EQ(newer.entries[0].process, 71);
    EXPECT_TRUE(newer.problems.empty());
}

TEST(TraceInput, ReadsAServersRecord) {
    const Trace::Reading reading = Read(
        R"({"time":"2026-03-01T12:00:00.250Z","received":"2026-03-01T12:00:00.249000Z","durationMicroseconds":800,)"
        R"("session":"U","service":"s","msgCd":"NEXTAPDU","request":"data={\"rApduSet\":\"/019000\"}","status":200,)"
        R"("answer":"{\"resultCode\":\"00000000\",\"cApduSet\":\"/0100A4%300\"}","remark":"step 2",)"
        R"("verdicts":[{"command":"00A4","response":"9000","expected":"9000","accepted":true,"title":"select"}],)"
        R"("notes":["n"],"misbehaviours":["delay=5"],"repeated":true})");
    ASSERT_EQ(reading.entries.size(), 1U);
    const Trace::Entry& entry = reading.entries[0];
    EXPECT_EQ(entry.message->received, Noon + 249000);
    EXPECT_EQ(entry.message->worked, 800);
    EXPECT_EQ(entry.message->commandSet, "/0100A400") << "URL escapes are undone";
    EXPECT_EQ(entry.message->responseSet, "/019000");
    EXPECT_EQ(entry.message->verdicts.at(0).title, "select");
    EXPECT_TRUE(entry.message->repeated);
    EXPECT_THAT(entry.faults, ElementsAre("delay=5"));
}

TEST(TraceInput, SaysWhereAndWhatIsWrongAndReadsOn) {
    const Trace::Reading reading = Read(
        R"({"time":"","event":"reset"}
{"time":"","event":"exchange","command":"80C","response":"6A88","code":0}
[]
{"a":1}
{"time":"","event":"close"}
{"time":"2026-03-01T12:0)");
    std::vector<std::string> told;
    for (const Problem& problem : reading.problems) {
        told.push_back(problem.file + ":" + std::to_string(problem.line) + ": " + problem.text);
    }
    ASSERT_EQ(told.size(), 5U);
    EXPECT_THAT(told[0], HasSubstr("input0:1: \"reset\" is no event"));
    EXPECT_THAT(told[1], HasSubstr("input0:2: \"command\" is not written in hexadecimal"));
    EXPECT_THAT(told[2], HasSubstr("input0:3: this is neither JSON nor a line of a log"));
    EXPECT_THAT(told[3], HasSubstr("input0:4: this is a line of no recording"));
    EXPECT_THAT(told[4], HasSubstr("input0:6: this is no JSON object; the line is damaged or cut"));
    EXPECT_EQ(reading.entries.size(), 1U);
    EXPECT_TRUE(reading.source.isCut);
}

TEST(TraceInput, WantsAFileForEachForm) {
    const Trace::Reading reading = Read(
        R"({"time":"","event":"close"}
{"time":"","msgCd":"NEXTAPDU","request":""}
D/NavoAgent( 9): cmd: 65
{"time":"","event":"close"})");
    EXPECT_EQ(reading.entries.size(), 2U);
    ASSERT_EQ(reading.problems.size(), 2U);
    EXPECT_THAT(
        reading.problems[0].text,
        HasSubstr(
            "this is of a record of a key server, and the lines before are of a recording of a device"));
    EXPECT_EQ(reading.problems[1].line, 3U);
}

TEST(TraceInput, CountsProblemsThatAreTooManyToTell) {
    std::string text;
    for (int line = 0; line < 250; ++line) {
        text += "neither\n";
    }
    const Trace::Reading reading = Read(text);
    ASSERT_EQ(reading.problems.size(), 101U);
    EXPECT_EQ(reading.problems.back().text, "150 more lines cannot be read");
    EXPECT_TRUE(Read("").problems.empty()) << "nothing was recorded, and nothing is wrong";
    EXPECT_THAT(Read("\n").problems.at(0).text, HasSubstr("nothing in this file is of a session"));
    EXPECT_THAT(
        Trace::ReadFile("/nowhere/device.jsonl", 0, Noon).problems.at(0).text, HasSubstr("cannot be read"));
}

TEST(TraceInput, CutsALineThatHasNoEnd) {
    std::istringstream stream("12345\r\n1234567\nx");
    Trace::LineReader lines(stream, 6);
    std::string line;
    ASSERT_TRUE(lines.Next(line));
    EXPECT_EQ(line, "12345");
    EXPECT_FALSE(lines.WasTooLong());
    ASSERT_TRUE(lines.Next(line));
    EXPECT_EQ(line, "123456");
    EXPECT_TRUE(lines.WasTooLong());
    EXPECT_FALSE(lines.HadNoEnd());
    ASSERT_TRUE(lines.Next(line));
    EXPECT_TRUE(lines.HadNoEnd());
    EXPECT_EQ(lines.Number(), 3U);
    EXPECT_FALSE(lines.Next(line));
}

TEST(TraceInput, TellsWhatALogThatWasCutLacks) {
    const Trace::Story story =
        Tell({"D/NavoAgent(1): cmd: 65\nD/NavoAgent(1): cAPDU: /0100A4040000/0180CA0066\n"
              "D/NavoAgent(1): CAPDU: 00A4040000 [10]\nD/NavoAgent(1): CAPDU: 80CA0066\n"
              "D/NavoAgent(1): rAPDU: /019000\n"});
    ASSERT_EQ(story.entries.size(), 4U);
    EXPECT_FALSE(story.entries[1].isCut);
    EXPECT_TRUE(story.entries[2].isCut) << "neither all of the command nor its response";
    EXPECT_THAT(Written(Trace::WriteText, story), HasSubstr("cut the input has only a part of it"));
}
