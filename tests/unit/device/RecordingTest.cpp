// SPDX-License-Identifier: Apache-2.0
// Recordings as texts, and what answers from them.
#include "device/recording/Recording.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nfc.h>

#include "device/element/ReplayElement.h"
#include "device/recording/ElementFailure.h"
#include "tests/support/Process.h"
#include "tests/unit/device/DeviceDesk.h"

namespace {

using Device::Bytes;
using Device::ElementFailure;
using Device::FromHexText;
using Device::HexText;
using Device::RecordedEvent;
using Device::ReplayElement;
using testing::HasSubstr;
using testing::Not;
using Kind = RecordedEvent::Kind;

constexpr char Open[] = R"({"time":"","event":"open","atr":"3B00","code":0})"
                        "\n";
constexpr char Close[] = R"({"time":"","event":"close"})"
                         "\n";
constexpr char Plain[] = R"({"time":"","event":"exchange","command":"00A40400","response":"9000","code":0})"
                         "\n";
constexpr char Failed[] =
    R"({"time":"","event":"exchange","command":"80CA0066","code":-29491193,"message":"gone"})"
    "\n";

std::chrono::system_clock::time_point At(std::int64_t milliseconds) {
    return std::chrono::system_clock::time_point(std::chrono::milliseconds(milliseconds));
}

RecordedEvent Exchange(const std::string& command, const std::string& response) {
    RecordedEvent event;
    event.command = *FromHexText(command);
    event.answer = *FromHexText(response);
    return event;
}

template <typename Action>
std::string ProblemOf(Action action) {
    try {
        action();
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

class Recording : public DeviceDesk {
protected:
    std::string Write(const std::string& text) const { return folder.Write("session", text); }

    std::string ProblemOfLines(const std::string& text) const {
        const std::string file = Write(text);
        const std::string problem = ProblemOf([&] { Device::ReadRecording(file); });
        return problem.substr(std::min(problem.size(), file.size()));
    }

    static std::string Send(ReplayElement& element, const std::string& command) {
        return HexText(element.Transmit(*FromHexText(command)));
    }
};

TEST_F(Recording, HasALineForEachExchangeWithItsTimeInUtc) {
    EXPECT_EQ(
        RecordingLine(Exchange("80CA9F7F00", "6A88"), At(1772366400250)),
        R"({"time":"2026-03-01T12:00:00.250Z","event":"exchange","command":"80CA9F7F00","response":"6A88","code":0})"
        "\n");
}

TEST_F(Recording, HasTheMessageOfAFailureInPlaceOfTheAnswer) {
    RecordedEvent event = Exchange("80CA0066", "");
    event.code = NFC_ERROR_DEVICE_BUSY;
    event.message = "said \"no\"\n\xFF";
    EXPECT_THAT(
        RecordingLine(event, At(7)), HasSubstr(R"("command":"80CA0066","code":-16,"message":"said \"no\"\n)"
                                               "\xEF\xBF\xBD"));
}

TEST_F(Recording, IsReadAsItWasWritten) {
    const std::string file = folder.Path() / "made";
    {
        Device::Recorder recorder(file);
        RecordedEvent open;
        open.kind = Kind::Open;
        open.answer = {0x3B, 0x00};
        recorder.Write(open);
        recorder.Write(Exchange("00A40400", "9000"));
        RecordedEvent close;
        close.kind = Kind::Close;
        recorder.Write(close);
    }
    const std::vector<RecordedEvent> events = Device::ReadRecording(file);
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0].kind, Kind::Open);
    EXPECT_EQ(HexText(events[0].answer), "3B00");
    EXPECT_EQ(HexText(events[1].command), "00A40400");
    EXPECT_EQ(HexText(events[1].answer), "9000");
    EXPECT_EQ(events[2].kind, Kind::Close);
    EXPECT_EQ(events[2].line, 3U);
}

TEST_F(Recording, TellsOfWhatIsMeasuredWhenItBeganAndWhereItStands) {
    Device::Measurement measured;
    measured.received = At(1772366400250) + std::chrono::microseconds(871);
    measured.duration = std::chrono::microseconds(412);
    measured.process = 71;
    measured.session = 1;
    measured.ordinal = 2;
    const std::string line = RecordingLine(Exchange("80CA9F7F00", "6A88"), At(1772366400251), measured);
    EXPECT_THAT(
        line,
        HasSubstr(
            R"("code":0,"received":"2026-03-01T12:00:00.250871Z","durationMicroseconds":412,"process":71,)"
            R"("session":1,"ordinal":2})"));
    EXPECT_EQ(Device::ReadRecording(Write(Open + line)).size(), 2U);
    EXPECT_EQ(
        ProblemOfLines(Open + std::string(R"({"time":"","event":"close","session":"1"})")),
        ":2: \"session\" is no whole number");
}

TEST_F(Recording, CountsSessionsAndTheExchangesOfEach) {
    const std::string file = folder.Path() / "counted";
    Device::Recorder recorder(file);
    for (int session = 0; session < 2; ++session) {
        RecordedEvent open;
        open.kind = Kind::Open;
        recorder.Write(open);
        recorder.Write(Exchange("00A40400", "9000"));
        RecordedEvent event = Exchange("80CA0066", "9000");
        event.begun = Device::Moment::Now();
        recorder.Write(event);
    }
    const std::vector<std::string> lines = LinesOf(TextOf(file));
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_THAT(lines[1], Not(HasSubstr("ordinal")));
    EXPECT_THAT(lines[2], HasSubstr(R"("session":1,"ordinal":2)"));
    EXPECT_THAT(lines[5], HasSubstr(R"("session":2,"ordinal":2)"));
}

TEST_F(Recording, GrowsBehindWhatTheFileHolds) {
    const std::string file = Write(Open);
    Device::Recorder(file).Write(Exchange("00A40400", "9000"));
    EXPECT_EQ(Device::ReadRecording(file).size(), 2U);
}

TEST_F(Recording, IsRefusedWithTheLineThatIsDamaged) {
    EXPECT_EQ(ProblemOfLines(""), ": the recording is empty");
    EXPECT_EQ(ProblemOfLines("[]\n"), ":1: this is no JSON object");
    EXPECT_EQ(ProblemOfLines(std::string(Open) + Plain + "\n"), ":3: this is no JSON object");
    EXPECT_EQ(
        ProblemOfLines(std::string(Open) + R"({"time":"","event":"reset"})"),
        ":2: \"reset\" is no event; there are open, exchange and close");
    EXPECT_EQ(ProblemOfLines(R"({"event":"close"})"), ":1: \"time\" is missing");
    EXPECT_EQ(
        ProblemOfLines(R"({"time":"","event":"open","atr":"3B0","code":0})"),
        ":1: \"atr\" is not written in hexadecimal digits");
    EXPECT_EQ(ProblemOfLines(R"({"time":"","event":"open","atr":7,"code":0})"), ":1: \"atr\" is no text");
    EXPECT_EQ(
        ProblemOfLines(R"({"time":"","event":"open","atr":"","code":4294967296})"),
        ":1: \"code\" is no whole number of 32 bits");
    EXPECT_EQ(
        ProblemOfLines(R"({"time":"","event":"open","atr":"","code":18446744073709551615})"),
        ":1: \"code\" is no whole number of 32 bits");
    EXPECT_EQ(ProblemOfLines(R"({"time":"","event":"open","code":-16})"), ":1: \"message\" is missing");
    EXPECT_THAT(
        ProblemOfLines(R"({"time":"","event":"close","code":0})"), HasSubstr(":1: a member is not known"));
    EXPECT_THAT(ProblemOfLines(Plain), HasSubstr(":1: no session is open here"));
    EXPECT_THAT(ProblemOfLines(std::string(Open) + Close + Plain), HasSubstr(":3: no session is open here"));
}

TEST_F(Recording, EveryTruncationOfALineIsNoticed) {
    const std::string line = Plain;
    for (std::size_t length = 1; length + 1 < line.size(); ++length) {
        EXPECT_EQ(ProblemOfLines(Open + line.substr(0, length)), ":2: this is no JSON object") << length;
    }
}

TEST_F(Recording, AnswersTheRecordedCommandsSessionBySession) {
    ReplayElement element(Write(std::string(Open) + Plain + Close + Open + Failed + Close));
    EXPECT_EQ(HexText(element.Open()), "3B00");
    EXPECT_EQ(Send(element, "00A40400"), "9000");
    element.Close();
    element.Open();
    try {
        Send(element, "80CA0066");
        FAIL() << "the failure is recorded";
    } catch (const ElementFailure& failure) {
        EXPECT_EQ(failure.Code(), NFC_ERROR_ALREADY_DEACTIVATED);
        EXPECT_THAT(failure.what(), HasSubstr("session:5: gone"));
    }
    EXPECT_TRUE(element.IsLost());
    element.Close();
    EXPECT_THAT(ProblemOf([&] { element.Open(); }), HasSubstr("has ended with line 6"));
}

TEST_F(Recording, NamesCommandsThatDifferByAliasesUnlessTheyAreToBeShown) {
    const std::string store =
        R"({"time":"","event":"exchange","command":"80E2900003AABBCC","response":"9000","code":0})"
        "\n";
    const auto problem = [&] {
        ReplayElement element(Write(Open + store + Close));
        element.Open();
        return ProblemOf([&] { Send(element, "80E2900003AABBCD"); });
    };
    EXPECT_THAT(
        problem(), testing::AllOf(HasSubstr("recorded 80E2900003{"), testing::Not(HasSubstr("AABBC"))));
    const Variable shown("NAVO_MASK", "none");
    EXPECT_THAT(problem(), HasSubstr("recorded 80E2900003AABBCC, sent 80E2900003AABBCD"));
}

TEST_F(Recording, StopsAtTheFirstCommandThatDiffersAndStaysThere) {
    ReplayElement element(Write(std::string(Open) + Plain + Plain + Close + Open + Plain + Close));
    element.Open();
    const std::string problem = ProblemOf([&] { Send(element, "00A40401"); });
    EXPECT_THAT(problem, HasSubstr("session:2: the command differs: recorded 00A40400, sent 00A40401"));
    EXPECT_EQ(ProblemOf([&] { Send(element, "00A40400"); }), problem) << "also the right one comes too late";
    element.Close();
    EXPECT_THAT(LogLines().back(), HasSubstr("session:2: from here on, 2 recorded exchanges"));
    element.Open();
    EXPECT_EQ(Send(element, "00A40400"), "9000");
    EXPECT_THAT(
        ProblemOf([&] { Send(element, "00A40400"); }),
        HasSubstr("session:7: the recorded session ends here"));
}

TEST_F(Recording, ThatBreaksOffSaysSoWhenMoreIsAsked) {
    ReplayElement element(Write(std::string(Open) + Plain));
    element.Open();
    EXPECT_EQ(Send(element, "00A40400"), "9000");
    EXPECT_THAT(
        ProblemOf([&] { Send(element, "80CA"); }), HasSubstr("has ended with line 2, before command 80CA"));
}

}  // namespace
