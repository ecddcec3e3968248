// SPDX-License-Identifier: Apache-2.0
// What navoctl sends and prints for CCM scripts and keys.
#include <gmock/gmock.h>

#include <gtest/gtest.h>
#include <algorithm>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/service/ResultTexts.h"
#include "tests/unit/client/FakeService.h"
#include "tests/unit/client/NavoctlProgram.h"
#include "tests/unit/client/TestBus.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using ResultText::Done;

using Replies = std::vector<Navo::Map>;

// Answers requests with the replies in turn, the last again and again, and keeps the requests. The first
// request is navoctl's own question whether the service is still there.
class Library : public testing::Test {
protected:
    ProgramEnd Run(const Replies& replies, const std::vector<std::string>& arguments) {
        std::vector<Navo::Map> arrived;
        FakeService::Behaviour behaviour;
        behaviour.onRequest = [&](Arrival& arrival) {
            arrived.push_back(arrival.Request());
            const std::size_t number = std::max<std::size_t>(arrived.size(), 2) - 2;
            arrival.Reply(replies[std::min(number, replies.size() - 1)]);
        };
        ProgramEnd end;
        {
            FakeService service(bus.Address(), behaviour);
            end = NavoctlProgram::Run(bus.Address(), arguments);
        }
        requests.assign(arrived.begin() + (arrived.empty() ? 0 : 1), arrived.end());
        return end;
    }

    ProgramEnd Run(const Navo::Map& reply, const std::vector<std::string>& arguments) {
        return Run(Replies{reply}, arguments);
    }

    // Wrong usage, which no service hears of; the message.
    std::string Misuse(const std::vector<std::string>& arguments) {
        const ProgramEnd end = NavoctlProgram::Run("unix:path=/no/such/bus", arguments);
        EXPECT_EQ(end.status, 2) << end.errors;
        EXPECT_EQ(end.output, "");
        return end.errors;
    }

    std::string File(const std::string& text) { return folder.Write("file", text); }

    TestBus bus;
    TemporaryFolder folder;
    std::vector<Navo::Map> requests;
};

using NavoctlCcm = Library;
using NavoctlKey = Library;

const std::vector<std::string> KeyOptions = {"--type", "symmetric", "--injection", "given"};

std::vector<std::string> With(std::vector<std::string> words, const std::vector<std::string>& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

}  // namespace

TEST_F(NavoctlCcm, SendsTheDigitsOfAFile) {
    const ProgramEnd end =
        Run(Navo::Map{{"LccmReturnCode", "0"}, {"ReturnCode", Done}}, {"ccm", File(" C5 5a\n\t5F\r\n00\n")});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, "0\n");
    EXPECT_EQ(end.errors, "");
    EXPECT_THAT(requests, ElementsAre(Navo::Map{{"Cmd", "90"}, {"CcmScriptData", "C55a5F00"}}));
}

TEST_F(NavoctlCcm, SendsAnEmptyScript) {
    const ProgramEnd end =
        Run(Navo::Map{{"LccmReturnCode", "-4"}, {"ReturnCode", ResultText::UnknownError}}, {"ccm", File("")});
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(requests, ElementsAre(Navo::Map{{"Cmd", "90"}, {"CcmScriptData", ""}}));
}

TEST_F(NavoctlCcm, JudgesByTheVerdictAndNotByTheResultMessage) {
    const ProgramEnd end =
        Run(Navo::Map{{"LccmReturnCode", "-5"}, {"ReturnCode", Done}}, {"ccm", File("00")});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.output, "");
    EXPECT_EQ(
        end.errors,
        "navoctl: ccm: -5\nnavoctl: The card refused a command of the script, or gave no answer to it.\n"
        "navoctl: hint: log: journalctl -u navoagent; more: navoctl explain -5\n");
}

TEST_F(NavoctlCcm, GivesTheVerdictInJson) {
    const ProgramEnd end =
        Run(Navo::Map{{"LccmReturnCode", "-2"}, {"ReturnCode", Done}}, {"--json", "ccm", File("00")});
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.output, HasSubstr("\"code\" : \"-2\""));
    EXPECT_THAT(end.output, HasSubstr("\"success\" : false"));
    EXPECT_THAT(end.output, HasSubstr("\"LccmReturnCode\" : \"-2\""));
}

TEST_F(NavoctlCcm, RefusesAFileThatIsNoScript) {
    EXPECT_THAT(
        Misuse({"ccm", File("00\nC5\nx5\n")}),
        HasSubstr("/file', line 3: a script has hexadecimal digits only"));
    EXPECT_THAT(Misuse({"ccm", File("C55")}), HasSubstr("/file' ends in the middle of a byte"));
    EXPECT_THAT(
        Misuse({"ccm", "/no/such/file"}),
        HasSubstr("'/no/such/file' cannot be read: No such file or directory"));
    EXPECT_THAT(Misuse({"ccm", folder.Path()}), HasSubstr("cannot be read: Is a directory"));
    EXPECT_THAT(Misuse({"ccm"}), HasSubstr("FILE is required"));
}

TEST_F(NavoctlKey, InjectsData) {
    const ProgramEnd end =
        Run(Navo::Map{{"ReturnCode", "0"}}, With({"key", "inject", "wallet", "--data", "0A0B"}, KeyOptions));
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, "0\n");
    EXPECT_THAT(
        requests, ElementsAre(Navo::Map{
                      {"Cmd", "3F0"},
                      {"keyName", "wallet"},
                      {"keyType", "1"},
                      {"injectionType", "1"},
                      {"encodingType", "1"},
                      {"dalmData", "0A0B"}}));
}

TEST_F(NavoctlKey, InjectsDataOfAFileInItsEncoding) {
    Run(Navo::Map{{"ReturnCode", "0"}}, {"key", "inject", "wallet", "--type", "asymmetric", "--injection",
                                         "sealed", "--encoding", "base64", "--data-file", File("AAEC\n")});
    EXPECT_THAT(
        requests, ElementsAre(Navo::Map{
                      {"Cmd", "3F0"},
                      {"keyName", "wallet"},
                      {"keyType", "2"},
                      {"injectionType", "4"},
                      {"encodingType", "4"},
                      {"dalmData", "AAEC"}}));
}

TEST_F(NavoctlKey, InjectsWithoutDataAndWithEmptyData) {
    const std::vector<std::string> inject = {"key", "inject",      "wallet",   "--type",
                                             "1",   "--injection", "generated"};
    Navo::Map expected = {{"Cmd", "3F0"}, {"keyName", "wallet"}, {"keyType", "1"}, {"injectionType", "2"}};
    Run(Navo::Map{{"ReturnCode", "0"}}, inject);
    EXPECT_THAT(requests, ElementsAre(expected));
    expected["dalmData"] = "";
    expected["encodingType"] = "2";
    Run(Navo::Map{{"ReturnCode", "0"}}, With(inject, {"--data", "", "--encoding", "text"}));
    EXPECT_THAT(requests, ElementsAre(expected));
}

TEST_F(NavoctlKey, Verifies) {
    const ProgramEnd end = Run(Navo::Map{{"ReturnCode", "0"}}, With({"key", "verify", "wallet"}, KeyOptions));
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(
        requests, ElementsAre(Navo::Map{
                      {"Cmd", "3F1"}, {"keyName", "wallet"}, {"keyType", "1"}, {"injectionType", "1"}}));
}

TEST_F(NavoctlKey, PrintsAUid) {
    const ProgramEnd end =
        Run(Navo::Map{{"ReturnCode", "4"}, {"dalmData", "A1B2"}}, With({"key", "uid", "wallet"}, KeyOptions));
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, "A1B2\n");
    EXPECT_THAT(
        requests, ElementsAre(Navo::Map{
                      {"Cmd", "3F2"},
                      {"keyName", "wallet"},
                      {"keyType", "1"},
                      {"injectionType", "1"},
                      {"dalmDataSize", "10000"}}));
}

TEST_F(NavoctlKey, PrintsAKeyAndLeavesItsSessionOpen) {
    const ProgramEnd end =
        Run(Navo::Map{{"ReturnCode", "2"}, {"dalmData", "0A0B"}},
            {"key", "get", "wallet", "--type", "symmetric", "--encoding", "text", "--size", "64"});
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, "0A0B\n");
    EXPECT_THAT(
        requests, ElementsAre(Navo::Map{
                      {"Cmd", "3F3"},
                      {"keyName", "wallet"},
                      {"keyType", "1"},
                      {"encodingType", "2"},
                      {"dalmDataSize", "64"}}));
}

TEST_F(NavoctlKey, ReleasesTheSessionOfAKeyThatItGot) {
    const std::vector<std::string> get = {"key", "get", "wallet", "--type", "symmetric", "--release"};
    const Navo::Map key = {{"ReturnCode", "2"}, {"dalmData", "0A0B"}};
    ProgramEnd end = Run(Replies{key, {{"ReturnCode", "0"}}}, get);
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, "0A0B\n");
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1], (Navo::Map{{"Cmd", "3F4"}}));
    end = Run(Replies{key, {{"ReturnCode", "-108"}}}, get);
    EXPECT_EQ(end.status, 1);
    EXPECT_THAT(end.errors, HasSubstr("the get-key session was not released: -108"));
    end = Run(Replies{{{"ReturnCode", "-101"}}, {{"ReturnCode", "0"}}}, get);
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(requests.size(), 1U) << "a session that did not open is not released";
}

TEST_F(NavoctlKey, Releases) {
    EXPECT_EQ(Run(Navo::Map{{"ReturnCode", "0"}}, {"key", "release"}).status, 0);
    EXPECT_THAT(requests, ElementsAre(Navo::Map{{"Cmd", "3F4"}}));
}

TEST_F(NavoctlKey, SaysWhatAVerdictMeans) {
    const ProgramEnd end =
        Run(Navo::Map{{"ReturnCode", "-2"}}, With({"key", "verify", "wallet"}, KeyOptions));
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.output, "");
    EXPECT_EQ(
        end.errors,
        "navoctl: key verify: -2\nnavoctl: The key-provisioning library, or the function that was asked for, "
        "is missing on this device.\nnavoctl: hint: log: journalctl -u navoagent; more: navoctl explain "
        "-2\n");
}

TEST_F(NavoctlKey, SaysWhenAKeyIsNoText) {
    const ProgramEnd end =
        Run(Navo::Map{{"ReturnCode", "6"}},
            {"key", "get", "wallet", "--type", "symmetric", "--encoding", "text"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.output, "");
    EXPECT_THAT(
        end.errors, HasSubstr("no UTF-8 text, which the bus cannot carry; ask for another encoding."));
}

TEST_F(NavoctlKey, TakesGlobalOptionsBehindItsOwn) {
    const ProgramEnd end =
        Run(Navo::Map{{"ReturnCode", "0"}}, With({"key", "verify", "wallet", "--json"}, KeyOptions));
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.output, HasSubstr("\"command\" : \"key verify\""));
}

TEST_F(NavoctlKey, RefusesWhatItCannotAskFor) {
    EXPECT_THAT(Misuse({"key"}), HasSubstr("a command is missing; there are inject, verify"));
    EXPECT_THAT(Misuse({"key", "get"}), HasSubstr("is required"));
    EXPECT_THAT(
        Misuse({"key", "verify", "wallet", "--type", "symmetric"}), HasSubstr("--injection is required"));
    EXPECT_THAT(Misuse({"key", "get", "wallet", "--type", "round"}), HasSubstr("round"));
    EXPECT_THAT(Misuse({"key", "get", "wallet", "--type", "3"}), HasSubstr("3"));
    EXPECT_THAT(Misuse({"key", "get", "wallet", "--type", "1", "--size", "0"}), HasSubstr("--size"));
    EXPECT_THAT(Misuse({"key", "get", "wallet", "--type", "1", "--size", "10001"}), HasSubstr("--size"));
    EXPECT_THAT(Misuse({"key", "get", "wallet", "--type", "1", "--encoding", "rot13"}), HasSubstr("rot13"));
    EXPECT_THAT(
        Misuse(With({"key", "inject", "wallet", "--data", "00", "--data-file", "x"}, KeyOptions)),
        HasSubstr("excludes"));
    EXPECT_THAT(
        Misuse(With({"key", "inject", "wallet", "--data-file", "/no/such/file"}, KeyOptions)),
        HasSubstr("cannot be read"));
}
