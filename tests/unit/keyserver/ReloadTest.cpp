// SPDX-License-Identifier: Apache-2.0
// A server that follows its files while it runs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>

#include "tests/support/keyserver/Samples.h"
#include "tests/unit/keyserver/Client.h"
#include "tests/unit/keyserver/Program.h"

using testing::HasSubstr;

namespace {

class Reload : public testing::Test {
protected:
    // A script of one step with this command.
    std::string Script(const std::string& service, const std::string& command) const {
        return R"({"serviceId": ")" + service + R"(", "steps": [{"commands": [")" + command +
               R"("]}, {"commands": ["80CA9F7F00"]}]})";
    }

    void Write(const std::string& name, const std::string& text) const {
        EXPECT_NE(folder.Write("scripts/" + name, text), "");
    }

    // What a new session of a service is told.
    std::string Begin(const std::string& service) {
        HttpClient client(program->Url());
        return client.Post(Opening("S" + std::to_string(++sessions), service)).body;
    }

    void Start() {
        program.emplace(
            folder, std::vector<std::string>{"--http", "--scripts", (folder.Path() / "scripts").string()});
        EXPECT_NE(program->Url(), "");
    }

    bool EventuallySays(const std::string& text) const {
        return Eventually([&] { return program->Errors().find(text) != std::string::npos; });
    }

    TemporaryFolder folder;
    std::optional<Program> program;
    int sessions = 0;
};

}  // namespace

TEST_F(Reload, ServesAScriptThatIsWrittenWhileItRuns) {
    Write("first.json", Script("first", "00A40400"));
    Start();
    EXPECT_THAT(Begin("second"), HasSubstr("10300004"));
    Write("second.json", Script("second", "00A4040000"));
    ASSERT_TRUE(EventuallySays("serves second"));
    EXPECT_THAT(Begin("second"), HasSubstr("/0100A4040000"));
    EXPECT_THAT(Begin("first"), HasSubstr("/0100A40400"));
}

TEST_F(Reload, SaysAtItsStartWhatItServes) {
    Write("first.json", Script("first", "00A40400"));
    Start();
    EXPECT_TRUE(EventuallySays("serves first"));
}

TEST_F(Reload, ReadsAgainAtAHangUp) {
    Write("first.json", Script("first", "00A40400"));
    Start();
    ASSERT_TRUE(EventuallySays("serves first"));
    const std::size_t before = program->Errors().size();
    program->Signal(SIGHUP);
    EXPECT_TRUE(
        Eventually([&] { return program->Errors().find("serves first", before) != std::string::npos; }));
    EXPECT_EQ(program->End(SIGTERM).status, 0);
}

TEST_F(Reload, KeepsWhatItServesWhenAnEditIsWrong) {
    Write("first.json", Script("first", "00A40400"));
    Start();
    Write("first.json", "{\"serviceId\": \"first\",\n\"steps\": 1}");
    EXPECT_TRUE(EventuallySays("first.json:2: /steps: must be a list, not a number"));
    EXPECT_TRUE(EventuallySays("what was served before is served on"));
    EXPECT_THAT(Begin("first"), HasSubstr("/0100A40400"));
}

TEST_F(Reload, LetsASessionGoOnAsItBegan) {
    Write("first.json", Script("first", "00A40400"));
    Start();
    HttpClient client(program->Url());
    EXPECT_THAT(client.Post(Opening("A", "first")).body, HasSubstr("/0100A40400"));
    Write("first.json", R"({"serviceId": "other", "steps": [{"commands": ["00A4040000"]}]})");
    ASSERT_TRUE(EventuallySays("serves other"));
    EXPECT_THAT(Begin("first"), HasSubstr("10300004"));
    EXPECT_THAT(client.Post(Responding("A", "/019000")).body, HasSubstr("/0180CA9F7F00"));
}

// An editor that keeps a backup moves the file away and writes another; what it hides beside is no script.
TEST_F(Reload, FollowsEditorsThatPutAnotherFileInItsPlace) {
    Write("first.json", Script("first", "00A40400"));
    Start();
    const std::filesystem::path file = folder.Path() / "scripts/first.json";
    std::filesystem::create_symlink("someone@nowhere", folder.Path() / "scripts/.#first.json");
    std::filesystem::rename(file, file.string() + "~");
    std::ofstream(file) << Script("first", "00A4040000");
    EXPECT_TRUE(Eventually([&] { return Begin("first").find("/0100A4040000") != std::string::npos; }));
    EXPECT_THAT(program->Errors(), testing::Not(HasSubstr(".#first.json")));
}

TEST_F(Reload, NoLongerServesAScriptThatIsRemoved) {
    Write("first.json", Script("first", "00A40400"));
    Write("second.json", Script("second", "00A40400"));
    Start();
    std::filesystem::remove(folder.Path() / "scripts/second.json");
    EXPECT_TRUE(Eventually([&] { return Begin("second").find("10300004") != std::string::npos; }));
    EXPECT_THAT(Begin("first"), HasSubstr("/0100A40400"));
}

TEST_F(Reload, FollowsANamedFileWhateverItIsCalled) {
    Write("one.script", Script("first", "00A40400"));
    program.emplace(
        folder,
        std::vector<std::string>{"--http", "--script", (folder.Path() / "scripts/one.script").string()});
    EXPECT_NE(program->Url(), "");
    Write("one.script", Script("other", "00A40400"));
    EXPECT_TRUE(EventuallySays("serves other"));
}

TEST_F(Reload, OutlivesItsFolderAndReadsAnotherInItsPlace) {
    Write("first.json", Script("first", "00A40400"));
    Start();
    std::filesystem::rename(folder.Path() / "scripts", folder.Path() / "away");
    EXPECT_TRUE(EventuallySays("what was served before is served on"));
    EXPECT_THAT(Begin("first"), HasSubstr("/0100A40400"));
    Write("second.json", Script("second", "00A40400"));
    program->Signal(SIGHUP);
    EXPECT_TRUE(EventuallySays("serves second"));
    Write("third.json", Script("third", "00A40400"));
    EXPECT_TRUE(EventuallySays("serves third")) << "the other folder is watched";
}
