// SPDX-License-Identifier: Apache-2.0
// Questions about the device and its secure element, and the address of the server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>

#include "app/Agent.h"
#include "app/ResultCode.h"
#include "app/ServerAddress.h"
#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/RecordingPort.h"
#include "tests/support/service/ResultCodePrinter.h"
#include "tests/support/service/ResultTexts.h"

namespace {

using testing::Contains;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

const std::string Cplc =
    "4F525731000150600100506100C0FFEE00424F5050654F4550664F495070000000014F53507100000002";

class DeviceQueries : public testing::Test {
protected:
    // Sends one request to a fresh device and returns its reply.
    Na::RequestMap Ask(const std::string& configuration, const Na::RequestMap& request) {
        world.Configure(configuration);
        world.ForgetLog();
        port.replies.clear();
        Na::SetResultCodeText("left behind");
        agent.Trigger_ClientData(&port, ClientId, request);
        EXPECT_EQ(port.replies.size(), 1U);
        return port.replies.empty() ? Na::RequestMap() : port.replies.front().result;
    }

    Na::RequestMap Ask(const std::string& configuration, const std::string& command) {
        return Ask(configuration, Na::RequestMap{{"Cmd", command}});
    }

    // Every job opens the element twice, for the probe and for its work, and leaves nothing open.
    void ExpectTheElementToBeOpenedTwiceAndClosed() {
        EXPECT_EQ(Device::Calls("nfc_se_open_secure_element"), 2U);
        EXPECT_EQ(Device::Calls("nfc_se_get_atr"), 2U);
        EXPECT_EQ(Device::Calls("nfc_se_close_secure_element"), 2U);
        EXPECT_EQ(Device::OpenHandles(), 0U);
    }

    DeviceWorld world;
    RecordingPort port;
    Na::Agent agent;
};

std::string CardThatAnswers(const std::string& command, const std::string& answer) {
    return "[card]\nanswer " + command + "=" + answer + "\n";
}

std::string Fault(const std::string& function, const std::string& result, int from = 1) {
    return "[fault " + function + "]\nresult=" + result + "\nfrom=" + std::to_string(from) + "\n";
}

const Na::RequestMap DoneStatus = {{"ReturnCode", ResultText::Done}};
const Na::RequestMap UnknownErrorStatus = {{"ReturnCode", ResultText::UnknownError}};
const Na::RequestMap NoPermissionStatus = {{"ReturnCode", ResultText::ElementRefused}};
const Na::RequestMap NoApduStatus = {{"ReturnCode", ResultText::NoApdu}};
const Na::RequestMap NotClosedStatus = {{"ReturnCode", ResultText::ElementNotClosed}};
const Na::RequestMap NoMemory = {{"ReturnCode", "0"}};

}  // namespace

TEST_F(DeviceQueries, AnswersAStatusQueryWithAWrongCommandAlways) {
    EXPECT_THAT(Ask("", "66"), ElementsAre(Pair("ReturnCode", ResultText::WrongCommand)));
    EXPECT_EQ(Device::Calls("nfc_se_open_secure_element"), 0U);
}

TEST_F(DeviceQueries, AnswersWithTheCplcAndNothingElse) {
    EXPECT_EQ(Ask("[card]\ncplc=" + Cplc + "\n", "67"), (Na::RequestMap{{"ReturnCode", Cplc}}));
    EXPECT_THAT(world.Log(), Contains("I/info: Get CPLC"));
    ExpectTheElementToBeOpenedTwiceAndClosed();
    EXPECT_THAT(
        Device::Exchanges(), ElementsAre(
                                 testing::Field(&Device::Exchange::command, "00A4040000"),
                                 testing::Field(&Device::Exchange::command, "80CA9F7F00")));
}

TEST_F(DeviceQueries, AnswersWithTheCplcWhateverTheCardSaysToTheSelect) {
    EXPECT_EQ(
        Ask("[card]\ncplc=" + Cplc + "\nanswer 00A4040000=6A82\n", "67"),
        (Na::RequestMap{{"ReturnCode", Cplc}}));
}

TEST_F(DeviceQueries, AnswersWithTheCplcAlthoughTheElementCannotBeClosed) {
    EXPECT_EQ(
        Ask("[card]\ncplc=" + Cplc + "\n" + Fault("nfc_se_close_secure_element", "-1", 2) + "times=1\n",
            "67"),
        (Na::RequestMap{{"ReturnCode", Cplc}}));
}

TEST_F(DeviceQueries, SaysDoneWhenTheCardRefusesTheCplc) {
    EXPECT_EQ(Ask(CardThatAnswers("80CA9F7F00", "6A88"), "67"), DoneStatus);
    EXPECT_TRUE(port.replies.front().statusOnly);
    ExpectTheElementToBeOpenedTwiceAndClosed();
}

TEST_F(DeviceQueries, SaysDoneWhenTheCplcResponseIsShorterThanAStatusWord) {
    EXPECT_EQ(Ask(CardThatAnswers("80CA9F7F00", "empty"), "67"), DoneStatus);
    EXPECT_EQ(Ask(CardThatAnswers("80CA9F7F00", "90"), "67"), DoneStatus);
}

TEST_F(DeviceQueries, SaysDoneWhenTheCplcResponseHoldsNoCplc) {
    for (const std::string response : {"9000", "9F7F009000", "9F9000"}) {
        EXPECT_EQ(Ask(CardThatAnswers("80CA9F7F00", response), "67"), DoneStatus) << response;
    }
}

TEST_F(DeviceQueries, SaysThatTheApduIsNotAvailableWhenTheCplcCannotBeAskedFor) {
    EXPECT_EQ(Ask(Fault("nfc_se_send_apdu", "NFC_ERROR_OPERATION_FAILED"), "67"), NoApduStatus);
    EXPECT_EQ(Ask(Fault("nfc_se_send_apdu", "NFC_ERROR_OPERATION_FAILED", 2), "67"), NoApduStatus);
    ExpectTheElementToBeOpenedTwiceAndClosed();
}

TEST_F(DeviceQueries, SaysThatTheElementIsStillOpenWhenItCannotBeClosed) {
    EXPECT_EQ(
        Ask(CardThatAnswers("80CA9F7F00", "6A88") + Fault("nfc_se_close_secure_element", "-1", 2) +
                "times=1\n",
            "67"),
        NotClosedStatus);
}

TEST_F(DeviceQueries, SaysThatThereIsNoPermissionForEachOfTheThreeErrorsOfAccess) {
    for (const std::string error : {"0xFE3E000C", "0xC0000002", "-13"}) {
        EXPECT_EQ(Ask(Fault("nfc_se_open_secure_element", error), "67"), NoPermissionStatus) << error;
        EXPECT_EQ(Ask(Fault("nfc_se_open_secure_element", error, 2), "67"), NoPermissionStatus) << error;
        EXPECT_EQ(Ask(Fault("nfc_se_open_secure_element", error), "69"), NoPermissionStatus) << error;
        EXPECT_EQ(Ask(Fault("nfc_se_open_secure_element", error), "65"), NoPermissionStatus) << error;
    }
    EXPECT_EQ(Device::OpenHandles(), 0U);
}

TEST_F(DeviceQueries, SaysUnknownErrorWhenTheElementCannotBeOpenedForAnotherReason) {
    for (const std::string error : {"-1", "-12", "-16", "0xFE3E0001", "0xC0000001"}) {
        EXPECT_EQ(Ask(Fault("nfc_se_open_secure_element", error), "67"), UnknownErrorStatus) << error;
        EXPECT_EQ(Ask(Fault("nfc_se_open_secure_element", error, 2), "67"), UnknownErrorStatus) << error;
    }
}

TEST_F(DeviceQueries, SaysUnknownErrorWhenTheReaderHasGoneAfterItsProbe) {
    EXPECT_EQ(Ask(Fault("nfc_se_open_secure_element", "-1", 2), "67"), UnknownErrorStatus);
    EXPECT_EQ(Device::Calls("nfc_se_open_secure_element"), 2U);
    EXPECT_EQ(Device::Calls("nfc_se_close_secure_element"), 1U) << "only the probe was open";
}

TEST_F(DeviceQueries, EndWithAnUnknownErrorWhenTheReaderIsOfNoKnownKind) {
    const std::map<std::string, Na::RequestMap> replies = {
        {"67", UnknownErrorStatus}, {"68", NoMemory}, {"69", UnknownErrorStatus}};
    for (const auto& [command, reply] : replies) {
        const auto job = agent.ConstructJob(RequestOf(&agent, &port, {{"Cmd", command}}));
        job->request->readerKind = 3;
        port.replies.clear();
        Na::SetResultCodeText("left behind");
        Na::Do(*job);
        EXPECT_EQ(reply, port.replies.front().result) << command;
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::UnknownError) << command;
    }
    EXPECT_EQ(Device::Calls("nfc_se_open_secure_element"), 0U);
}

TEST_F(DeviceQueries, AnswersWithTheFreeMemory) {
    EXPECT_EQ(
        (Na::RequestMap{{"MemoryInfo", "4096"}, {"ReturnCode", "4096"}}),
        Ask("[card]\nfree-memory=4096\n", "68"));
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
    EXPECT_THAT(world.Log(), Contains("I/info: Get Memory"));
    EXPECT_THAT(world.LocatedLog(), Contains("D GetFreeMemory: SE memory: 4096"));
    ExpectTheElementToBeOpenedTwiceAndClosed();
}

TEST_F(DeviceQueries, CountsAsDoneWhenTheMemoryWasReadAndTheElementCannotBeClosed) {
    EXPECT_EQ(
        (Na::RequestMap{{"MemoryInfo", "4096"}, {"ReturnCode", "4096"}}),
        Ask("[card]\nfree-memory=4096\n" + Fault("nfc_se_close_secure_element", "-1", 2) + "times=1\n",
            "68"));
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
}

TEST_F(DeviceQueries, SayWhatTheyDoBeforeTheyOpenTheElement) {
    const std::map<std::string, std::string> lines = {
        {"67", "I/info: Get CPLC"}, {"68", "I/info: Get Memory"}, {"69", "I/info: Eligibility"}};
    for (const auto& [command, line] : lines) {
        Ask(Fault("nfc_se_open_secure_element", "-1"), command);
        const std::vector<std::string> log = world.Log();
        const auto starting = std::find_if(log.begin(), log.end(), [](const std::string& each) {
            return each.find("] Starting Job") != std::string::npos;
        });
        ASSERT_NE(starting, log.end());
        EXPECT_EQ(*std::next(starting), line);
    }
}

TEST_F(DeviceQueries, SaturatesTheFreeMemory) {
    EXPECT_EQ(
        Ask(CardThatAnswers("80CAFF2100", "FF21068204FFFFFFFF9000"), "68"),
        (Na::RequestMap{{"MemoryInfo", "2147483647"}, {"ReturnCode", "2147483647"}}));
}

TEST_F(DeviceQueries, AnswersWithABareZeroWhenNoMemoryIsFree) {
    EXPECT_EQ(Ask(CardThatAnswers("80CAFF2100", "FF21068204000000009000"), "68"), NoMemory);
    EXPECT_FALSE(port.replies.front().statusOnly);
}

TEST_F(DeviceQueries, AnswersWithABareZeroWhenTheFreeMemoryCannotBeRead) {
    for (const std::string response : {"6A88", "9000", "FF21009000", "8102AABB9000", "empty", "90"}) {
        EXPECT_EQ(Ask(CardThatAnswers("80CAFF2100", response), "68"), NoMemory) << response;
        ExpectTheElementToBeOpenedTwiceAndClosed();
    }
    EXPECT_EQ(Ask(Fault("nfc_se_send_apdu", "-1"), "68"), NoMemory);
    EXPECT_EQ(Ask(Fault("nfc_se_open_secure_element", "-13"), "68"), NoMemory);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementRefused);
    EXPECT_EQ(Ask(Fault("nfc_se_open_secure_element", "-1"), "68"), NoMemory);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::UnknownError);
}

TEST_F(DeviceQueries, AnswersWithABareZeroWhenTheMemoryResponseIsCutShort) {
    // The template's length promises more than there is, and what is there has no length.
    EXPECT_EQ(Ask(CardThatAnswers("80CAFF2100", "FF219000"), "68"), NoMemory);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::UnknownError);
    ExpectTheElementToBeOpenedTwiceAndClosed();
    EXPECT_THAT(world.LocatedLog(), Contains(ContainsRegex("^E Do: Job ended by an exception: ")));
    EXPECT_THAT(world.Log(), Contains("I/info: Job execution is complete"));
}

TEST_F(DeviceQueries, HasTheUnknownErrorAfterAnExceptionEvenWhenTheElementCannotBeClosed) {
    EXPECT_EQ(
        Ask(CardThatAnswers("80CAFF2100", "FF219000") + Fault("nfc_se_close_secure_element", "-1", 2) +
                "times=1\n",
            "68"),
        NoMemory);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::UnknownError);
}

TEST_F(DeviceQueries, AnswersWithSevenLinesAboutTheDevice) {
    const Na::RequestMap reply =
        Ask("[device]\nmodel-name=Wrist 7\nlocale=de_CH\nsales-code=XXV\nbuild-string=W7ATA1\n"
            "[sim 0]\nmcc=228\nmnc=01\n[sim 1]\nmcc=999\nmnc=99\n",
            "1F4");
    EXPECT_EQ(
        reply,
        (Na::RequestMap{
            {"ReturnCode", ResultText::Done},
            {"phoneInfo",
             "deviceModel: Wrist 7\nlocation: CH\nagentVersion: 1.0.19\ndeviceCsc: XXV\ndeviceMnc: 01\n"
             "deviceMcc: 228\ndeviceCodeVersion: W7ATA1"}}));
}

TEST_F(DeviceQueries, LeavesWhatTheDeviceDoesNotKnowEmpty) {
    const Na::RequestMap reply =
        Ask(Fault("system_info_get_platform_string", "-1") + Fault("system_info_get_value_string", "-1") +
                Fault("system_settings_get_value_string", "-1") + Fault("vconf_get_str", "-1"),
            "1F4");
    EXPECT_EQ(
        (Na::RequestMap{
            {"ReturnCode", ResultText::Done},
            {"phoneInfo",
             "deviceModel: \nlocation: \nagentVersion: 1.0.19\ndeviceCsc: \ndeviceMnc: \ndeviceMcc: \n"
             "deviceCodeVersion: "}}),
        reply);
}

TEST_F(DeviceQueries, StoresAnAddressWithASchemeAsItIs) {
    for (const std::string address :
         {"http://10.0.0.7:8080", "https://kms.example", "ftp://x", "://x", "abcde://x",
          "ftp://x/?to=http://y"}) {
        EXPECT_EQ(Ask("", {{"Cmd", "1F5"}, {"hostAddr", address}}), DoneStatus) << address;
        EXPECT_TRUE(port.replies.front().statusOnly);
        EXPECT_EQ(Na::GetNavoAddress(), address);
    }
}

TEST_F(DeviceQueries, PutsASchemeInFrontOfEveryOtherAddress) {
    for (const std::string address :
         {"", "kms.example:8443", "abcdef://x", "abcdefg://x", "kms.example/?to=http://x"}) {
        EXPECT_EQ(Ask("", {{"Cmd", "1F5"}, {"hostAddr", address}}), DoneStatus) << address;
        EXPECT_EQ(Na::GetNavoAddress(), "https://" + address);
    }
}

TEST_F(DeviceQueries, TakesAMissingAddressForAnEmptyOne) {
    EXPECT_EQ(Ask("", "1F5"), DoneStatus);
    EXPECT_EQ(Na::GetNavoAddress(), "https://");
}

TEST_F(DeviceQueries, LogsTheNewAddressUnderTheAgentsName) {
    Ask("", {{"Cmd", "1F5"}, {"hostAddr", "kms.example"}});
    const std::string place = "^D/\\[/src/app/Agent\\.cpp:[0-9]+ Do\\] ";
    EXPECT_THAT(world.Log(), Contains(ContainsRegex(place + "New URL: https://kms\\.example$")));
    EXPECT_THAT(
        world.Log(), Contains(ContainsRegex(place + "Changed to use new NAVO URL: https://kms\\.example$")));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            StartsWith("D Trigger_ClientData: Client ID: "), "D ConstructJob: data : 1",
            "D ConstructJob: cmd: 1f5", StartsWith("D ConstructJob: Privileged command from "),
            "D AgentJob: ", "D Trigger_ClientData: Starting Job", "D Do: New URL: https://kms.example",
            "D SetNavoAddress: New URL is saved", "D Do: Changed to use new NAVO URL: https://kms.example",
            "D TaskComplete: ", std::string("D Do: Job execution status: ") + ResultText::Done));
}

TEST_F(DeviceQueries, SaysUnknownErrorWhenTheAddressCannotBeStored) {
    world.RemoveSettingsSchema();
    EXPECT_EQ(Ask("", {{"Cmd", "1F5"}, {"hostAddr", "kms.example"}}), UnknownErrorStatus);
    EXPECT_THAT(
        world.Log(), Contains(ContainsRegex("^E/\\[/src/app/Agent\\.cpp:[0-9]+ Do\\] Error changing URL$")));
    EXPECT_THAT(world.LocatedLog(), Not(Contains(ContainsRegex("Changed to use new NAVO URL"))));
}
