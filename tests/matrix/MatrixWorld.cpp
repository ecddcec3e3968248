// SPDX-License-Identifier: Apache-2.0
#include "tests/matrix/MatrixWorld.h"

#include <dirent.h>
#include <glib.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "app/ResultCode.h"
#include "app/ServerAddress.h"
#include "common/ConnectionShare.h"
#include "common/Json.h"
#include "common/Locations.h"
#include "common/Owned.h"
#include "common/Runtime.h"
#include "device/VirtualDevice.h"

namespace Matrix {

namespace {

constexpr char Cookie[] = "session=kept";
constexpr std::chrono::seconds Patience{20};

std::string TextOf(const std::string& file) {
    const std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

int OpenDescriptors() {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc/self/fd"), closedir);
    int count = 0;
    while (readdir(folder.get()) != nullptr) {
        ++count;
    }
    return count;
}

std::string Replaced(std::string text, const std::string& place, const std::string& value) {
    return text.replace(text.find(place), place.size(), value);
}

std::string SectionOf(const Fault& fault) {
    return "[fault " + fault.function + "]\nresult=" + fault.result + "\nfrom=" + std::to_string(fault.from) +
           (fault.times > 0 ? "\ntimes=" + std::to_string(fault.times) : "") + "\n";
}

// A card that answers what every row asks it, by the command, so that no row depends on a card's own state.
std::string CardWith(const Map& answers) {
    Map all = {
        {"00A4040000", "9000"},
        {"80CA9F7F00", std::string("9F7F2A") + Cplc + "9000"},
        {"80CAFF2100", "FF210E8102000A82040001E240830208009000"},
        {"80CA006600", "ABCD9000"},
        {"80E2*", "9000"},
        {"80F0*", "6A88"},
        {"8482*", "9000"}};
    for (const auto& answer : answers) {
        all[answer.first] = answer.second;
    }
    std::string text = "[card]\n";
    for (const auto& answer : all) {
        text += "answer " + answer.first + "=" + answer.second + "\n";
    }
    return text;
}

// What the peer got, in a few words.
std::string MessageOf(const HttpPeer::Request& request) {
    if (request.body.compare(0, 6, "data={") != 0) {
        return request.method;
    }
    const Na::Json message(request.body.substr(5));
    const std::string kind = message.Get("msgCd");
    return kind == "NEXTAPDU" ? kind + " " + message.Get("rApduSet") : kind;
}

// Seven fields in each line of a cookie file, and one of its cookies is the one that the world began with.
void CheckCookieFile() {
    std::istringstream lines(
        TextOf(std::string(Locations::CookieDirectory) + "/dbus_com.example.wallet_2817"));
    bool found = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || (line[0] == '#' && line.compare(0, 10, "#HttpOnly_") != 0)) {
            continue;
        }
        EXPECT_EQ(std::count(line.begin(), line.end(), '\t'), 6) << "in the cookie file: " << line;
        found = found || line.find("\tsession\tkept") != std::string::npos;
    }
    EXPECT_TRUE(found) << "the cookie file lost its cookie";
}

void CheckSettingsFile(const std::string& address) {
    const Na::OwnedBy<GKeyFile, g_key_file_free> file(g_key_file_new());
    ASSERT_TRUE(g_key_file_load_from_file(file.get(), Locations::SettingsFile, G_KEY_FILE_NONE, nullptr));
    const Na::OwnedGlibMemory<char> value(g_key_file_get_value(file.get(), "network", "navo-url", nullptr));
    EXPECT_EQ(value ? value.get() : "nothing", "'" + address + "'");
}

}  // namespace

HttpReaction CommandSet(const std::string& set) {
    return Answer(R"({"resultCode":"00000000","cApduSet":")" + set + R"("})");
}

HttpReaction Result(const std::string& code) {
    return Answer(R"({"resultCode":")" + code + R"("})");
}

Map ScriptRequest() {
    return {{"Cmd", "65"}, {"ServiceId", "svc"}, {"FcId", "fc"}, {"pushReq", "push"}};
}

Map Command(const std::string& code) {
    return {{"Cmd", code}};
}

bool CertifiedPort::IsTrusted(const std::string& clientId) {
    return RecordingPort::IsTrusted(clientId) && Na::IsClientPrivileged(TrustedPackage);
}

// What the process opens once and keeps is open when the first row begins.
MatrixWorld::MatrixWorld() {
    keptSoFar = Device::OpenHandles();
    world.InstallInHouseLibraries();
    Direct(peer->Url());
    Configure({"ordinary device", {}, {}});
    peer->Script({Answer(
        R"({"resultCode":"00000001"})", 200, std::string("Set-Cookie: ") + Cookie + "; Max-Age=86400\r\n")});
    EXPECT_EQ(Status(Done), Ask(ScriptRequest()));
    Na::ConnectionShare::OfProcess().Close();
    peer->CloseConnections();
    CheckFiles(directedTo);
}

void MatrixWorld::TearDown() {
    RecordProperty("rows", checkedRows);
}

void MatrixWorld::Direct(const std::string& address) {
    if (directedTo != address) {
        Na::SetNavoAddress(address);
        directedTo = address;
    }
}

void MatrixWorld::Configure(const Case& row) {
    std::string text =
        Replaced(DeviceWorld::OrdinaryDevice(), "type=wifi", row.network) + CardWith(row.cardAnswers);
    for (const Fault& fault : row.faults) {
        text += SectionOf(fault);
    }
    world.Configure(text + row.sections);
    EXPECT_EQ(Device::ConfigurationMistakes(), std::vector<std::string>());
}

Map MatrixWorld::Ask(const Map& request) {
    port.replies.clear();
    port.progress.clear();
    Na::SetResultCodeText("left behind");
    agent.Trigger_ClientData(&port, ClientId, request);
    EXPECT_EQ(port.replies.size(), 1U) << "a request has one reply";
    return port.replies.empty() ? Map() : port.replies.front().result;
}

void MatrixWorld::CheckAll(const std::vector<Case>& table) {
    EXPECT_FALSE(table.empty());
    for (const Case& row : table) {
        Check(row);
        if (HasFatalFailure()) {
            return;
        }
    }
}

void MatrixWorld::Check(const Case& row) {
    SCOPED_TRACE(row.label);
    ++checkedRows;
    Na::ConnectionShare::OfProcess().Close();  // a row begins as a process does, without a kept connection
    const int before = OpenDescriptors();
    if (row.earlier) {
        LeaveConnection(*row.earlier);
    }
    Direct(row.address.empty() ? peer->Url() : row.address);
    Serve(row.before);
    peer->TakeRequests();
    peer->Script(row.reactions);
    world.ForgetLog();
    Configure(row);
    {
        CurlSpy spy;
        spy.Decide(row.ends);
        spy.LetPass(row.passing);
        EXPECT_EQ(Ask(row.request), row.reply);
    }
    CheckFaults(row);
    CheckLog(row);
    CheckMessages(row);
    keptSoFar += row.keeps;
    Serve(row.after);
    EXPECT_EQ(Device::OpenHandles(), keptSoFar) << "a channel or another handle was not given back";
    CheckFiles(row.newAddress.empty() ? directedTo : row.newAddress);
    directedTo = row.newAddress.empty() ? directedTo : row.newAddress;
    CheckDescriptors(before);
    CheckThatTheNextIsServed();
    CheckDescriptors(before);  // or the next row would begin while the peer still closes its ends
}

void MatrixWorld::Serve(const std::vector<Map>& requests) {
    for (const Map& request : requests) {
        Configure({"ordinary device", {}, {}});
        Ask(request);
    }
}

void MatrixWorld::LeaveConnection(const Earlier& earlier) {
    Case device = {"before a kept connection dies", {}, {}};
    device.network = earlier.network;
    device.sections = earlier.sections;
    Direct(earlier.address.empty() ? peer->Url() : earlier.address);
    Configure(device);
    peer->Script(earlier.reactions);
    EXPECT_EQ(Ask(ScriptRequest()), Status(Done)) << "the job before";
    earlier.then();
}

void MatrixWorld::CheckFaults(const Case& row) {
    for (const Fault& fault : row.faults) {
        const std::uint64_t calls = Device::Calls(fault.function);
        if (row.meetsFaults) {
            EXPECT_GE(calls, fault.from) << "the fault of " << fault.function << " was never met";
        } else {
            EXPECT_EQ(calls, 0U) << "calls of " << fault.function;
        }
    }
}

void MatrixWorld::CheckLog(const Case& row) {
    const std::string log = TextOf("navo-device.log");
    EXPECT_EQ(log.find("Job ended by an exception") != std::string::npos, row.endsByException);
    if (row.failedAttempts >= 0) {
        int attempts = 0;
        constexpr char Failed[] = "] Error sending request: ";
        for (std::size_t at = 0; (at = log.find(Failed, at)) != std::string::npos; ++at) {
            ++attempts;
        }
        EXPECT_EQ(attempts, row.failedAttempts) << "attempts that failed";
    }
}

void MatrixWorld::CheckMessages(const Case& row) {
    const std::vector<HttpPeer::Request> requests = peer->TakeRequests();
    if (row.sent) {
        std::vector<std::string> messages;
        for (const HttpPeer::Request& request : requests) {
            messages.push_back(MessageOf(request));
        }
        EXPECT_EQ(messages, *row.sent);
    }
    for (const auto& member : row.opening) {
        ASSERT_FALSE(requests.empty());
        EXPECT_EQ(Na::Json(requests.front().body.substr(5)).Get(member.first), member.second) << member.first;
    }
}

void MatrixWorld::CheckFiles(const std::string& address) {
    CheckCookieFile();
    CheckSettingsFile(address);
}

// The peer closes its ends when it learns that the service has closed its own.
void MatrixWorld::CheckDescriptors(int before) {
    Na::ConnectionShare::OfProcess().Close();
    peer->CloseConnections();
    const auto deadline = std::chrono::steady_clock::now() + Patience;
    while (OpenDescriptors() != before && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_EQ(OpenDescriptors(), before) << "a descriptor was left open";
}

void MatrixWorld::CheckThatTheNextIsServed() {
    Direct(peer->Url());
    Configure({"ordinary device", {}, {}});
    peer->Script({CommandSet("/0180CA006600"), Result("00000001")});
    EXPECT_EQ(Status(Done), Ask(ScriptRequest())) << "the next request is not served";
    const std::vector<HttpPeer::Request> requests = peer->TakeRequests();
    ASSERT_EQ(requests.size(), 2U) << "of the next request";
    EXPECT_EQ(MessageOf(requests[1]), "NEXTAPDU /01ABCD9000") << "of the next request";
    const auto cookies = requests[0].headers.find("cookie");
    ASSERT_NE(cookies, requests[0].headers.end()) << "of the next request";
    EXPECT_NE(("; " + cookies->second + ";").find(std::string("; ") + Cookie + ";"), std::string::npos)
        << cookies->second;
    EXPECT_EQ(Device::OpenHandles(), keptSoFar) << "after the next request";
}

}  // namespace Matrix
