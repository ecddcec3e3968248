// SPDX-License-Identifier: Apache-2.0
// The program as its users start it.
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>

#include "keyserver/service/Json.h"
#include "tests/support/keyserver/Samples.h"
#include "tests/unit/keyserver/Client.h"
#include "tests/unit/keyserver/Program.h"

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

class ProgramTest : public testing::Test {
protected:
    Ended Run(const std::vector<std::string>& arguments) { return Program(folder, arguments).Wait(); }
    std::string In(const std::string& name) const { return (folder.Path() / name).string(); }

    TemporaryFolder folder;
    std::string script = folder.Write("two.json", TwoSteps).string();
};

}  // namespace

TEST_F(ProgramTest, ServesAScriptOverHttpsAndGivesAnAccountInTheEnd) {
    Program program(
        folder, {"--make-certificate", In("certificates"), "--script", script, "--record", In("record"),
                 "--summary-file", In("summary"), "--port-file", In("port")});
    const std::string url = program.Url();
    {
        HttpClient client(url, In("certificates/ca.pem"));
        EXPECT_EQ(client.Post(Opening("A")).body, FirstAnswer);
        EXPECT_EQ(client.Post(Responding("A", "/019000")).body, SecondAnswer);
        EXPECT_EQ(client.Post(Responding("A", "/019000/019000")).body, FinalAnswer);
    }
    EXPECT_TRUE(Eventually([this] { return fs::exists(In("port")); }));
    EXPECT_EQ("https://127.0.0.1:" + ReadFile(In("port")), url + "\n");
    const Ended ended = program.End(SIGTERM);
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(
        ended.errors, HasSubstr("navo-keyserver: 1 session, 3 messages, 1 connection, 1 TLS handshake\n"));
    const KeyServer::JsonValue summary = KeyServer::ParseJson(ReadFile(In("summary")));
    EXPECT_EQ(summary.Find("handshakes")->number, 1);
    EXPECT_EQ(summary.Find("requests")->number, 3);
    const std::string record = ReadFile(In("record"));
    EXPECT_EQ(std::count(record.begin(), record.end(), '\n'), 3);
}

TEST_F(ProgramTest, ServesPlainHttpQuietly) {
    Program program(folder, {"--http", "-q", "--scripts", SCRIPT_FOLDER});
    HttpClient client(program.Url());
    EXPECT_THAT(client.Post(Opening("A", "demo.card")).body, HasSubstr("/0100A4040000/01"));
    const Ended ended = program.End(SIGINT);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.errors, "navo-keyserver: 1 session, 1 message, 1 connection, 0 TLS handshakes\n");
}

TEST_F(ProgramTest, ServesTheShippedCatalogueBesideScripts) {
    Program program(
        folder, {"--http", "--catalogue", CATALOGUE_FOLDER "/wallet.json", "--scripts", SCRIPT_FOLDER});
    HttpClient client(program.Url());
    EXPECT_THAT(client.Post(Opening("A", "demo.wallet")).body, HasSubstr("/0100A4040000/018050000008"));
    EXPECT_THAT(client.Post(Opening("B", "demo.card")).body, HasSubstr("/0100A4040000/01"));
    EXPECT_EQ(program.End(SIGINT).status, 0);
}

TEST_F(ProgramTest, ExitsWith2ForAWrongCatalogueAndNamesThePlace) {
    const std::string file = folder.Write("catalogue.json", R"({"cardKeys": [{"version": 1}]})");
    const Ended ended = Run({"--http", "--catalogue", file});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.errors, HasSubstr(file + ":1: /cardKeys/0/version: must be a text, not a number"));
}

TEST_F(ProgramTest, LogsMessagesOnStandardError) {
    Program program(folder, {"--http", "--script", script});
    HttpClient client(program.Url());
    client.Post(Opening("A"));
    client.Post(Responding("A", "/016A82"));
    const Ended ended = program.End(SIGTERM);
    EXPECT_THAT(ended.errors, HasSubstr("[A] <- INITIALIZEAPDU for two.steps"));
    EXPECT_THAT(ended.errors, HasSubstr("00A4040000 => 6A82  REFUSED, expected 9000 or 61xx"));
    EXPECT_THAT(ended.errors, HasSubstr("-> 90202001 status word 6A82"));
}

TEST_F(ProgramTest, MisbehavesToOrder) {
    Program program(
        folder, {"--http", "--eligibility", "10500006,00000001", "--misbehave", "status=502@2x1"});
    HttpClient client(program.Url());
    EXPECT_THAT(client.Post(Asking()).body, HasSubstr("10500006"));
    EXPECT_EQ(client.Post(Asking()).status, 502);
    EXPECT_THAT(client.Post(Asking()).body, HasSubstr("10500006"));
}

TEST_F(ProgramTest, ServesWithAGivenCertificate) {
    EXPECT_EQ(Run({"--make-certificate", In("made"), "--certificate-only"}).status, 0);
    Program program(
        folder, {"--certificate", In("made/server.pem"), "--key", In("made/server.key"), "--script", script});
    EXPECT_EQ(HttpClient(program.Url(), In("made/ca.pem")).Post(Opening("A")).body, FirstAnswer);
}

TEST_F(ProgramTest, HelpsAndTellsItsVersion) {
    const Ended help = Run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* word : {"--misbehave", "--make-certificate", "--port-file", "Exit status"}) {
        EXPECT_THAT(help.output, HasSubstr(word));
    }
    EXPECT_THAT(Run({"--version"}).output, HasSubstr("navo-keyserver "));
}

TEST_F(ProgramTest, ExitsWith2ForAWrongCommandLine) {
    EXPECT_EQ(Run({"--sulk"}).status, 2);
    EXPECT_EQ(Run({"--http"}).status, 2);
    EXPECT_EQ(Run({"--script", script}).status, 2) << "HTTPS without a certificate";
    EXPECT_EQ(Run({"--http", "--https", "--script", script}).status, 2);
    EXPECT_EQ(Run({"--http", "--script", script, "--port", "65536"}).status, 2);
    EXPECT_EQ(Run({"--http", "--script", script, "--certificate-days", "3"}).status, 2);
    const Ended fault = Run({"--http", "--script", script, "--misbehave", "sulk"});
    EXPECT_EQ(fault.status, 2);
    EXPECT_THAT(fault.errors, HasSubstr("there is no misbehaviour \"sulk\""));
    EXPECT_EQ(Run({"--http", "--eligibility", "1"}).status, 2);
}

TEST_F(ProgramTest, RefusesToServePlainHttpBeyondThisMachine) {
    for (const char* address :
         {"0.0.0.0", "::", "192.0.2.1", "::ffff:192.0.2.1", "2001:db8::1", "host.example"}) {
        const Ended ended = Run({"--http", "--script", script, "--listen", address});
        EXPECT_EQ(ended.status, 2) << address;
        EXPECT_THAT(ended.errors, HasSubstr("--plain-for-anybody")) << address;
        EXPECT_EQ(ended.output, "");
    }
}

TEST_F(ProgramTest, ServesPlainHttpOnAnyAddressOfThisMachine) {
    for (const char* address : {"127.0.0.1", "127.0.0.2", "localhost"}) {
        const TemporaryFolder own;
        Program program(own, {"--http", "--script", script, "--listen", address});
        EXPECT_THAT(program.Url(), HasSubstr(std::string("http://") + address)) << address;
        EXPECT_EQ(program.End(SIGTERM).status, 0);
    }
}

TEST_F(ProgramTest, ServesBeyondThisMachineWithACertificateOrWhenToldTo) {
    for (const std::vector<std::string>& how :
         {std::vector<std::string>{"--make-certificate", In("made")}, {"--http", "--plain-for-anybody"}}) {
        std::vector<std::string> arguments = how;
        arguments.insert(arguments.end(), {"--script", script, "--listen", "0.0.0.0"});
        const TemporaryFolder own;
        Program program(own, arguments);
        EXPECT_THAT(program.Url(), HasSubstr("://0.0.0.0:"));
        EXPECT_EQ(program.End(SIGTERM).status, 0);
    }
}

TEST_F(ProgramTest, ExitsWith2ForAWrongScriptAndNamesThePlace) {
    const std::string wrong =
        folder.Write("wrong.json", R"({"serviceId":"a","steps":[{"commands":["00"]}]})").string();
    const Ended ended = Run({"--http", "--script", wrong});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.errors, HasSubstr(wrong + ":1: /steps/0/commands/0: "));
    EXPECT_EQ(Run({"--http", "--script", In("absent.json")}).status, 2);
}

TEST_F(ProgramTest, ChecksWhatItWouldServe) {
    const Ended good = Run({"--check", "--script", script, "--catalogue", CATALOGUE_FOLDER "/wallet.json"});
    EXPECT_EQ(good.status, 0) << good.errors;
    EXPECT_EQ(good.output, "serves two.steps\nserves demo.wallet: demo wallet\n");
    EXPECT_EQ(Run({"--check"}).status, 2) << "nothing to check";
}

TEST_F(ProgramTest, ChecksAllFilesAndPrintsAllMistakes) {
    const std::string wrong =
        folder.Write("wrong.json", "{\"serviceId\":\"a\",\n\"steps\":[{\"commands\":[\"00\",\n\"0\"]}]}")
            .string();
    const std::string other = folder.Write("other.json", R"({"cardKeys": [{"version": 1}]})").string();
    const Ended ended = Run({"--check", "--script", wrong, "--catalogue", other});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.output, HasSubstr(wrong + ":2: /steps/0/commands/0: "));
    EXPECT_THAT(ended.output, HasSubstr(wrong + ":3: /steps/0/commands/1: "));
    EXPECT_THAT(ended.output, HasSubstr(other + ":1: /cardKeys/0/version: "));
    EXPECT_EQ(ended.errors, "navo-keyserver: 3 mistakes\n");
}

TEST_F(ProgramTest, BeginsItsComplaintsWithItsNameAndKnowsWhatWasMeant) {
    const Ended ended = Run({"--catalouge", "x"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(
        ended.errors, testing::StartsWith(
                          "navo-keyserver: there is no option '--catalouge'; did you mean '--catalogue'?\n"));
    EXPECT_THAT(Run({"--http"}).errors, testing::StartsWith("navo-keyserver: there is nothing to serve"));
}

TEST_F(ProgramTest, MasksSecretsUnlessItIsToldNotTo) {
    const std::string personal = folder.Write("personal.json", R"({"serviceId": "s", "steps": [
        {"commands": ["80E2900003AABBCC"]}]})");
    for (const char* mask : {"secrets", "none"}) {
        Program program(folder, {"--http", "--script", personal, "--mask", mask});
        {
            HttpClient client(program.Url());
            EXPECT_THAT(client.Post(Opening("A", "s")).body, HasSubstr("/0180E2900003AABBCC"));
            client.Post(Responding("A", "/019000"));
        }
        const bool isShown = program.End(SIGTERM).errors.find("80E2900003AABBCC") != std::string::npos;
        EXPECT_EQ(isShown, mask == std::string("none"));
    }
    EXPECT_EQ(Run({"--http", "--script", script, "--mask", "some"}).status, 2);
}

TEST_F(ProgramTest, WarnsOfFilesWithKeysThatOthersCanRead) {
    const fs::path file = folder.Write("catalogue.json", ReadFile(CATALOGUE_FOLDER "/wallet.json"));
    fs::copy(CATALOGUE_FOLDER "/wallet.loadfile", folder.Path());
    const auto errors = [&](fs::perms permissions) {
        fs::permissions(file, permissions);
        Program program(folder, {"--http", "-q", "--catalogue", file.string()});
        EXPECT_NE(program.Url(), "");
        return program.End(SIGTERM).errors;
    };
    EXPECT_THAT(
        errors(fs::perms{0640}),
        HasSubstr("warning: " + file.string() + " holds keys, and others can read it (mode 640)"));
    EXPECT_THAT(errors(fs::perms{0600}), testing::Not(HasSubstr("warning")));
}

TEST_F(ProgramTest, ExitsWith1WhenItCannotListen) {
    Program first(folder, {"--http", "--script", script});
    const std::string url = first.Url();
    const TemporaryFolder other;
    const Ended ended =
        Program(other, {"--http", "--script", script, "--port", url.substr(url.rfind(':') + 1)}).Wait();
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, HasSubstr("cannot listen on 127.0.0.1"));
    EXPECT_EQ(Run({"--certificate", "/nowhere", "--key", "/nowhere", "--script", script}).status, 1);
    EXPECT_EQ(Run({"--http", "--script", script, "--record", "/nowhere/record"}).status, 1);
}
