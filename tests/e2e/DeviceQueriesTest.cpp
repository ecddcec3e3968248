// SPDX-License-Identifier: Apache-2.0
// What clients learn about the device, its secure element and its eligibility.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

namespace {

using ResultText::WrongCommand;

namespace fs = std::filesystem;

constexpr char Cplc[] =
    "4F5257310001506001005061AABBCCDD00424F5050654F4550664F4950700000000A4F5350710000000B";
constexpr char CplcQuery[] = "80CA9F7F00";
constexpr char MemoryQuery[] = "80CAFF2100";
constexpr char KeyFile[] = "opt/usr/data/com.orvenco.navoa/.pref/tuvo";

using Navo::Map;

Map StatusOnly(const std::string& message) {
    return {{"ReturnCode", message}};
}

class DeviceQueries : public ::testing::Test {
protected:
    DeviceQueries() { world.Device().SetCplc(Cplc); }

    Map Ask(const std::string& command) const { return world.Ask({{"Cmd", command}}); }

    World world;
};

TEST_F(DeviceQueries, TheCplcOfTheCardIsTheWholeReply) {
    EXPECT_EQ(Ask("67"), StatusOnly(Cplc));
}

TEST_F(DeviceQueries, ACplcThatTheCardRefusesOrGarblesEndsAsDone) {
    for (const char* answer : {"6A82", "empty", "90", "009000"}) {
        world.Device().LetCardAnswer(CplcQuery, answer);
        EXPECT_EQ(Ask("67"), StatusOnly(Done)) << answer;
    }
}

TEST_F(DeviceQueries, ACplcWhoseTransmissionFailsHasNoApdu) {
    world.Device().Break("nfc_se_send_apdu", "NFC_ERROR_OPERATION_FAILED");
    EXPECT_EQ(Ask("67"), StatusOnly(ResultText::NoApdu));
}

TEST_F(DeviceQueries, ASecureElementThatMayNotBeAccessedIsSaidToBeForbidden) {
    for (const char* error :
         {"NFC_ERROR_SECURITY_RESTRICTED", "NFC_ERROR_NOT_SUPPORTED", "NFC_ERROR_PERMISSION_DENIED"}) {
        world.Device().Break("nfc_se_open_secure_element", error);
        EXPECT_EQ(Ask("67"), StatusOnly(ResultText::ElementRefused)) << error;
    }
}

TEST_F(DeviceQueries, ASecureElementThatCannotBeOpenedOtherwiseIsAnUnknownError) {
    world.Device().RemoveSecureElement();
    EXPECT_EQ(Ask("67"), StatusOnly(UnknownError));
    EXPECT_EQ(Ask("69"), StatusOnly(UnknownError));
    EXPECT_EQ(Ask("65"), StatusOnly(UnknownError));
    EXPECT_EQ(Ask("68"), StatusOnly("0"));
}

TEST_F(DeviceQueries, ThePlatformRecoversBetweenTwoJobs) {
    world.Device().Break("nfc_se_open_secure_element", "NFC_ERROR_PERMISSION_DENIED");
    Navo::Session session(world.Options());
    EXPECT_EQ(session.Call({{"Cmd", "67"}}), StatusOnly(ResultText::ElementRefused));
    world.Device().Repair("nfc_se_open_secure_element");
    EXPECT_EQ(session.Call({{"Cmd", "67"}}), StatusOnly(Cplc));
}

TEST_F(DeviceQueries, FreeMemoryComesTwice) {
    world.Device().SetFreeMemory(4096);
    EXPECT_EQ(Ask("68"), (Map{{"MemoryInfo", "4096"}, {"ReturnCode", "4096"}}));
}

TEST_F(DeviceQueries, NoFreeMemoryAndAMemoryThatCannotBeReadLookAlike) {
    for (const char* answer : {"6A82", "empty", "FF210482020000", "FF210682020000810100"}) {
        world.Device().LetCardAnswer(MemoryQuery, std::string(answer) + (answer[0] == 'F' ? "9000" : ""));
        EXPECT_EQ(Ask("68"), StatusOnly("0")) << answer;
    }
}

TEST_F(DeviceQueries, ATruncatedAnswerOfTheCardEndsTheJobAndNotTheService) {
    world.Device().LetCardAnswer(MemoryQuery, "FF219000");
    Navo::Session session(world.Options());
    EXPECT_EQ(session.Call({{"Cmd", "68"}}), StatusOnly("0"));
    EXPECT_EQ(session.Call({{"Cmd", "67"}}), StatusOnly(Cplc));
}

TEST_F(DeviceQueries, TheStatusOfTheSecureElementIsNeverTold) {
    EXPECT_EQ(Ask("66"), StatusOnly(WrongCommand));
}

TEST_F(DeviceQueries, PhoneInformationIsForPrivilegedClients) {
    EXPECT_EQ(
        Ask("1F4"),
        (Map{
            {"ReturnCode", Done},
            {"phoneInfo",
             "deviceModel: Test Wearable\nlocation: GB\nagentVersion: 1.0.19\ndeviceCsc: TST\ndeviceMnc: 01\n"
             "deviceMcc: 262\ndeviceCodeVersion: TESTBUILD1"}}));
}

TEST_F(DeviceQueries, BytesOfThePlatformThatAreNoUtf8DoNotCostTheReply) {
    world.Device().Set(
        "device", "model-name",
        "Wear\xFF\xC3"
        "able");
    const std::string text = Ask("1F4").at("phoneInfo");
    EXPECT_EQ(text.rfind("deviceModel: Wear", 0), 0U) << text;
    EXPECT_NE(text.find("able\nlocation: GB\n"), std::string::npos) << text;
}

TEST_F(DeviceQueries, RegularAndUnknownClientsAreNotAuthorizedForPrivilegedCommands) {
    world.Device().Install("com.example.bank", Privilege::Regular);
    for (const char* package : {"com.example.bank", "com.example.unknown"}) {
        const auto client = world.StartClient(package);
        client->OpenSession();
        EXPECT_EQ(client->Call({{"Cmd", "1F4"}}), StatusOnly(WrongCommand)) << package;
        EXPECT_EQ(
            client->Call({{"Cmd", "1F5"}, {"hostAddr", "http://evil.example"}}), StatusOnly(WrongCommand));
        EXPECT_EQ(client->Call({{"Cmd", "67"}}), StatusOnly(Cplc)) << package;
        client->CloseSession();
    }
    EXPECT_EQ(world.LogCount("Not authorized"), 4U);
    EXPECT_FALSE(fs::exists(world.Folder() / KeyFile));
}

TEST_F(DeviceQueries, TheStoredAddressOutlivesTheService) {
    world.StartKeyServer();
    // The service that stored it is gone; this one reads it.
    EXPECT_EQ(Ask("69"), StatusOnly(Done));
    const fs::path file = world.Folder() / KeyFile;
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms::owner_all);
}

TEST_F(DeviceQueries, AnAddressWithoutASchemeIsTakenForAHost) {
    const auto stored = [&](const std::string& address) {
        world.DirectServiceTo(address);
        const std::string text = TextOf(world.Folder() / KeyFile);
        const std::size_t begin = text.find('\'') + 1;
        return text.substr(begin, text.find('\'', begin) - begin);
    };
    EXPECT_EQ(stored("kms.example:8443"), "https://kms.example:8443");
    EXPECT_EQ(stored("ftp://kms.example"), "ftp://kms.example");
    EXPECT_EQ(stored("gophers://kms.example"), "https://gophers://kms.example");
    EXPECT_EQ(stored(""), "https://");
}

TEST_F(DeviceQueries, AnAddressThatCannotBeStoredIsAnUnknownError) {
    fs::remove_all(world.Folder() / "usr");
    EXPECT_EQ(world.Ask({{"Cmd", "1F5"}, {"hostAddr", "https://kms.example"}}), StatusOnly(UnknownError));
    EXPECT_TRUE(world.LogHas("Error changing URL"));
}

TEST_F(DeviceQueries, EligibilityTellsTheServerWhatTheDeviceIs) {
    KeyServerProcess& server = world.StartKeyServer({"--eligibility", "00000001"});
    world.Device().Set("sim 0", "roaming", "true");
    EXPECT_EQ(Ask("69"), StatusOnly(Done));
    const auto messages = server.Messages();
    ASSERT_EQ(messages.size(), 1U);
    auto fields = messages[0].fields;
    EXPECT_EQ(fields["UUID"].size(), 36U);
    EXPECT_EQ(fields["msgTime"].size(), 12U);
    fields.erase("UUID");
    fields.erase("msgTime");
    const std::map<std::string, std::string> expected = {
        {"msgCd", "ELIGIBILITY"},
        {"agentVersion", "1.0.19"},
        {"deviceCodeVersion", "TESTBUILD1"},
        {"deviceCsc", "TST"},
        {"deviceMcc", "262"},
        {"deviceMnc", "01"},
        {"deviceModel", "TestWearable"},
        {"deviceRoaming", "true"},
        {"seId", std::string(Cplc, 36)}};
    EXPECT_EQ(fields, expected);
}

TEST_F(DeviceQueries, EligibilityWaitsThreeTimesForTheServerWithTheSameMessage) {
    KeyServerProcess& server = world.StartKeyServer({"--eligibility", "10500006"});
    EXPECT_EQ(Ask("69"), StatusOnly(ResultText::PleaseWait));
    const auto messages = server.Messages();
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[0].body, messages[1].body);
    EXPECT_EQ(messages[0].body, messages[2].body);
    EXPECT_EQ(server.Stop().handshakes, 1U);
}

TEST_F(DeviceQueries, EligibilityStopsWaitingWhenTheServerHasMadeUpItsMind) {
    KeyServerProcess& server = world.StartKeyServer({"--eligibility", "10500006,10500003"});
    EXPECT_EQ(Ask("69"), StatusOnly(ResultText::DeviceNotAvailable3));
    EXPECT_EQ(server.Count("ELIGIBILITY"), 2U);
}

TEST_F(DeviceQueries, EligibilityWithoutANetworkSendsNothing) {
    KeyServerProcess& server = world.StartKeyServer();
    world.Device().UnplugNetwork();
    EXPECT_EQ(Ask("69"), StatusOnly(ResultText::NetworkUnavailable));
    EXPECT_EQ(server.Stop().connections, 0U);
}

TEST_F(DeviceQueries, EligibilityThatTheCardStoppedIsAnUnknownErrorAndSendsNothing) {
    KeyServerProcess& server = world.StartKeyServer();
    world.Device().LetCardAnswer(CplcQuery, "6A82");
    EXPECT_EQ(Ask("69"), StatusOnly(UnknownError));
    EXPECT_EQ(server.Stop().messages, 0U);
}

}  // namespace
