// SPDX-License-Identifier: Apache-2.0
// Sessions of the whole service, as navo-trace tells them of what device, key server and service recorded.
#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/support/Descriptor.h"
#include "tests/support/Eventually.h"
#include "tests/support/world/Provisioning.h"
#include "tests/support/world/Script.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using Json = nlohmann::json;

class TraceOf : public ::testing::Test {
protected:
    TraceOf() { world.Device().SetCard({{"record", recording}}); }

    // What the program writes of all inputs, or of those that are given.
    std::string Written(std::vector<std::string> arguments, std::vector<std::string> inputs = {}) {
        if (inputs.empty()) {
            inputs = {recording, server->Record(), world.Folder() / "dlog"};
        }
        arguments.insert(arguments.begin(), NAVO_TRACE_PROGRAM);
        arguments.insert(arguments.end(), inputs.begin(), inputs.end());
        const World::Result result = world.Run(arguments);
        EXPECT_EQ(result.errors, "");
        return result.output;
    }

    Json Story(const std::vector<std::string>& arguments = {}, const std::vector<std::string>& inputs = {}) {
        std::vector<std::string> all = {"--format", "json"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return Json::parse(Written(all, inputs));
    }

    // The entry that is chosen when the page opens.
    static Json First(const Json& story) {
        return story.at("first").is_null() ? Json()
                                           : story.at("entries").at(story.at("first").get<std::size_t>() - 1);
    }

    void Run(const std::vector<std::string>& options, const std::string& service = "demo.card") {
        server = &world.StartKeyServer(options);
        static_cast<void>(world.RunScript(service));
    }

    void ExpectFirst(const std::string& kind, const std::string& cause, const std::string& failure) {
        const Json first = First(Story());
        ASSERT_TRUE(first.is_object()) << Written({"--format", "text"});
        EXPECT_EQ(first.at("kind"), kind) << first;
        EXPECT_EQ(first.at("causes").at(0).at("code"), cause) << first;
        EXPECT_THAT(first.at("failure").get<std::string>(), HasSubstr(failure));
    }

    World world;
    std::string recording = world.Folder() / "device.jsonl";
    KeyServerProcess* server = nullptr;
};

std::size_t CountOf(const Json& story, const std::string& kind) {
    const Json& entries = story.at("entries");
    return static_cast<std::size_t>(std::count_if(
        entries.begin(), entries.end(), [&](const Json& entry) { return entry.at("kind") == kind; }));
}

std::size_t TimesIn(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

// What an HTTP server of this machine answers, as it comes, up to `enough` of it.
std::string Fetch(
    const std::string& place, const std::string& path, const std::string& host, const std::string& enough) {
    const Descriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(place.substr(place.find(':') + 1))));
    if (connect(connection.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        return "no connection";
    }
    const std::string request = "GET " + path + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
    EXPECT_EQ(
        send(connection.Get(), request.data(), request.size(), 0), static_cast<ssize_t>(request.size()));
    std::string answer;
    char bytes[4096];
    for (ssize_t count = 1; count > 0 && answer.find(enough) == std::string::npos;) {
        count = recv(connection.Get(), bytes, sizeof bytes, 0);
        answer.append(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return answer;
}

// The log as a device of the field prints it.
std::string AsThreadtime(const std::string& log) {
    std::string text;
    for (const std::string& line : LinesOf(log)) {
        const std::size_t words = line.find("): ");
        const std::size_t tag = line.find('(');
        if (words != std::string::npos && line.rfind("D/NavoAgent", 0) == 0) {
            const std::string process = line.substr(tag + 1, words - tag - 1);
            text += "03-01 12:00:00.250+0900 " + process + " " + process +
                    " D NavoAgent: " + line.substr(words + 3) + "\n";
        }
    }
    return text;
}

TEST_F(TraceOf, AProvisioningIsOneStoryWithoutItsSecrets) {
    const std::string catalogue = ProvisioningCatalogue(world);
    Run({"--catalogue", catalogue}, ProvisioningService);
    const Json story = Story({"--keys", catalogue});
    EXPECT_TRUE(story.at("first").is_null()) << First(story);
    EXPECT_GT(CountOf(story, "apdu"), 20U);
    bool sawClear = false;
    for (const Json& entry : story.at("entries")) {
        if (entry.at("kind") == "apdu" && entry.contains("action")) {
            EXPECT_EQ(entry.at("origins").size(), 2U) << "device and service both saw " << entry;
        }
        sawClear = sawClear || entry.at("sections").dump().find("Command in the clear") != std::string::npos;
    }
    EXPECT_TRUE(sawClear);
    const Json known = Json::parse(TextOf(catalogue));
    const std::string open = Written({"--format", "json", "--mask", "none", "--keys", catalogue});
    const std::string masked = story.dump() + Written({"--keys", catalogue});
    for (const Json& action : known.at("services").at(0).at("actions")) {
        if (action.at("do") == "personalise") {
            const Json& data = action.at("data");
            const std::string block = data.is_string() ? data : data.at(0);
            EXPECT_THAT(open, HasSubstr(block));
            EXPECT_THAT(masked, Not(HasSubstr(block)));
        }
    }
}

TEST_F(TraceOf, ALogFromTheFieldIsEnough) {
    Run({});
    const Json whole = Story();
    const std::string log = world.Write("field.log", AsThreadtime(TextOf(world.Folder() / "dlog")));
    const Json alone = Story({}, {log});
    EXPECT_GT(CountOf(alone, "apdu"), 3U);
    EXPECT_EQ(CountOf(alone, "apdu"), CountOf(whole, "apdu"));
    EXPECT_EQ(CountOf(alone, "message"), CountOf(whole, "message"));
    EXPECT_TRUE(alone.at("first").is_null()) << First(alone);
    const std::string page = Written({}, {log});
    for (const char* const kind : {"apdu", "message"}) {
        EXPECT_EQ(TimesIn(page, std::string(R"("kind":")") + kind + '"'), CountOf(alone, kind));
    }
}

TEST_F(TraceOf, ASessionThatFailsAtTls) {
    Run({"--certificate-name", "kms.other.example"});
    ExpectFirst("message", "10100007", "certificate");
}

TEST_F(TraceOf, ASessionThatFailsWithAStatus) {
    Run({"--misbehave", "status=503@2"});
    ExpectFirst("message", "503", "HTTP status 503");
    EXPECT_EQ(First(Story()).at("faults").at(0), "status=503@2");
}

TEST_F(TraceOf, ASessionWithAWrongSet) {
    Run({"--script", world.Write("script.json", ScriptOf({{"00A4040000", "raw 8"}}))}, "test.service");
    ExpectFirst("message", "10100016", "command 2 of the set");
}

TEST_F(TraceOf, ASessionThatTheCardRefuses) {
    const std::string steps =
        R"("steps":[{"commands":[{"apdu":"00A4040000","expect":"9000"},{"apdu":"80CA00EE00","expect":"9000"}]}])";
    Run({"--script", world.Write("script.json", R"({"serviceId":"test.service",)" + steps + "}")},
        "test.service");
    ExpectFirst("apdu", "6A88", "expected 9000");
}

TEST_F(TraceOf, ASessionThatLosesTheCard) {
    world.Device().Break("nfc_se_send_apdu", "NFC_ERROR_ALREADY_DEACTIVATED", 4);
    Run({});
    ExpectFirst("apdu", "10000002", "The card gave no answer");
}

TEST_F(TraceOf, ASessionWithAServerThatStaysSilent) {
    server = &world.StartKeyServer({"--misbehave", "delay=600000@2"});
    const auto client = world.StartNavoctl({"run", "--service-id", "demo.card"});
    ASSERT_TRUE(Eventually([this] { return server->Count("NEXTAPDU") == 1; }));
    ExpectFirst("message", "10100009", "stays silent");
}

TEST_F(TraceOf, AWrongLineIsTalkedAboutAsWhatItIs) {
    const World::Result result = world.Run({NAVO_TRACE_PROGRAM, "--format", "htlm", "device.jsonl"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.errors, testing::AllOf(HasSubstr("htlm"), Not(HasSubstr("no command"))));
}

TEST_F(TraceOf, ASessionThatGrowsIsServedToThisMachine) {
    const std::string log = world.Write("growing.log", "D/NavoAgent( 9): cmd: 67\n");
    const auto program = world.Start({NAVO_TRACE_PROGRAM, "--serve", log});
    constexpr char Line[] = "navo-trace serving http://";
    ASSERT_TRUE(Eventually([&] { return program->Output().find("/\n") != std::string::npos; }));
    const std::string output = program->Output();
    const std::string place = output.substr(sizeof Line - 1, output.rfind('/') - sizeof Line + 1);
    EXPECT_THAT(place, testing::StartsWith("127.0.0.1:"));
    EXPECT_THAT(Fetch(place, "/", place, "</html>"), HasSubstr("connect-src 'self'"));
    EXPECT_THAT(Fetch(place, "/story", place, "\n\n"), Not(HasSubstr("\"kind\":\"reply\"")));
    EXPECT_THAT(Fetch(place, "/", "elsewhere.example", "\r\n\r\n"), HasSubstr("403 Forbidden"));
    EXPECT_THAT(Fetch(place, "/etc/passwd", place, "\r\n\r\n"), HasSubstr("404 Not Found"));
    std::atomic<bool> hasHeard{false};
    std::thread listener([&] {
        hasHeard =
            Fetch(place, "/changes", place, "data: changed").find("data: changed") != std::string::npos;
    });
    std::size_t line = 0;
    EXPECT_TRUE(Eventually([&] {
        const std::string reply = "D/NavoAgent( 9): Job result: " + std::to_string(++line) + "\n";
        world.Write("growing.log", "D/NavoAgent( 9): cmd: 67\n" + reply);
        return hasHeard.load();
    }));
    EXPECT_THAT(Fetch(place, "/story", place, "nothing"), HasSubstr("\"kind\":\"reply\""));
    program->Signal(SIGTERM);
    EXPECT_TRUE(program->WaitForEnd().has_value());
    listener.join();
}

}  // namespace
