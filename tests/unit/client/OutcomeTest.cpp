// SPDX-License-Identifier: Apache-2.0
// What replies mean.
#include <gtest/gtest.h>

#include <set>

#include <ostream>
#include <string>

#include "navo/Outcome.h"
#include "tests/support/service/ResultTexts.h"

using Navo::Interpret;
using Navo::Map;
using Navo::Outcome;

namespace {

using ResultText::Done;
using ResultText::DoneButNfcOff;
using ResultText::UnknownError;
using ResultText::WrongCommand;

struct Case {
    const char* name;
    long command;
    Map reply;
    bool success;
    const char* code;
    const char* value;
};

void PrintTo(const Case& testCase, std::ostream* stream) {
    *stream << testCase.name;
}

const Case Cases[] = {
    {"ScriptDone", 0x65, {{"ReturnCode", Done}}, true, "00000001", ""},
    {"ScriptDoneWithLateNfc", 0x65, {{"ReturnCode", DoneButNfcOff}}, true, "00000002", ""},
    {"ScriptToRetry", 0x65, {{"ReturnCode", ResultText::Retry}}, false, "00000009", ""},
    {"ScriptThatNeverEnded", 0x65, {{"ReturnCode", ResultText::CommandSetToRun}}, false, "00000000", ""},
    {"ScriptWithHttpStatus", 0x65, {{"ReturnCode", "404"}}, false, "404", ""},
    {"ScriptWithUnknownCode", 0x65, {{"ReturnCode", "77777777"}}, false, "77777777", ""},
    {"ScriptWithCodeWithoutDescription", 0x65, {{"ReturnCode", "20100000_"}}, false, "20100000", ""},
    {"ScriptWithAlmostTheCode", 0x65, {{"ReturnCode", "00000001 _x"}}, false, "00000001 ", ""},
    {"ScriptWithNothingSet", 0x65, {{"ReturnCode", "_"}}, false, "", ""},
    {"StatusOfTheElement", 0x66, {{"ReturnCode", WrongCommand}}, false, "10000001", ""},
    {"CplcRead", 0x67, {{"ReturnCode", "47906340ABCD"}}, true, "", "47906340ABCD"},
    {"CplcRefusedByTheCard", 0x67, {{"ReturnCode", Done}}, false, "00000001", ""},
    {"CplcNotTransmitted", 0x67, {{"ReturnCode", ResultText::NoApdu}}, false, "10000002", ""},
    {"CplcThatIsNone", 0x67, {{"ReturnCode", "nonsense"}}, false, "nonsense", ""},
    {"CplcOfOddLength", 0x67, {{"ReturnCode", "404"}}, false, "404", ""},
    {"CplcOfNoLength", 0x67, {{"ReturnCode", ""}}, false, "", ""},
    {"MemoryRead", 0x68, {{"MemoryInfo", "4096"}, {"ReturnCode", "4096"}}, true, "", "4096"},
    {"MemoryNotRead", 0x68, {{"ReturnCode", "0"}}, false, "", ""},
    {"MemoryEndedByAnException", 0x68, {{"ReturnCode", UnknownError}}, false, "10000000", ""},
    {"MemoryWithAMessageOfSuccess", 0x68, {{"ReturnCode", Done}}, false, "00000001", ""},
    {"Eligible", 0x69, {{"ReturnCode", Done}}, true, "00000001", ""},
    {"NotEligible", 0x69, {{"ReturnCode", ResultText::DeviceNotAvailable1}}, false, "10500001", ""},
    {"NoNetworkForEligibility",
     0x69,
     {{"ReturnCode", ResultText::NetworkUnavailable}},
     false,
     "10100000",
     ""},
    {"PhoneInformation",
     0x1F4,
     {{"phoneInfo", "deviceModel: x"}, {"ReturnCode", Done}},
     true,
     "00000001",
     "deviceModel: x"},
    {"PhoneInformationDenied", 0x1F4, {{"ReturnCode", WrongCommand}}, false, "10000001", ""},
    {"AddressStored", 0x1F5, {{"ReturnCode", Done}}, true, "00000001", ""},
    {"AddressNotStored", 0x1F5, {{"ReturnCode", UnknownError}}, false, "10000000", ""},
    {"AddressDenied", 0x1F5, {{"ReturnCode", WrongCommand}}, false, "10000001", ""},
    {"CcmPlayed", 0x90, {{"LccmReturnCode", "0"}, {"ReturnCode", Done}}, true, "0", ""},
    {"CcmRefusedByTheCard", 0x90, {{"LccmReturnCode", "-5"}, {"ReturnCode", Done}}, false, "-5", ""},
    {"CcmWithoutLibrary", 0x90, {{"LccmReturnCode", "-2"}, {"ReturnCode", UnknownError}}, false, "-2", ""},
    {"CcmWithoutVerdict", 0x90, {{"ReturnCode", Done}}, false, "00000001", ""},
    {"KeyUidOfNoBytes", 0x3F2, {{"ReturnCode", "0"}}, true, "0", ""},
    {"KeyUidThatIsNoText", 0x3F2, {{"ReturnCode", "3"}}, false, "3", ""},
    {"KeyDataThatIsNoText", 0x3F3, {{"ReturnCode", "6"}}, false, "6", ""},
    {"KeyDataThatIsEmpty", 0x3F3, {{"ReturnCode", "6"}, {"dalmData", ""}}, true, "6", ""},
    {"KeyDataRefused", 0x3F3, {{"ReturnCode", "-105"}, {"dalmData", "rest"}}, false, "-105", ""},
    {"KeyInjected", 0x3F0, {{"ReturnCode", "0"}}, true, "0", ""},
    {"KeyVerificationFailed", 0x3F1, {{"ReturnCode", "-1"}}, false, "-1", ""},
    {"KeyUid", 0x3F2, {{"ReturnCode", "4"}, {"dalmData", "uid1"}}, true, "4", "uid1"},
    {"KeyData", 0x3F3, {{"ReturnCode", "2"}, {"dalmData", "0A0B"}}, true, "2", "0A0B"},
    {"KeySessionReleased", 0x3F4, {{"ReturnCode", "0"}}, true, "0", ""},
    {"KeyCommandUnknown", 0x3FF, {{"ReturnCode", "-2"}}, false, "-2", ""},
    {"KeyJobEndedByAnException", 0x3F0, {{"ReturnCode", UnknownError}}, false, "10000000", ""},
    {"KeyVerdictThatIsNoNumber", 0x3F0, {{"ReturnCode", "0x"}}, false, "0x", ""},
    {"ReservedCommand", 0x3FE, {{"ReturnCode", WrongCommand}}, false, "10000001", ""},
    {"ReplyWithoutReturnCode", 0x67, {{"phoneInfo", "x"}}, false, "", ""},
};

class Replies : public testing::TestWithParam<Case> {};

}  // namespace

TEST_P(Replies, AreJudgedByCommandAndShape) {
    const Case& testCase = GetParam();
    const Outcome outcome = Interpret(testCase.command, testCase.reply);
    EXPECT_EQ(outcome.success, testCase.success);
    EXPECT_EQ(outcome.code, testCase.code);
    EXPECT_EQ(outcome.value, testCase.value);
    // A CCM script's result message is the card's affair; what it says is its verdict.
    const char* const speaking = testCase.reply.count("LccmReturnCode") > 0 ? "LccmReturnCode" : "ReturnCode";
    const auto message = testCase.reply.find(speaking);
    EXPECT_EQ(outcome.message, message != testCase.reply.end() ? message->second : "");
}

INSTANTIATE_TEST_SUITE_P(
    Outcome, Replies, testing::ValuesIn(Cases),
    [](const testing::TestParamInfo<Case>& tested) { return std::string(tested.param.name); });

TEST(Outcome, KeepsTheDescriptionOfAMessage) {
    const Outcome outcome = Interpret(0x65, {{"ReturnCode", ResultText::ElementRefused}});
    EXPECT_EQ(outcome.description, "No permission to access eSE");
    EXPECT_EQ(Interpret(0x65, {{"ReturnCode", "1_a_b"}}).description, "a_b");
}

TEST(Outcome, ExplainsRepliesThatMislead) {
    EXPECT_NE(Interpret(0x67, {{"ReturnCode", Done}}).explanation, "");
    EXPECT_NE(Interpret(0x68, {{"ReturnCode", "0"}}).explanation, "");
    EXPECT_NE(Interpret(0x66, {{"ReturnCode", WrongCommand}}).explanation, "");
    EXPECT_NE(Interpret(0x1F4, {{"ReturnCode", WrongCommand}}).explanation, "");
    EXPECT_NE(Interpret(0x1F5, {{"ReturnCode", WrongCommand}}).explanation, "");
    EXPECT_EQ(Interpret(0x1F5, {{"ReturnCode", UnknownError}}).explanation, "");
    EXPECT_EQ(Interpret(0x65, {{"ReturnCode", Done}}).explanation, "");
}

TEST(Outcome, ExplainsEachVerdictOnACcmScript) {
    std::set<std::string> explanations;
    for (const char* verdict : {"-2", "-3", "-4", "-5"}) {
        explanations.insert(Interpret(0x90, {{"LccmReturnCode", verdict}, {"ReturnCode", Done}}).explanation);
    }
    EXPECT_EQ(explanations.size(), 4U);
    EXPECT_EQ(explanations.count(""), 0U);
    EXPECT_EQ(Interpret(0x90, {{"LccmReturnCode", "0"}, {"ReturnCode", Done}}).explanation, "");
    EXPECT_NE(Interpret(0x90, {{"ReturnCode", UnknownError}}).explanation, "");
}

TEST(Outcome, KeepsTheReasonWhyTheElementDidNotOpenForAScript) {
    const Outcome outcome =
        Interpret(0x90, {{"LccmReturnCode", "-3"}, {"ReturnCode", ResultText::ElementRefused}});
    EXPECT_EQ(
        outcome.explanation,
        "The secure SPI channel or the secure element could not be opened. The service says: No permission "
        "to "
        "access eSE.");
    EXPECT_EQ(outcome.description, "");
}

TEST(Outcome, ExplainsEachVerdictOnAKey) {
    std::set<std::string> explanations;
    for (const char* verdict : {"-2", "-4", "-10", "-11", "-12", "-13", "-30", "-101"}) {
        explanations.insert(Interpret(0x3F0, {{"ReturnCode", verdict}}).explanation);
    }
    EXPECT_EQ(explanations.size(), 8U);
    EXPECT_EQ(explanations.count(""), 0U);
    EXPECT_EQ(Interpret(0x3F0, {{"ReturnCode", "0"}}).explanation, "");
    EXPECT_NE(Interpret(0x3F0, {{"ReturnCode", UnknownError}}).explanation, "");
}

TEST(Outcome, TellsOfKeyDataThatTheBusCannotCarry) {
    EXPECT_NE(Interpret(0x3F3, {{"ReturnCode", "6"}}).explanation, "");
    EXPECT_EQ(Interpret(0x3F3, {{"ReturnCode", "0"}}).explanation, "");
    EXPECT_EQ(Interpret(0x3F1, {{"ReturnCode", "6"}}).explanation, "");
}

TEST(CommandOf, ReadsCommandsAsTheServiceDoes) {
    EXPECT_EQ(Navo::CommandOf({{"Cmd", "1f4"}}), 0x1F4);
    EXPECT_EQ(Navo::CommandOf({{"Cmd", " 0x1F4"}}), 0x1F4);
    EXPECT_EQ(Navo::CommandOf({{"Cmd", "1F4Z"}}), 0x1F4);
    EXPECT_EQ(Navo::CommandOf({{"Cmd", "ZZ"}}), 0);
    EXPECT_EQ(Navo::CommandOf({{"Cmd", ""}}), 0);
    EXPECT_EQ(Navo::CommandOf({{"Cmd", "-1"}}), -1);
    EXPECT_EQ(Navo::CommandOf({{"Cmd", "FFFFFFFFFFFFFFFFF"}}), std::nullopt);
    EXPECT_EQ(Navo::CommandOf({{"cmd", "67"}}), std::nullopt);
}

TEST(CommandText, IsUpperCaseHexadecimal) {
    EXPECT_EQ(Navo::CommandText(0x65), "65");
    EXPECT_EQ(Navo::CommandText(0x1F4), "1F4");
}
