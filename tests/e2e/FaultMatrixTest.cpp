// Faults of device and server under the real service, each between an ordinary request and the next. A row
// more in a table is a test more.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <ostream>

#include "tests/support/HttpPeer.h"
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

constexpr char TestService[] = "test.service";
constexpr char Query[] = "80CA9F7F00";

enum class Command { Script, Cplc, Memory, Eligibility, PhoneInfo };

// What fails: a function of the platform, from one call on; a key of the device's file; the server.
struct FaultRow {
    const char* name;
    Command command;
    const char* expected;  // under "ReturnCode"
    const char* function = "";
    const char* result = "";
    unsigned from = 1;
    const char* section = "";
    const char* key = "";
    const char* value = "";
    const char* misbehaviour = "";
    const char* serverOption = "";
    const char* optionValue = "";
    const char* address = "";
};

void PrintTo(const FaultRow& row, std::ostream* stream) {
    *stream << row.name;
}

FaultRow Platform(
    const char* name, Command command, const char* function, const char* result, unsigned from,
    const char* expected) {
    FaultRow row = {name, command, expected};
    row.function = function;
    row.result = result;
    row.from = from;
    return row;
}

FaultRow DeviceIs(
    const char* name, Command command, const char* section, const char* key, const char* value,
    const char* expected) {
    FaultRow row = {name, command, expected};
    row.section = section;
    row.key = key;
    row.value = value;
    return row;
}

FaultRow ServerDoes(const char* name, const char* misbehaviour, const char* expected) {
    FaultRow row = {name, Command::Script, expected};
    row.misbehaviour = misbehaviour;
    return row;
}

FaultRow ServerHas(const char* name, const char* option, const char* value, const char* expected) {
    FaultRow row = {name, Command::Script, expected};
    row.serverOption = option;
    row.optionValue = value;
    return row;
}

FaultRow AddressIs(const char* name, const char* address, const char* expected) {
    FaultRow row = {name, Command::Script, expected};
    row.address = address;
    return row;
}

// Calls are counted within the request: the element is opened and closed once to look it up.
std::vector<FaultRow> PlatformRows() {
    return {
        Platform(
            "OpeningIsRefused", Command::Script, "nfc_se_open_secure_element",
            "NFC_ERROR_SECURITY_RESTRICTED", 1, ElementRefused),
        Platform(
            "OpeningIsRefusedAfterTheLookUp", Command::Script, "nfc_se_open_secure_element",
            "NFC_ERROR_PERMISSION_DENIED", 2, ElementRefused),
        Platform(
            "OpeningFails", Command::Cplc, "nfc_se_open_secure_element", "NFC_ERROR_DEVICE_BUSY", 1,
            UnknownError),
        Platform("OpeningForTheMemoryFails", Command::Memory, "nfc_se_open_secure_element", "-1", 2, "0"),
        Platform(
            "TheFirstCommandIsLost", Command::Script, "nfc_se_send_apdu", "NFC_ERROR_OPERATION_FAILED", 1,
            NoApdu),
        Platform(
            "TheCplcQueryIsLost", Command::Eligibility, "nfc_se_send_apdu", "NFC_ERROR_TIMED_OUT", 2, NoApdu),
        Platform(
            "TheFirstCommandOfTheServerIsLost", Command::Script, "nfc_se_send_apdu",
            "NFC_ERROR_OPERATION_FAILED", 3, NotRelayed),
        Platform(
            "TheLastCommandOfTheServerIsLost", Command::Script, "nfc_se_send_apdu",
            "NFC_ERROR_OPERATION_FAILED", 6, NotRelayed),
        Platform("TheMemoryQueryIsLost", Command::Memory, "nfc_se_send_apdu", "-1", 2, "0"),
        Platform(
            "ClosingFails", Command::Script, "nfc_se_close_secure_element", "NFC_ERROR_OPERATION_FAILED", 2,
            ElementNotClosed),
        Platform("TheAnswerToResetIsUnknown", Command::Script, "nfc_se_get_atr", "-1", 1, Done),
        Platform(
            "NoConnectionCanBeMade", Command::Script, "connection_create",
            "CONNECTION_ERROR_OPERATION_FAILED", 1, NetworkUnavailable),
        Platform(
            "NoSecondConnectionCanBeMade", Command::Script, "connection_create",
            "CONNECTION_ERROR_OUT_OF_MEMORY", 2, NetworkUnavailable),
        Platform(
            "TheTypeOfTheThirdConnectionIsUnknown", Command::Script, "connection_get_type",
            "CONNECTION_ERROR_PERMISSION_DENIED", 3, NetworkUnavailable),
        Platform(
            "TheStateOfTheLastConnectionIsUnknown", Command::Script, "connection_get_wifi_state", "-1", 4,
            NetworkUnavailable),
        Platform("TheProxyIsUnknown", Command::Script, "connection_get_proxy", "-1", 1, Done),
        Platform(
            "ThereIsNoTelephony", Command::Script, "telephony_init", "TELEPHONY_ERROR_NOT_SUPPORTED", 1,
            Done),
        Platform("LibcurlDoesNotStart", Command::Script, "curl_easy_init", "-1", 2, ProtocolError),
        Platform(
            "TheCertificateCannotBeLoaded", Command::PhoneInfo, "pkgmgrinfo_pkginfo_load_certinfo", "-1", 1,
            WrongCommand),
        Platform(
            "TheVisibilityIsUnknown", Command::PhoneInfo, "certsvc_certificate_get_visibility", "0", 1,
            WrongCommand),
        Platform("TheLogIsLost", Command::Cplc, "dlog_vprint", "-1", 1, "*")};
}

std::vector<FaultRow> DeviceRows() {
    return {
        DeviceIs("TheElementIsMissing", Command::Script, "card", "present", "false", UnknownError),
        DeviceIs("ThereIsNoNfc", Command::Script, "nfc", "supported", "false", ElementRefused),
        DeviceIs("TheCardRefusesItsCplc", Command::Eligibility, "card", "answer 80CA9F7F00", "6A82", Done),
        DeviceIs("TheCardSendsAByte", Command::Cplc, "card", "answer 80CA9F7F00", "90", Done),
        DeviceIs("TheNetworkIsGone", Command::Script, "network", "type", "disconnected", NetworkUnavailable),
        DeviceIs(
            "TheNetworkIsOfAnUnknownType", Command::Eligibility, "network", "type", "7", NetworkUnavailable)};
}

// Messages are counted from 1, INITIALIZEAPDU included.
std::vector<FaultRow> ServerRows() {
    return {
        ServerDoes("TheServerIsOverloaded", "status=503", "503"),
        ServerDoes("TheServerLosesTheSession", "status=404@3", "404"),
        ServerDoes("TheServerAnswersNothing", "empty@2", NoResponseFromServer),
        ServerDoes("TheServerAnswersWithHtml", "not-json=html@2", Done),
        ServerDoes("TheServerAnswersWithAList", "not-json=list@1", Done),
        ServerDoes("TheServersCodeIsANumber", "numeric-code@2", Done),
        ServerDoes("TheServersSetIsMissing", "no-commands@2", NoApdu),
        ServerDoes("TheServerSpeaksNoHttp", "garbage@2", ProtocolError),
        ServerDoes("TheServerCloses", "close-before@3", NoResponseFromServer),
        ServerDoes("TheServerClosesInTheMiddle", "close-middle@3", ProtocolError),
        ServerDoes("TheServerResets", "reset@2", NoResponseFromServer),
        ServerDoes("TheServerRedirectsForEver", "redirect=307@2", ProtocolError),
        ServerDoes("TheServerIsSlow", "delay=400", Done),
        ServerHas("TheCertificateIsExpired", "--certificate-days", "-1", ProtocolError),
        ServerHas("TheCertificateIsAnothers", "--certificate-name", "kms.other.example", ProtocolError),
        AddressIs("TheAddressIsNone", "https://no host", MalformedUrl),
        AddressIs("TheServerHasNoName", "https://-.invalid", HostUnreachable)};
}

std::vector<FaultRow> AllRows() {
    std::vector<FaultRow> rows = PlatformRows();
    for (const std::vector<FaultRow>& more : {DeviceRows(), ServerRows()}) {
        rows.insert(rows.end(), more.begin(), more.end());
    }
    return rows;
}

Map RequestOf(Command command) {
    switch (command) {
        case Command::Script:
            return {{"Cmd", "65"}, {"ServiceId", TestService}, {"FcId", "A"}, {"pushReq", "p"}};
        case Command::Cplc:
            return {{"Cmd", "67"}};
        case Command::Memory:
            return {{"Cmd", "68"}};
        case Command::Eligibility:
            return {{"Cmd", "69"}};
        case Command::PhoneInfo:
            break;
    }
    return {{"Cmd", "1F4"}};
}

// What the service holds when it is at rest: a line of its log alone takes one more for a moment.
int DescriptorsAtRest(pid_t service) {
    constexpr int Looks = 20;
    int lowest = World::HoldingsOf(service).descriptors;
    int looks = 0;
    Eventually([&] {
        const int now = World::HoldingsOf(service).descriptors;
        looks = now < lowest ? 0 : looks + 1;
        lowest = std::min(now, lowest);
        return looks == Looks;
    });
    return lowest;
}

class ServiceFault : public ::testing::TestWithParam<FaultRow> {
protected:
    // A server whose script has three sets with four commands in all; a command that the card does not answer
    // ends it.
    KeyServerProcess& Serve(const std::vector<std::string>& further) {
        std::vector<std::string> options = {
            "--script", world.Write("script.json", ScriptOf({{Query}, {Query, Query}, {Query}}))};
        options.insert(options.end(), further.begin(), further.end());
        KeyServerProcess& server = world.StartUnknownKeyServer(options);
        world.Device().TrustCertificatesOf(server.Authority());
        return server;
    }

    static std::vector<std::string> ServerOptionsOf(const FaultRow& row) {
        if (*row.misbehaviour != '\0') {
            return {"--misbehave", row.misbehaviour};
        }
        if (*row.serverOption != '\0') {
            return {row.serverOption, row.optionValue};
        }
        return {};
    }

    void Break(const FaultRow& row) {
        if (*row.function != '\0') {
            world.Device().Break(row.function, row.result, row.from);
        }
        if (*row.section != '\0') {
            world.Device().Set(row.section, row.key, row.value);
        }
    }

    void Repair(const FaultRow& row) {
        static const std::map<std::string, std::string> healthy = {
            {"present", "true"}, {"supported", "true"}, {"answer 80CA9F7F00", "card"}, {"type", "wifi"}};
        if (*row.function != '\0') {
            world.Device().Repair(row.function);
        }
        if (*row.section != '\0') {
            world.Device().Set(row.section, row.key, healthy.at(row.key));
        }
    }

    // That a job ran; not where there is no log, or no job because the client was not trusted.
    static bool LeavesALog(const FaultRow& row) {
        return std::string(row.function) != "dlog_vprint" && row.command != Command::PhoneInfo;
    }

    std::size_t Completions() const { return world.LogCount("info: Job execution is complete"); }

    World world;
};

}  // namespace

TEST_P(ServiceFault, HasOneReplyClosesTheElementAndLeavesTheNextRequestAlone) {
    const FaultRow& row = GetParam();
    KeyServerProcess& server = Serve(ServerOptionsOf(row));
    Navo::Session session(world.Options());
    const auto direct = [&](const std::string& address) {
        EXPECT_EQ(session.Call({{"Cmd", "1F5"}, {"hostAddr", address}}).at("ReturnCode"), Done);
    };
    direct(*row.address != '\0' ? row.address : server.Address());
    const std::string cplc = session.Call(RequestOf(Command::Cplc)).at("ReturnCode");
    ASSERT_EQ(cplc.size(), 84U);
    const pid_t service = world.ServiceProcess();
    const int descriptors = DescriptorsAtRest(service);
    constexpr std::size_t completions = 2;
    EXPECT_TRUE(Eventually([&] { return Completions() == completions; }));

    Break(row);
    const Map reply = session.Call(RequestOf(row.command));
    EXPECT_EQ(reply.at("ReturnCode"), std::string(row.expected) == "*" ? cplc : row.expected);
    EXPECT_EQ(reply.size(), 1U);
    EXPECT_TRUE(world.ElementIsClosed());
    // The line is written after the reply.
    const std::size_t expected = completions + (LeavesALog(row) ? 1 : 0);
    EXPECT_TRUE(Eventually([&] { return Completions() >= expected; }));
    EXPECT_EQ(Completions(), expected) << "jobs that ran";

    Repair(row);
    KeyServerProcess& another = Serve({});
    direct(another.Address());
    EXPECT_EQ(session.Call(RequestOf(Command::Script)).at("ReturnCode"), Done) << "the next request";
    EXPECT_TRUE(world.ElementIsClosed());
    EXPECT_EQ(another.Count("NEXTAPDU"), 3U);
    EXPECT_TRUE(Eventually([&] { return World::HoldingsOf(service).descriptors == descriptors; }))
        << World::HoldingsOf(service).descriptors << " descriptors, before " << descriptors;
    EXPECT_EQ(world.ServiceProcess(), service) << "it is the same service still";
    session.Close();
    EXPECT_EQ(world.AwaitEndOf(service), 0);
}

INSTANTIATE_TEST_SUITE_P(
    When, ServiceFault, testing::ValuesIn(AllRows()),
    [](const testing::TestParamInfo<FaultRow>& row) { return std::string(row.param.name); });

// The service knows a session by its client's package, so without it the request is of nobody's.
TEST(CallerFault, ThatHidesThePackageLosesTheRequestAndNotTheSession) {
    World world;
    Navo::Session session(world.Options());
    const Map memory = session.Call(RequestOf(Command::Memory));
    world.Device().Break("aul_app_get_pkgname_bypid", "-1");
    try {
        session.Call(RequestOf(Command::Memory));
        ADD_FAILURE() << "a reply to nobody";
    } catch (const Navo::ClientError& error) {
        EXPECT_EQ(error.Kind(), Navo::ErrorKind::SessionLost);
    }
    world.Device().Repair("aul_app_get_pkgname_bypid");
    EXPECT_EQ(session.Call(RequestOf(Command::Memory)), memory);
}

// A service whose descriptors are about to run out.
class DescriptorFault : public ::testing::Test {
protected:
    // A sanitizer takes a descriptor for each look at an object's type, and calls the type wrong without one.
    void SetUp() override {
        if (NAVO_SANITIZED != 0) {
            GTEST_SKIP() << "the sanitizers need descriptors of their own";
        }
    }

    DescriptorFault() {
        world.StartKeyServer(
            {"--script", world.Write("script.json", ScriptOf({{Query}, {Query, Query}, {Query}}))});
        session.emplace(world.Options());
        EXPECT_EQ(Ask(Command::Script), Done);
        service = world.ServiceProcess();
        EXPECT_EQ(prlimit(service, RLIMIT_NOFILE, nullptr, &usual), 0);
        descriptors = DescriptorsAtRest(service);
    }

    // Nor does it keep the service from its usual end.
    void TearDown() override {
        session.reset();
        EXPECT_EQ(world.AwaitEndOf(service), 0);
    }

    std::string Ask(Command command) { return session->Call(RequestOf(command)).at("ReturnCode"); }

    // A number below the limit may be free, since descriptors are not closed in their order.
    void Leave(int further) const {
        const std::filesystem::path open = "/proc/" + std::to_string(service) + "/fd";
        rlim_t limit = 0;
        for (int free = 0; free <= further; ++limit) {
            free += is_symlink(symlink_status(open / std::to_string(limit))) ? 0 : 1;
        }
        const rlimit scarce = {limit - 1, usual.rlim_max};
        EXPECT_EQ(prlimit(service, RLIMIT_NOFILE, &scarce, nullptr), 0);
    }

    void ExpectNothingLost() {
        EXPECT_EQ(prlimit(service, RLIMIT_NOFILE, &usual, nullptr), 0);
        EXPECT_EQ(Ask(Command::Script), Done);
        EXPECT_TRUE(Eventually([&] { return World::HoldingsOf(service).descriptors == descriptors; }));
        EXPECT_EQ(world.ServiceProcess(), service);
    }

    World world;
    std::optional<Navo::Session> session;
    pid_t service = 0;
    rlimit usual = {};
    int descriptors = 0;
};

TEST_F(DescriptorFault, AtAnyDistanceHasOneReplyAndLeavesNothingOpen) {
    for (int further = 1; further < 12; ++further) {
        SCOPED_TRACE(std::to_string(further) + " further descriptors");
        Leave(further);
        for (const Command command : {Command::Script, Command::Eligibility, Command::Cplc}) {
            EXPECT_NE(Ask(command), "");
        }
        ExpectNothingLost();
    }
}

// The bus cannot be asked who calls, so the request is of nobody's.
TEST_F(DescriptorFault, WithNoneLeftLosesTheRequestAndNotTheService) {
    Leave(0);
    try {
        Ask(Command::Cplc);
        ADD_FAILURE() << "a reply to nobody";
    } catch (const Navo::ClientError& error) {
        EXPECT_EQ(error.Kind(), Navo::ErrorKind::SessionLost) << error.what();
    }
    ExpectNothingLost();
}

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
