// SPDX-License-Identifier: Apache-2.0
// What navoctl sends, prints and ends with.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <future>

#include "tests/unit/client/Desk.h"
#include "tests/unit/client/Terminal.h"

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

using ResultText::Done;

const char Cplc[] = "479063404091812500002123001A2B3C4D5E4812212448132125481421260000000148152127000000FF";

}  // namespace

TEST(Navoctl, PrintsTheCplcAndNothingElse) {
    const Desk desk(Navo::Map{{"ReturnCode", Cplc}});
    const ProgramEnd end = desk.Run({"cplc"});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, std::string(Cplc) + "\n");
    EXPECT_EQ(end.errors, "");
    EXPECT_THAT(desk.Service().Received(), ElementsAre("Open", "Cmd 66", "Cmd 67", "Close"));
}

TEST(Navoctl, PrintsTheFieldsOfTheCplc) {
    const Desk desk(Navo::Map{{"ReturnCode", Cplc}});
    const ProgramEnd end = desk.Run({"cplc", "--fields"});
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.output, HasSubstr("IC fabricator                     4790\n"));
    EXPECT_THAT(
        end.output, ContainsRegex("2123  \\([0-9]{4}-05-0[23] if it is of [0-9]{4} to [0-9]{4}\\)\n"));
}

TEST(Navoctl, PrintsACplcOfAnotherLengthAsItIs) {
    const Desk desk(Navo::Map{{"ReturnCode", "AB12"}});
    const ProgramEnd end = desk.Run({"cplc", "--fields"});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, "AB12\n");
    EXPECT_THAT(end.errors, HasSubstr("42 bytes"));
}

TEST(Navoctl, TakesARefusedCplcForAFailureWhateverItsCode) {
    const Desk desk(Navo::Map{{"ReturnCode", Done}});
    const ProgramEnd end = desk.Run({"cplc"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.output, "");
    EXPECT_THAT(end.errors, StartsWith("navoctl: cplc: 00000001_The job has done successfully\n"));
    EXPECT_THAT(end.errors, HasSubstr("refused to give its CPLC"));
}

TEST(Navoctl, PrintsTheFreeMemory) {
    const Desk desk(Navo::Map{{"MemoryInfo", "123456"}, {"ReturnCode", "123456"}});
    const ProgramEnd end = desk.Run({"memory"});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, "123456\n");
    EXPECT_EQ(desk.LastRequest(), (Navo::Map{{"Cmd", "68"}}));
}

TEST(Navoctl, PrintsThePhoneInformation) {
    const Desk desk(Navo::Map{{"phoneInfo", "deviceModel: x\nlocation: KR"}, {"ReturnCode", Done}});
    const ProgramEnd end = desk.Run({"phone-info"});
    EXPECT_EQ(end.output, "deviceModel: x\nlocation: KR\n");
    EXPECT_EQ(desk.LastRequest(), (Navo::Map{{"Cmd", "1F4"}}));
}

TEST(Navoctl, SendsTheAddressAndPrintsTheResult) {
    const Desk desk(Navo::Map{{"ReturnCode", Done}});
    const ProgramEnd end = desk.Run({"set-address", "https://kms.example.com"});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, std::string(Done) + "\n");
    EXPECT_EQ(desk.LastRequest(), (Navo::Map{{"Cmd", "1F5"}, {"hostAddr", "https://kms.example.com"}}));
}

TEST(Navoctl, ExplainsThatACommandIsForPrivilegedClients) {
    const Desk desk(Navo::Map{{"ReturnCode", ResultText::WrongCommand}});
    const ProgramEnd end = desk.Run({"set-address", "x"});
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.errors, HasSubstr("privileged"));
}

TEST(Navoctl, SendsAllThatARunNeeds) {
    const Desk desk(Navo::Map{{"ReturnCode", Done}});
    const ProgramEnd end = desk.Run({"run", "--service-id", "S", "--fc-id", "F", "--push-req", "P=1"});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, std::string(Done) + "\n");
    EXPECT_THAT(end.errors, HasSubstr("without any card command"));
    EXPECT_EQ(
        desk.LastRequest(),
        (Navo::Map{{"Cmd", "65"}, {"ServiceId", "S"}, {"FcId", "F"}, {"pushReq", "P=1"}}));
}

TEST(Navoctl, AlwaysFailsToGetTheStatusOfTheElement) {
    const Desk desk(Navo::Map{{"ReturnCode", ResultText::WrongCommand}});
    const ProgramEnd end = desk.Run({"se-status"});
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(desk.Service().Received(), ElementsAre("Open", "Cmd 66", "Cmd 66", "Close"));
}

TEST(Navoctl, PrintsTheWholeReplyToARawRequestWhateverItMeans) {
    const Desk desk(Navo::Map{{"ReturnCode", "0"}, {"other", "a=b"}});
    const ProgramEnd end = desk.Run({"raw", "Cmd=68", "x=", "y=1=2"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.output, "ReturnCode=0\nother=a=b\n");
    EXPECT_EQ(desk.LastRequest(), (Navo::Map{{"Cmd", "68"}, {"x", ""}, {"y", "1=2"}}));
}

TEST(Navoctl, UsesExecWhereAskedTo) {
    const Desk desk(Navo::Map{{"ReturnCode", Cplc}});
    EXPECT_EQ(desk.Run({"raw", "Cmd=67", "--exec", "--tag", "t"}).status, 0);
    EXPECT_THAT(desk.Service().Received(), testing::Contains("Exec 67"));
}

TEST(Navoctl, PrintsJsonForAResult) {
    const Desk desk(Navo::Map{{"ReturnCode", "10400006_No \"permission\"\nto access eSE"}});
    const ProgramEnd end = desk.Run({"--json", "eligibility"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(
        end.output,
        "{\n"
        "  \"command\" : \"eligibility\",\n"
        "  \"success\" : false,\n"
        "  \"code\" : \"10400006\",\n"
        "  \"description\" : \"No \\\"permission\\\"\\nto access eSE\",\n"
        "  \"hint\" : \"The device does not let this service use the secure element; log: journalctl -u "
        "navoagent; more: navoctl explain 10400006\",\n"
        "  \"reply\" : {\n"
        "    \"ReturnCode\" : \"10400006_No \\\"permission\\\"\\nto access eSE\"\n"
        "  }\n"
        "}\n");
    EXPECT_EQ(end.errors, "");
}

TEST(Navoctl, PrintsTheFieldsOfTheCplcInJson) {
    const Desk desk(Navo::Map{{"ReturnCode", Cplc}});
    const ProgramEnd end = desk.Run({"cplc", "--json", "--fields"});
    EXPECT_THAT(end.output, HasSubstr("\"success\" : true"));
    EXPECT_THAT(end.output, HasSubstr("\"icSerialNumber\" : \"001A2B3C\""));
}

TEST(Navoctl, EndsWithThreeAndJsonWhenNobodyHasTheServicesName) {
    const TestBus bus;
    const ProgramEnd end = NavoctlProgram::Run(bus.Address(), {"memory", "--json"});
    EXPECT_EQ(end.status, 3);
    EXPECT_THAT(end.output, HasSubstr("\"kind\" : \"service-unreachable\""));
    EXPECT_THAT(end.errors, StartsWith("navoctl: memory: "));
}

TEST(Navoctl, EndsWithThreeWithoutABus) {
    const ProgramEnd end = NavoctlProgram::Run("unix:path=/nonexistent/bus", {"memory"});
    EXPECT_EQ(end.status, 3);
    EXPECT_EQ(end.output, "");
}

TEST(Navoctl, EndsWithThreeWhenTheServiceDiesInMidCall) {
    const Desk desk([](Arrival& arrival) { arrival.Service().Vanish(); });
    const ProgramEnd end = desk.Run({"run", "--service-id", "S"});
    EXPECT_EQ(end.status, 3);
    EXPECT_THAT(end.errors, HasSubstr("unknown"));
}

TEST(Navoctl, EndsWithThreeAtItsTimeLimitAndClosesTheSession) {
    const Desk desk([](Arrival&) {});
    const ProgramEnd end = desk.Run({"cplc", "--timeout", "0.3"});
    EXPECT_EQ(end.status, 3);
    EXPECT_THAT(end.errors, HasSubstr("time limit"));
    EXPECT_EQ(desk.Service().Received().back(), "Close");
}

TEST(Navoctl, EndsWithOneWhenTheSessionIsRefused) {
    const TestBus bus;
    FakeService::Behaviour refusing;
    refusing.onOpen = [](Arrival& arrival) { arrival.Reply({{"ReturnCode", "Failed"}}); };
    const FakeService service(bus.Address(), refusing);
    EXPECT_EQ(NavoctlProgram::Run(bus.Address(), {"cplc"}).status, 1);
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Close"));
}

TEST(Navoctl, EndsWithTwoForWrongUsageAndOpensNothing) {
    const Desk desk(Navo::Map{{"ReturnCode", Done}});
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"nonsense"},
        {"cplc", "extra"},
        {"cplc", "--nonsense"},
        {"set-address"},
        {"run"},
        {"run", "--service-id"},
        {"raw"},
        {"raw", "Cmd"},
        {"raw", "=67"},
        {"raw", "Cmd=67", "Cmd=68"},
        {"raw", "Cmd=67", "--tag", "x"},
        {"cplc", "--timeout", "-1"},
        {"cplc", "--timeout", "soon"},
        {"cplc", "--timeout", "nan"},
        {"cplc", "--timeout", "1e300"},
        {"cplc", "memory"},
    };
    for (const std::vector<std::string>& arguments : wrong) {
        const ProgramEnd end = desk.Run(arguments);
        EXPECT_EQ(end.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(end.output, "") << testing::PrintToString(arguments);
        EXPECT_THAT(end.errors, StartsWith("navoctl: ")) << testing::PrintToString(arguments);
    }
    EXPECT_THAT(desk.Service().Received(), IsEmpty());
}

TEST(Navoctl, EndsWithTwoForTextsThatTheBusCannotCarry) {
    const Desk desk(Navo::Map{{"ReturnCode", Done}});
    EXPECT_EQ(desk.Run({"raw", "Cmd=\xff"}).status, 2);
    EXPECT_EQ(desk.Run({"raw", "Session=Open"}).status, 2);
}

TEST(Navoctl, SendsProgressToItsErrorsLineByLineWhileTheJobRuns) {
    std::promise<void> read;
    auto isRead = read.get_future();
    const Desk desk([&isRead](Arrival& arrival) {
        arrival.Progress("A4_Select Service");
        arrival.Progress("C0_");
        Await(isRead);
        arrival.Reply({{"ReturnCode", Done}});
    });
    NavoctlProgram program(desk.Address(), {"run", "--service-id", "S"});
    EXPECT_EQ(program.ReadErrorLine(), "A4_Select Service");
    EXPECT_EQ(program.ReadErrorLine(), "C0_");
    read.set_value();
    const ProgramEnd end = program.Wait();
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, std::string(Done) + "\n");
    EXPECT_THAT(end.errors, MatchesRegex("navoctl: 2 commands, [0-9]+\\.[0-9][0-9] s\n"));
}

TEST(Navoctl, IsQuietWhereAskedTo) {
    const Desk desk([](Arrival& arrival) {
        arrival.Progress("A4_Select Service");
        arrival.Reply({{"ReturnCode", Done}});
    });
    const ProgramEnd end = desk.Run({"-q", "run", "--service-id", "S"});
    EXPECT_EQ(end.output, std::string(Done) + "\n");
    EXPECT_EQ(end.errors, "");
}

TEST(Navoctl, NumbersAndNamesCardCommandsOnATerminalAndLetsNoControlsThrough) {
    const Terminal terminal;
    if (!terminal.IsThere()) {
        GTEST_SKIP() << "this place gives no pseudo-terminals";
    }
    const Desk desk([](Arrival& arrival) {
        arrival.Progress("A4_Select Service");
        arrival.Progress("E4_");
        arrival.Progress("\x1b[_");
        arrival.Reply({{"ReturnCode", "\x1b]0;title"}});
    });
    ProgramSetting setting;
    setting.errorDescriptor = terminal.ProgramsEnd();
    setting.environment = {"NO_COLOR=1", "TERM=xterm"};
    NavoctlProgram program(desk.Address(), {"run", "--service-id", "S"}, setting);
    const ProgramEnd end = program.Wait();
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(
        terminal.ReadAll(), MatchesRegex("   1  A4  SELECT\r\n"
                                         "   2  E4  DELETE\r\n"
                                         "   3  \\?\\[  \\(unknown to the standards\\)\r\n"
                                         "navoctl: 3 commands, [0-9.]+ s\r\n"
                                         "navoctl: run: \\?]0;title\r\n"
                                         "navoctl: hint: log: journalctl -u navoagent\r\n"));
}

TEST(Navoctl, UsesColourOnATerminalUnlessNoColorIsSet) {
    for (const char* setting : {"NO_COLOR=", "NO_COLOR=1", "TERM=dumb"}) {
        const Terminal terminal;
        if (!terminal.IsThere()) {
            GTEST_SKIP() << "this place gives no pseudo-terminals";
        }
        ProgramSetting settings;
        settings.errorDescriptor = terminal.ProgramsEnd();
        settings.environment = {setting, "TERM=xterm"};
        NavoctlProgram program("unix:path=/nonexistent/bus", {"memory"}, settings);
        EXPECT_EQ(program.Wait().status, 3);
        const bool isColoured = terminal.ReadAll().find('\033') != std::string::npos;
        EXPECT_EQ(isColoured, std::string(setting) == "NO_COLOR=") << setting;
    }
}

namespace {

// Ends a running navoctl by a signal, and expects it to close its session first.
void ExpectCloseBeforeEnd(int signalNumber) {
    std::promise<void> said;
    auto isSaid = said.get_future();
    const Desk desk([&isSaid](Arrival& arrival) {
        Await(isSaid);
        arrival.Reply({{"ReturnCode", Done}});
    });
    NavoctlProgram program(desk.Address(), {"run", "--service-id", "S"});
    desk.Service().AwaitArrivals(3);
    program.Send(signalNumber);
    EXPECT_THAT(program.ReadErrorLine().value_or(""), HasSubstr("interrupted"));
    said.set_value();
    EXPECT_EQ(program.Wait().signal, signalNumber);
    EXPECT_THAT(desk.Service().Received(), ElementsAre("Open", "Cmd 66", "Cmd 65", "Close"));
}

}  // namespace

TEST(Navoctl, ClosesItsSessionAfterSigintAndEndsByIt) {
    ExpectCloseBeforeEnd(SIGINT);
}

TEST(Navoctl, ClosesItsSessionAfterSigtermAndEndsByIt) {
    ExpectCloseBeforeEnd(SIGTERM);
}

TEST(Navoctl, ClosesItsSessionAfterSighupAndEndsByIt) {
    ExpectCloseBeforeEnd(SIGHUP);
}

TEST(Navoctl, LeavesAtOnceAtASecondSignal) {
    std::promise<void> gone;
    auto isGone = gone.get_future();
    const Desk desk([&isGone](Arrival&) { Await(isGone); });
    NavoctlProgram program(desk.Address(), {"run", "--service-id", "S"});
    desk.Service().AwaitArrivals(3);
    program.Send(SIGINT);
    EXPECT_THAT(program.ReadErrorLine().value_or(""), HasSubstr("interrupted"));
    program.Send(SIGINT);
    EXPECT_EQ(program.Wait().signal, SIGINT);
    gone.set_value();
}

TEST(Navoctl, GoesOnAfterAHangUpThatItWasToldToIgnore) {
    std::promise<void> sent;
    auto isSent = sent.get_future();
    const Desk desk([&isSent](Arrival& arrival) {
        Await(isSent);
        arrival.Reply({{"ReturnCode", Done}});
    });
    ProgramSetting setting;
    setting.ignoresHangUp = true;
    NavoctlProgram program(desk.Address(), {"eligibility"}, setting);
    desk.Service().AwaitArrivals(3);
    program.Send(SIGHUP);
    sent.set_value();
    const ProgramEnd end = program.Wait();
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.errors, "");
}

TEST(Navoctl, ClosesItsSessionThoughNobodyReadsItsOutput) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const Desk desk([](Arrival& arrival) {
        arrival.Progress("A4_Select Service");
        arrival.Progress("A4_Select Service");
        arrival.Reply({{"ReturnCode", Done}});
    });
    ProgramSetting setting;
    setting.errorDescriptor = ends[1];
    NavoctlProgram program(desk.Address(), {"run", "--service-id", "S"}, setting);
    EXPECT_EQ(program.Wait().status, 0);
    EXPECT_EQ(desk.Service().Received().back(), "Close");
}

TEST(Navoctl, SaysThatAResultCouldNotBeWritten) {
    ProgramSetting setting;
    setting.outputDescriptor = open("/dev/full", O_WRONLY | O_CLOEXEC);
    if (setting.outputDescriptor < 0) {
        GTEST_SKIP() << "this place has no /dev/full";
    }
    const Desk desk(Navo::Map{{"ReturnCode", Cplc}});
    NavoctlProgram program(desk.Address(), {"cplc"}, setting);
    const ProgramEnd end = program.Wait();
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.errors, HasSubstr("cannot write"));
}
