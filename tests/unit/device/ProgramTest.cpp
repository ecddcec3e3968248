// SPDX-License-Identifier: Apache-2.0
// navo-device as its users start it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

using testing::ElementsAre;
using testing::StartsWith;

namespace {

Ended RunProgram(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), NAVO_DEVICE_PROGRAM);
    return RunToEnd(arguments);
}

}  // namespace

TEST(NavoDevice, FindsTheExampleInOrder) {
    const std::string example = NAVO_DEVICE_DIR "/navo-device.conf.example";
    const Ended ended = RunProgram({"check", example});
    EXPECT_EQ(ended.status, 0) << ended.errors;
    EXPECT_THAT(LinesOf(ended.output), ElementsAre(example + ": in order"));
    EXPECT_EQ(ended.errors, "");
}

TEST(NavoDevice, PrintsAllMistakesWithTheirLines) {
    const TemporaryFolder folder;
    const std::string file =
        folder.Write("device.conf", "[netwrok]\n\n[network]\ntype=wlan\n[sim 0]\nmcc=2\n").string();
    const Ended ended = RunProgram({"check", file});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(
        LinesOf(ended.output),
        ElementsAre(
            StartsWith(file + ":1: [netwrok]: "), StartsWith(file + ":4: [network] type: "),
            StartsWith(file + ":6: [sim 0] mcc: ")));
    EXPECT_EQ(ended.errors, "navo-device: 3 mistakes; a service on this device would fail at everything\n");
}

TEST(NavoDevice, WarnsOfFilesWithKeysThatOthersCanRead) {
    const TemporaryFolder folder;
    const std::string key = "000102030405060708090A0B0C0D0E0F";
    const std::string card = folder.Write("wallet.card", "").string();
    const std::string file =
        folder
            .Write(
                "device.conf", "[card]\nstate-file=wallet.card\nkeys=" + key + ";" + key + ";" + key + "\n")
            .string();
    const auto permit = [&](std::filesystem::perms permissions) {
        std::filesystem::permissions(card, permissions);
        std::filesystem::permissions(file, permissions);
        return RunProgram({"check", file}).errors;
    };
    EXPECT_EQ(
        permit(std::filesystem::perms{0644}),
        "navo-device: warning: " + card +
            " holds keys, and others can read it (mode 644); chmod 600 keeps them out\n" +
            "navo-device: warning: " + file +
            " holds keys, and others can read it (mode 644); chmod 600 keeps them out\n");
    EXPECT_EQ(permit(std::filesystem::perms{0600}), "");
    folder.Write("a.profile", "[card]\nkeys=" + key + "," + key + "," + key + "\n");
    folder.Write("device.conf", "[card]\nprofile=a.profile\n");
    EXPECT_EQ(permit(std::filesystem::perms{0644}), "")
        << "the keys of a profile, published with it, are no secret";
}

TEST(NavoDevice, SaysThatAFileCannotBeRead) {
    const Ended ended = RunProgram({"check", "/no/such/file"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.errors, StartsWith("navo-device: /no/such/file: "));
}

TEST(NavoDevice, EndsWithTwoForAWrongLine) {
    EXPECT_EQ(RunProgram({}).status, 2);
    EXPECT_EQ(RunProgram({"check"}).status, 2);
    const Ended ended = RunProgram({"chek", "x"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.errors, StartsWith("navo-device: there is no command 'chek'; did you mean 'check'?\n"));
}
