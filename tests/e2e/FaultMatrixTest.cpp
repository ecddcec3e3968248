// SPDX-License-Identifier: Apache-2.0
// Faults of device and server under the real service, each between an ordinary request and the next. A row
// more in a table is a test more.
#include <gtest/gtest.h>

#include <ostream>
#include <variant>

#include "tests/e2e/FaultRequests.h"
#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

namespace {

using ResultText::ElementNotClosed;
using ResultText::ElementRefused;
using ResultText::HostUnreachable;
using ResultText::MalformedUrl;
using ResultText::NetworkUnavailable;
using ResultText::NoApdu;
using ResultText::NoResponseFromServer;
using ResultText::NotRelayed;
using ResultText::ProtocolError;
using ResultText::WrongCommand;

using Navo::Map;

// What fails.
struct Platform {
    const char* function;
    const char* result;
    unsigned from = 1;  // counted within the request: the element is opened and closed once to look it up
};
struct DeviceIs {
    const char* section;
    const char* key;
    const char* value;
    const char* usually;
};
struct ServerDoes {
    const char* misbehaviour;  // messages are counted from 1, INITIALIZEAPDU included
};
struct ServerHas {
    const char* option;
    const char* value;
};
struct AddressIs {
    const char* address;
};
using Fault = std::variant<Platform, DeviceIs, ServerDoes, ServerHas, AddressIs>;

// Under "ReturnCode", in place of a text: the CPLC, as if nothing had failed.
constexpr char TheCplc[] = "*";

struct FaultRow {
    const char* name;
    Command command;
    Fault fault;
    const char* expected;  // under "ReturnCode"
};

void PrintTo(const FaultRow& row, std::ostream* stream) {
    *stream << row.name;
}

std::vector<FaultRow> ElementRows() {
    return {
        {"OpeningIsRefused", Command::Script,
         Platform{"nfc_se_open_secure_element", "NFC_ERROR_SECURITY_RESTRICTED"}, ElementRefused},
        {"OpeningIsRefusedAfterTheLookUp", Command::Script,
         Platform{"nfc_se_open_secure_element", "NFC_ERROR_PERMISSION_DENIED", 2}, ElementRefused},
        {"OpeningFails", Command::Cplc, Platform{"nfc_se_open_secure_element", "NFC_ERROR_DEVICE_BUSY"},
         UnknownError},
        {"OpeningForTheMemoryFails", Command::Memory, Platform{"nfc_se_open_secure_element", "-1", 2}, "0"},
        {"TheFirstCommandIsLost", Command::Script, Platform{"nfc_se_send_apdu", "NFC_ERROR_OPERATION_FAILED"},
         NoApdu},
        {"TheCplcQueryIsLost", Command::Eligibility, Platform{"nfc_se_send_apdu", "NFC_ERROR_TIMED_OUT", 2},
         UnknownError},
        {"TheFirstCommandOfTheServerIsLost", Command::Script,
         Platform{"nfc_se_send_apdu", "NFC_ERROR_OPERATION_FAILED", 3}, NotRelayed},
        {"TheLastCommandOfTheServerIsLost", Command::Script,
         Platform{"nfc_se_send_apdu", "NFC_ERROR_OPERATION_FAILED", 6}, NotRelayed},
        {"TheMemoryQueryIsLost", Command::Memory, Platform{"nfc_se_send_apdu", "-1", 2}, "0"},
        {"ClosingFails", Command::Script,
         Platform{"nfc_se_close_secure_element", "NFC_ERROR_OPERATION_FAILED", 2}, ElementNotClosed},
        {"TheAnswerToResetIsUnknown", Command::Script, Platform{"nfc_se_get_atr", "-1"}, Done}};
}

std::vector<FaultRow> PlatformRows() {
    return {
        {"NoConnectionCanBeMade", Command::Script,
         Platform{"connection_create", "CONNECTION_ERROR_OPERATION_FAILED"}, NetworkUnavailable},
        {"NoSecondConnectionCanBeMade", Command::Script,
         Platform{"connection_create", "CONNECTION_ERROR_OUT_OF_MEMORY", 2}, NetworkUnavailable},
        {"TheTypeOfTheThirdConnectionIsUnknown", Command::Script,
         Platform{"connection_get_type", "CONNECTION_ERROR_PERMISSION_DENIED", 3}, NetworkUnavailable},
        {"TheStateOfTheLastConnectionIsUnknown", Command::Script,
         Platform{"connection_get_wifi_state", "-1", 4}, NetworkUnavailable},
        {"TheProxyIsUnknown", Command::Script, Platform{"connection_get_proxy", "-1"}, Done},
        {"ThereIsNoTelephony", Command::Script, Platform{"telephony_init", "TELEPHONY_ERROR_NOT_SUPPORTED"},
         Done},
        {"LibcurlDoesNotStart", Command::Script, Platform{"curl_easy_init", "-1", 2}, ProtocolError},
        {"TheCertificateCannotBeLoaded", Command::PhoneInfo,
         Platform{"pkgmgrinfo_pkginfo_load_certinfo", "-1"}, WrongCommand},
        {"TheVisibilityIsUnknown", Command::PhoneInfo, Platform{"certsvc_certificate_get_visibility", "0"},
         WrongCommand},
        {"TheLogIsLost", Command::Cplc, Platform{"dlog_vprint", "-1"}, TheCplc}};
}

std::vector<FaultRow> DeviceRows() {
    return {
        {"TheElementIsMissing", Command::Script, DeviceIs{"card", "present", "false", "true"}, UnknownError},
        {"ThereIsNoNfc", Command::Script, DeviceIs{"nfc", "supported", "false", "true"}, ElementRefused},
        {"TheCardRefusesItsCplc", Command::Eligibility, DeviceIs{"card", "answer 80CA9F7F00", "6A82", "card"},
         UnknownError},
        {"TheCardSendsAByte", Command::Cplc, DeviceIs{"card", "answer 80CA9F7F00", "90", "card"}, Done},
        {"TheNetworkIsGone", Command::Script, DeviceIs{"network", "type", "disconnected", "wifi"},
         NetworkUnavailable},
        {"TheNetworkIsOfAnUnknownType", Command::Eligibility, DeviceIs{"network", "type", "7", "wifi"},
         NetworkUnavailable}};
}

std::vector<FaultRow> ServerRows() {
    return {
        {"TheServerIsOverloaded", Command::Script, ServerDoes{"status=503"}, "503"},
        {"TheServerLosesTheSession", Command::Script, ServerDoes{"status=404@3"}, "404"},
        {"TheServerAnswersNothing", Command::Script, ServerDoes{"empty@2"}, NoResponseFromServer},
        {"TheServerAnswersWithHtml", Command::Script, ServerDoes{"not-json=html@2"}, Done},
        {"TheServerAnswersWithAList", Command::Script, ServerDoes{"not-json=list@1"}, Done},
        {"TheServersCodeIsANumber", Command::Script, ServerDoes{"numeric-code@2"}, Done},
        {"TheServersSetIsMissing", Command::Script, ServerDoes{"no-commands@2"}, NoApdu},
        {"TheServerSpeaksNoHttp", Command::Script, ServerDoes{"garbage@2"}, ProtocolError},
        {"TheServerCloses", Command::Script, ServerDoes{"close-before@3"}, NoResponseFromServer},
        {"TheServerClosesInTheMiddle", Command::Script, ServerDoes{"close-middle@3"}, ProtocolError},
        {"TheServerResets", Command::Script, ServerDoes{"reset@2"}, NoResponseFromServer},
        {"TheServerRedirectsForEver", Command::Script, ServerDoes{"redirect=307@2"}, ProtocolError},
        {"TheServerIsSlow", Command::Script, ServerDoes{"delay=400"}, Done},
        {"TheCertificateIsExpired", Command::Script, ServerHas{"--certificate-days", "-1"}, ProtocolError},
        {"TheCertificateIsAnothers", Command::Script, ServerHas{"--certificate-name", "kms.other.example"},
         ProtocolError},
        {"TheAddressIsNone", Command::Script, AddressIs{"https://no host"}, MalformedUrl},
        {"TheServerHasNoName", Command::Script, AddressIs{"https://-.invalid"}, HostUnreachable}};
}

std::vector<FaultRow> AllRows() {
    std::vector<FaultRow> rows = ElementRows();
    for (const std::vector<FaultRow>& more : {PlatformRows(), DeviceRows(), ServerRows()}) {
        rows.insert(rows.end(), more.begin(), more.end());
    }
    return rows;
}

class ServiceFault : public ::testing::TestWithParam<FaultRow> {
protected:
    // A command that the card does not answer ends the script.
    KeyServerProcess& Serve(const std::vector<std::string>& further) {
        std::vector<std::string> options = {"--script", world.Write("script.json", FourCommands())};
        options.insert(options.end(), further.begin(), further.end());
        KeyServerProcess& server = world.StartUnknownKeyServer(options);
        world.Device().TrustCertificatesOf(server.Authority());
        return server;
    }

    static std::vector<std::string> ServerOptionsOf(const Fault& fault) {
        if (const auto* const server = std::get_if<ServerDoes>(&fault)) {
            return {"--misbehave", server->misbehaviour};
        }
        if (const auto* const server = std::get_if<ServerHas>(&fault)) {
            return {server->option, server->value};
        }
        return {};
    }

    void Break(const Fault& fault) {
        if (const auto* const platform = std::get_if<Platform>(&fault)) {
            world.Device().Break(platform->function, platform->result, platform->from);
        }
        if (const auto* const device = std::get_if<DeviceIs>(&fault)) {
            world.Device().Set(device->section, device->key, device->value);
        }
    }

    void Repair(const Fault& fault) {
        if (const auto* const platform = std::get_if<Platform>(&fault)) {
            world.Device().Repair(platform->function);
        }
        if (const auto* const device = std::get_if<DeviceIs>(&fault)) {
            world.Device().Set(device->section, device->key, device->usually);
        }
    }

    // That a job ran; not where there is no log, or no job because the client was not trusted.
    static bool LeavesALog(const FaultRow& row) {
        const auto* const platform = std::get_if<Platform>(&row.fault);
        const bool losesTheLog = platform != nullptr && std::string(platform->function) == "dlog_vprint";
        return !losesTheLog && row.command != Command::PhoneInfo;
    }

    std::size_t Completions() const { return world.LogCount("info: Job execution is complete"); }

    World world;
};

}  // namespace

TEST_P(ServiceFault, HasOneReplyClosesTheElementAndLeavesTheNextRequestAlone) {
    const FaultRow& row = GetParam();
    KeyServerProcess& server = Serve(ServerOptionsOf(row.fault));
    Navo::Session session(world.Options());
    const auto direct = [&](const std::string& address) {
        EXPECT_EQ(session.Call({{"Cmd", "1F5"}, {"hostAddr", address}}).at("ReturnCode"), Done);
    };
    const auto* const elsewhere = std::get_if<AddressIs>(&row.fault);
    direct(elsewhere != nullptr ? elsewhere->address : server.Address());
    const std::string cplc = session.Call(RequestOf(Command::Cplc)).at("ReturnCode");
    ASSERT_EQ(cplc.size(), 84U);
    const pid_t service = world.ServiceProcess();
    const int descriptors = DescriptorsAtRest(service);
    constexpr std::size_t completions = 2;
    EXPECT_TRUE(Eventually([&] { return Completions() == completions; }));

    Break(row.fault);
    const Map reply = session.Call(RequestOf(row.command));
    EXPECT_EQ(reply.at("ReturnCode"), std::string(row.expected) == TheCplc ? cplc : row.expected);
    EXPECT_EQ(reply.size(), 1U);
    EXPECT_TRUE(world.ElementIsClosed());
    // The line is written after the reply.
    const std::size_t expected = completions + (LeavesALog(row) ? 1 : 0);
    EXPECT_TRUE(Eventually([&] { return Completions() >= expected; }));
    EXPECT_EQ(Completions(), expected) << "jobs that ran";

    Repair(row.fault);
    KeyServerProcess& another = Serve({});
    direct(another.Address());
    EXPECT_EQ(session.Call(RequestOf(Command::Script)).at("ReturnCode"), Done) << "the next request";
    EXPECT_TRUE(world.ElementIsClosed());
    EXPECT_EQ(another.Count("NEXTAPDU"), 3U);
    // One more: the connection to the server, which is kept.
    EXPECT_TRUE(Eventually([&] { return World::HoldingsOf(service).descriptors == descriptors + 1; }))
        << World::HoldingsOf(service).descriptors << " descriptors, before " << descriptors;
    EXPECT_EQ(world.ServiceProcess(), service) << "it is the same service still";
    session.Close();
    EXPECT_EQ(world.AwaitEndOf(service), 0);
}

INSTANTIATE_TEST_SUITE_P(
    When, ServiceFault, testing::ValuesIn(AllRows()),
    [](const testing::TestParamInfo<FaultRow>& row) { return std::string(row.param.name); });

namespace {

// What a person at a terminal sees of a fault: one line that says it, and an exit status of 1.
struct TerminalRow {
    const char* name;
    const char* function;
    const char* result;
    std::vector<std::string> arguments;
    const char* expected;
};

void PrintTo(const TerminalRow& row, std::ostream* stream) {
    *stream << row.name;
}

class NavoctlFault : public ::testing::TestWithParam<TerminalRow> {
protected:
    World world;
};

}  // namespace

TEST_P(NavoctlFault, IsOneFailureAndTheNextCallWorks) {
    world.StartKeyServer({"--eligibility", "00000001"});
    world.Device().Break(GetParam().function, GetParam().result);
    const World::Result failure = world.Navoctl(GetParam().arguments);
    EXPECT_EQ(failure.status, 1) << failure.output;
    EXPECT_EQ(failure.output, "");
    EXPECT_NE(failure.errors.find(GetParam().expected), std::string::npos) << failure.errors;
    world.Device().Repair(GetParam().function);
    EXPECT_EQ(world.Navoctl(GetParam().arguments).status, 0);
}

INSTANTIATE_TEST_SUITE_P(
    When, NavoctlFault,
    testing::Values(
        TerminalRow{
            "OpeningIsRefused",
            "nfc_se_open_secure_element",
            "NFC_ERROR_PERMISSION_DENIED",
            {"cplc"},
            ElementRefused},
        TerminalRow{"OpeningFails", "nfc_se_open_secure_element", "-1", {"eligibility"}, UnknownError},
        TerminalRow{"TheCommandIsLost", "nfc_se_send_apdu", "-1", {"cplc"}, NoApdu},
        TerminalRow{"ThereIsNoNetwork", "connection_create", "-1", {"eligibility"}, NetworkUnavailable},
        TerminalRow{
            "TheServiceHasNoNfc",
            "nfc_manager_initialize",
            "NFC_ERROR_OPERATION_FAILED",
            {"cplc"},
            UnknownError},
        TerminalRow{"ThePackageIsUnknown", "aul_app_get_pkgname_bypid", "-1", {"phone-info"}, WrongCommand},
        TerminalRow{
            "ThePackagesCertificateIsUnknown",
            "pkgmgrinfo_pkginfo_get_cert_value",
            "-1",
            {"phone-info"},
            WrongCommand}),
    [](const testing::TestParamInfo<TerminalRow>& row) { return std::string(row.param.name); });
