// SPDX-License-Identifier: Apache-2.0
// Several inputs as one story, and what went wrong in it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/trace/Telling.h"
#include "trace/Clock.h"

using testing::ElementsAre;
using testing::HasSubstr;
using Trace::Kind;
using Trace::State;
using Trace::Story;

namespace {

std::string Time(int milliseconds) {
    return Trace::IsoTime(Noon + milliseconds * 1000);
}

std::string Device(const std::string& event, int at) {
    return R"({"time":")" + Time(at) + R"(","event":)" + event + R"(,"received":")" + Time(at) +
           R"(","durationMicroseconds":900,"process":7,"session":1})" + "\n";
}

std::string Exchange(const std::string& command, const std::string& response, int at) {
    return Device(
        R"("exchange","command":")" + command + R"(","response":")" + response + R"(","code":0)", at);
}

// What the card saw of the log's script: a reading of the service's own, then the set with a GET RESPONSE.
std::string Recording() {
    return Device(R"("open","atr":"3B00","code":0)", 1) + Exchange("80CA9F7F00", "6A88", 2) +
           Exchange("00A4040000", "9000", 10) + Exchange("80CA006600", "6103", 12) +
           Exchange("00C0000003", "6601739000", 14) + Device(R"("close")", 40);
}

std::string Record(
    const std::string& name, const std::string& request, const std::string& answer, int at,
    const std::string& more = "") {
    return R"({"time":")" + Time(at) + R"(","received":")" + Time(at) +
           R"(","durationMicroseconds":2000,"session":"U","service":"demo.card","msgCd":")" + name +
           R"(","request":"data={\"msgCd\":\")" + name + R"(\",)" + request +
           R"(}","status":200,"answer":")" + answer + R"(","remark":"why")" + more + "}\n";
}

std::string ServerRecord() {
    return Record(
               "INITIALIZEAPDU", R"(\"serviceId\":\"demo.card\")",
               R"({\"resultCode\":\"00000000\",\"cApduSet\":\"/0100A4040000/0180CA006600\"})", 5) +
           Record(
               "NEXTAPDU", R"(\"rApduSet\":\"/019000/01660173019000\")", R"({\"resultCode\":\"00000001\"})",
               20,
               R"(,"verdicts":[{"command":"00A4040000","response":"9000","expected":"9000","accepted":true,)"
               R"("title":"select"},{"command":"80CA006600","response":"6601739000","expected":"9000",)"
               R"("accepted":true,"title":"read 66"}])");
}

std::vector<std::string> WholeCourse() {
    return {"request",         "open",
            "apdu 80CA9F7F00", "message INITIALIZEAPDU",
            "apdu 00A4040000", "apdu 80CA006600",
            "apdu 00C0000003", "message NEXTAPDU",
            "reply",           "close"};
}

const Trace::Entry& First(const Story& story) {
    return story.entries.at(story.first.value());
}

std::string Log(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += "D/NavoAgent( 9): " + line + "\n";
    }
    return text;
}

}  // namespace

TEST(TraceStory, TellsOnceWhatAllInputsHave) {
    const Story story = Tell({ScriptLog("D/NavoAgent( 9): "), Recording(), ServerRecord()});
    EXPECT_EQ(Course(story), WholeCourse());
    EXPECT_FALSE(story.first);
    const Trace::Entry& read = story.entries[5];
    EXPECT_EQ(read.origins.size(), 2U);
    EXPECT_EQ(read.set, 1U);
    EXPECT_EQ(read.ordinal, 2U);
    EXPECT_EQ(read.action, "read 66");
    EXPECT_EQ(read.duration, 900);
    EXPECT_EQ(story.entries[6].ordinal, 2U) << "what fetches the rest belongs to it";
    EXPECT_TRUE(story.entries[0].isEstimated);
    EXPECT_EQ(story.entries[3].message->received, Noon + 5000);
    EXPECT_EQ(story.totals.jobs, 1U);
    EXPECT_EQ(story.sources[1].joined, 6U);
}

TEST(TraceStory, NeedsNoInputButOne) {
    EXPECT_EQ(Tell({Recording()}).totals.apdus, 4U);
    EXPECT_THAT(
        Course(Tell({ServerRecord()})),
        ElementsAre("message INITIALIZEAPDU", "apdu 00A4040000", "apdu 80CA006600", "message NEXTAPDU"));
    EXPECT_EQ(TextOf(Tell({ServerRecord()}).entries[2].response), "6601739000") << "as the server got it";
    const Story field = Tell({ScriptLog("03-01 12:00:00.010+0000  9  9 D NavoAgent: ")});
    EXPECT_EQ(field.totals.messages, 2U);
    EXPECT_EQ(TextOf(field.entries[5].response), "660173019000");
    EXPECT_EQ(field.entries[5].followUps, 1U);
}

TEST(TraceStory, JoinsRecordingAndRecordWithoutALog) {
    const Story story = Tell({ServerRecord(), Recording()});
    EXPECT_THAT(
        Course(story), ElementsAre(
                           "open", "apdu 80CA9F7F00", "message INITIALIZEAPDU", "apdu 00A4040000",
                           "apdu 80CA006600", "apdu 00C0000003", "message NEXTAPDU", "close"));
    EXPECT_EQ(story.totals.card, 5400);
    EXPECT_EQ(story.totals.server, 4000);
}

TEST(TraceStory, SetsClocksThatDiffer) {
    const Story story =
        Tell({Recording(), ScriptLog("03-01 21:00:00.010  9  9 D NavoAgent: "), ServerRecord()});
    EXPECT_EQ(Course(story), WholeCourse());
    EXPECT_LT(story.sources[1].shift, -8 * 3600 * 1000000LL);
    EXPECT_EQ(story.sources[2].shift, 0);
    std::string late = ServerRecord();
    for (std::size_t at = late.find("T12:"); at != std::string::npos; at = late.find("T12:", at)) {
        late.replace(at, 4, "T13:");
    }
    const Story shifted = Tell({Recording(), late});
    EXPECT_LT(shifted.sources[1].shift, -3599 * 1000000LL);
    EXPECT_EQ(shifted.totals.card, 5400);
}

TEST(TraceStory, KeepsWhatCannotBeJoined) {
    const Story story = Tell({Exchange("00A4040007A0000008410001", "9000", 1), ServerRecord()});
    EXPECT_EQ(story.totals.apdus, 3U);
    EXPECT_EQ(story.sources[0].joined, 0U);
}

// Each program has aliases of its own, and the device's recording has the bytes.
TEST(TraceStory, JoinsWhatProgramsHaveMasked) {
    const auto logWith = [](const std::string& stored, const std::string& read) {
        return Log(
            {"cmd: 65", "Job execution: sid demo.card; fid ; req ",
             "cAPDU: /0180E2900003" + stored + "/0180CA006600", "CAPDU: 80E2900003" + stored + " [16]",
             "Sending command to SE", "CAPDU: 80CA006600 [10]", "Sending command to SE",
             "rAPDU: /019000/015A08" + read + "9000", "Job execution status: 00000001_"});
    };
    const std::string record =
        Record(
            "INITIALIZEAPDU", R"(\"serviceId\":\"demo.card\")",
            R"({\"resultCode\":\"00000000\",\"cApduSet\":\"/0180E2900003{card data AAAAAAAA}/0180CA006600\"})",
            5) +
        Record(
            "NEXTAPDU", R"(\"rApduSet\":\"/019000/015A08{card number BBBBBBBB}9000\")",
            R"({\"resultCode\":\"00000001\"})", 20);
    const std::string log = logWith("{card data CCCCCCCC}", "{card number DDDDDDDD}");
    const Story masked = Tell({log, record});
    EXPECT_THAT(
        Course(masked), ElementsAre(
                            "request", "message INITIALIZEAPDU", "apdu 80E2900003{card data CCCCCCCC}",
                            "apdu 80CA006600", "message NEXTAPDU", "reply"));
    EXPECT_FALSE(masked.first);
    EXPECT_EQ(masked.sources[1].joined, 4U);
    const std::string text = Written(Trace::WriteJson, masked);
    EXPECT_THAT(text, HasSubstr("80E2900003{card data CCCCCCCC}"));
    EXPECT_THAT(text, HasSubstr("STORE DATA, block 0"));

    const std::string recording =
        Exchange("80E2900003112233", "9000", 10) + Exchange("80CA006600", "5A0841111111111111119000", 12);
    const Story seen = Tell({log, record, recording});
    EXPECT_EQ(Course(seen).at(2), "apdu 80E2900003112233") << "what one input shows is seen";
    EXPECT_EQ(seen.totals.apdus, 2U);
    EXPECT_EQ(seen.totals.messages, 2U);
    EXPECT_EQ(
        Tell({logWith("{card data CCCCCCCC}", "{card number CCCCCCCC}"), Exchange("80E4900003", "9000", 1)})
            .totals.apdus,
        3U)
        << "another command is another";
}

TEST(TraceStory, NamesAFailureOfTls) {
    const Story story = Tell({Log(
        {"cmd: 65", "Job execution: sid demo.card; fid ISSUE; req ", "Trying to set up Internet connection",
         "Error sending request: 60 SSL peer certificate or SSH remote key was not OK",
         "Error details: SSL certificate problem: unable to get local issuer certificate",
         "Job execution status: 10100007_Protocol Error"})});
    EXPECT_THAT(Course(story), ElementsAre("request", "message INITIALIZEAPDU FAILED", "reply FAILED"));
    EXPECT_THAT(First(story).failure, HasSubstr("the server's certificate is not trusted"));
    EXPECT_THAT(First(story).failure, HasSubstr("unable to get local issuer"));
    EXPECT_EQ(First(story).causes.at(0).code, "10100007");
}

TEST(TraceStory, NamesAStatusOfHttp) {
    const Story story = Tell({Record("INITIALIZEAPDU", R"(\"serviceId\":\"s\")", "", 5, R"(,"status":503)")});
    const Story inLog =
        Tell({Log({"cmd: 65", "Job execution: sid s; fid ; req ", "Job execution status: 503"})});
    EXPECT_EQ(First(inLog).causes.at(0).code, "503");
    EXPECT_EQ(First(inLog).kind, Kind::Message);
    EXPECT_EQ(First(story).kind, Kind::Message);
}

TEST(TraceStory, NamesAWrongSet) {
    const Story story = Tell({Log(
        {"cmd: 65", "Job execution: sid s; fid ; req ", "cAPDU: /0100A4040000/01", "CAPDU: 00A4040000 [10]",
         "Sending command to SE", "CAPDU:  [0]", "Wrong cApdu", "rAPDU: 21_taken wrong adpu.",
         "Job execution status: 90202004_"})});
    EXPECT_EQ(First(story).kind, Kind::Message);
    EXPECT_THAT(First(story).failure, HasSubstr("command 2 of the set has 0 digits"));
    EXPECT_EQ(First(story).causes.at(0).code, "10100016");
}

TEST(TraceStory, NamesTheCommandThatTheCardRefused) {
    const std::vector<std::string> lines = {
        "cmd: 65",
        "Job execution: sid s; fid ; req ",
        "cAPDU: /0180E40000/0180CA006600",
        "CAPDU: 80E40000 [8]",
        "Sending command to SE",
        "CAPDU: 80CA006600 [10]",
        "Sending command to SE",
        "rAPDU: /016A88/016985",
        "Job execution status: 90202001_"};
    const Story alone = Tell({Log(lines)});
    EXPECT_EQ(TextOf(First(alone).command), "80E40000") << "the first that is no success";
    const std::string record =
        Record(
            "INITIALIZEAPDU", R"(\"serviceId\":\"s\")",
            R"({\"resultCode\":\"00000000\",\"cApduSet\":\"/0180E40000/0180CA006600\"})", 5) +
        Record(
            "NEXTAPDU", R"(\"rApduSet\":\"/016A88/016985\")", R"({\"resultCode\":\"90202001\"})", 20,
            R"(,"verdicts":[{"command":"80E40000","response":"6A88","expected":"9000, 6A88","accepted":true,"title":""},)"
            R"({"command":"80CA006600","response":"6985","expected":"9000","accepted":false,"title":"read 66"}])");
    const Story judged = Tell({Log(lines), record});
    EXPECT_EQ(TextOf(First(judged).command), "80CA006600") << "the server expected the other";
    EXPECT_EQ(First(judged).causes.at(0).code, "6985");
    EXPECT_THAT(First(judged).failure, HasSubstr("\"read 66\" was answered with 6985"));
    EXPECT_EQ(judged.entries.at(2).state, State::Noted);
}

TEST(TraceStory, NamesACardThatWasLost) {
    const std::string lost =
        Exchange("00A4040000", "9000", 1) +
        Device(R"("exchange","command":"80CA006600","code":-29491193,"message":"Card was removed")", 2);
    const Story story = Tell(
        {lost, Log(
                   {"cmd: 65", "Job execution: sid s; fid ; req ", "cAPDU: /0100A4040000/0180CA006600",
                    "CAPDU: 00A4040000 [10]", "Sending command to SE", "CAPDU: 80CA006600 [10]",
                    "Sending command to SE", "APDU send error: NFC is already deactivated",
                    "eSE communication problem. rAPDU len 0", "rAPDU: 21_SD API Exception.",
                    "Job execution status: 90202004_"})});
    EXPECT_EQ(First(story).kind, Kind::Apdu);
    EXPECT_EQ(First(story).failure, "The card gave no answer: Card was removed");
    EXPECT_EQ(First(story).causes.at(0).code, "10000002");
    EXPECT_EQ(First(story).origins.size(), 2U);
}

TEST(TraceStory, NamesAServerThatStaysSilent) {
    const Story waiting =
        Tell({Log({"cmd: 65", "Job execution: sid s; fid ; req ", "Using interface: net"})});
    EXPECT_THAT(First(waiting).failure, HasSubstr("The server stays silent"));
    EXPECT_EQ(First(waiting).causes.at(0).code, "10100009");
    const Story ended = Tell({Log(
        {"cmd: 65", "Job execution: sid s; fid ; req ", "Error sending request: 52 Server returned nothing",
         "Error details: ", "Error sending request: 52 Server returned nothing",
         "Job execution status: 10100019_"})});
    EXPECT_THAT(First(ended).failure, HasSubstr("in 2 attempts"));
    EXPECT_EQ(First(ended).causes.at(0).code, "10100019");
}

TEST(TraceStory, CountsNeitherEmptySuccessNorAValueAsFailure) {
    EXPECT_FALSE(Tell({Log({"cmd: 67", "Job result: 9F7F2A479063404091812500002123001A2B3C4D5E"})}).first);
    EXPECT_FALSE(Tell({Log({"cmd: 66", "Job execution status: 10400001_Channel is open"})}).first);
    EXPECT_TRUE(Tell({Log({"cmd: 68", "Job execution status: 10000000_Unknown error"})}).first);
    EXPECT_TRUE(Tell({Log({"cmd: 3F0", "Job result: -12"})}).first);
    EXPECT_TRUE(Tell({Device(R"("open","code":-16,"message":"no reader")", 1)}).first);
}

TEST(TraceStory, FollowsAQuestionThatIsAskedAgain) {
    const Story story = Tell({Log(
        {"cmd: 69", "info: Eligibility", "Trying to set up Internet connection",
         "Trying to set up Internet connection", "Job execution status: 00000001_"})});
    EXPECT_EQ(story.totals.messages, 2U);
    EXPECT_EQ(story.entries[1].message->resultCode, "10500006");
    EXPECT_EQ(story.entries[2].message->resultCode, "00000001");
}
