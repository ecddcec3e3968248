// SPDX-License-Identifier: Apache-2.0
// navoctl doctor where something is missing; where all is well, the tests of the whole see it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/client/Desk.h"

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

ProgramEnd DoctorOn(const std::string& address) {
    return NavoctlProgram::Run(address, {"doctor"});
}

// A line of the doctor's, with what follows its first words somewhere on it.
auto Line(const std::string& what, const std::string& health, const std::string& text) {
    return ContainsRegex(what + " +" + health + " +[^\n]*" + text);
}

}  // namespace

TEST(NavoctlDoctor, SaysThatThereIsNoBusAndLooksAtTheRestItCan) {
    const ProgramEnd end = DoctorOn("unix:path=/nonexistent/bus");
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(
        end.output, AllOf(
                        Line("bus", "bad", "/nonexistent/bus"), Line("policy", "unknown", "without a bus"),
                        Line("card", "unknown", ""), Line("clock", "good", "UTC")));
    EXPECT_THAT(end.output, HasSubstr("-> Look at: DBUS_SYSTEM_BUS_ADDRESS"));
}

TEST(NavoctlDoctor, SaysThatTheBusCannotStartTheService) {
    const TestBus bus;
    const ProgramEnd end = DoctorOn(bus.Address());
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(
        end.output, AllOf(
                        Line("bus", "good", ""), Line("activation", "bad", "does not know how"),
                        Line("service", "bad", "cannot be reached")));
    EXPECT_THAT(end.output, HasSubstr("-> Install com.orvenco.navoa.service"));
}

TEST(NavoctlDoctor, SaysThatTheServiceDoesNotStart) {
    TestBus bus;
    bus.OfferActivation("/bin/false");
    const ProgramEnd end = DoctorOn(bus.Address());
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(
        end.output,
        AllOf(Line("activation", "good", "the bus can start"), Line("service", "bad", "cannot be reached")));
}

TEST(NavoctlDoctor, SaysThatThePolicyForbidsTheService) {
    const TestBus bus("<deny send_destination=\"com.orvenco.navoa\"/>");
    const FakeService service(bus.Address());
    const ProgramEnd end = DoctorOn(bus.Address());
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.output, AllOf(Line("policy", "bad", ""), Line("service", "unknown", "")));
    EXPECT_THAT(end.output, HasSubstr("-> Put this user into the group navo"));
}

TEST(NavoctlDoctor, SaysWhatACardThatDoesNotAnswerMeans) {
    const Desk desk(Navo::Map{{"ReturnCode", ResultText::ElementRefused}});
    const ProgramEnd end = desk.Run({"doctor"});
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(
        end.output, AllOf(
                        Line("policy", "good", ""), Line("service", "good", "opened a session"),
                        Line("card", "bad", "10400006")));
    EXPECT_THAT(desk.Service().Received(), testing::ElementsAre("Open", "Cmd 66", "Cmd 67", "Close"));
}

TEST(NavoctlDoctor, EndsWithZeroWhenNothingIsBad) {
    const Desk desk(Navo::Map{{"ReturnCode", "00"}});
    const ProgramEnd end = desk.Run({"doctor"});
    EXPECT_THAT(end.output, Line("card", "good", "answers"));
    EXPECT_EQ(end.output.find(" bad "), std::string::npos) << end.output;
    EXPECT_EQ(end.status, 0);
}

TEST(NavoctlDoctor, PrintsItsFindingsAsJson) {
    const TestBus bus;
    const ProgramEnd end = NavoctlProgram::Run(bus.Address(), {"doctor", "--json"});
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(
        end.output, AllOf(
                        HasSubstr("\"success\" : false"), HasSubstr("\"what\" : \"activation\""),
                        HasSubstr("\"health\" : \"bad\""), HasSubstr("\"remedy\" : \"Install")));
}
