// SPDX-License-Identifier: Apache-2.0
// The unit as systemd's own tools read it; nothing runs.
#include <gmock/gmock.h>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/Files.h"

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

// As systemd-analyze takes it: ten times the level that it prints.
constexpr char MostExposure[] = "12";

class UnitFile : public testing::Test {
protected:
    void SetUp() override {
        if (!IsInstalled("systemd-analyze")) {
            GTEST_SKIP() << "systemd-analyze is not installed";
        }
    }

    ExitStatus Analyze(const std::vector<std::string>& arguments) {
        std::vector<std::string> command = {"systemd-analyze", "--no-pager"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        Process process(command, {folder.Path(), CleanEnvironment({"LC_ALL=C.UTF-8"}), "analyze"});
        const std::optional<ExitStatus> status = process.WaitForEnd();
        words = process.Output() + process.Errors();
        return status.value_or(-1);
    }

    TemporaryFolder folder;
    std::string unit = folder.Write(
        "navoagent.service", ShippedFile("navoagent.service.in", fs::path(NAVO_AGENT_PROGRAM).parent_path()));
    std::string words;
};

}  // namespace

TEST_F(UnitFile, ExposesNoMoreThanOnePointTwo) {
    if (Analyze({"--help"}) != 0 || words.find("--offline") == std::string::npos) {
        GTEST_SKIP() << "this systemd-analyze judges no unit that is not installed (--offline)";
    }
    EXPECT_EQ(Analyze({"security", "--offline=true", "--threshold", MostExposure, unit}), 0) << words;
    EXPECT_THAT(words, HasSubstr("Overall exposure level for navoagent.service"));
}

TEST_F(UnitFile, IsUnderstoodByTheSystemManager) {
    EXPECT_EQ(Analyze({"verify", "--man=no", unit}), 0) << words;
    EXPECT_EQ(words, "");
}

TEST_F(UnitFile, IsUnderstoodWithAllThatADeviceMayNeedBack) {
    folder.Write("navoagent.service.d/device.conf", DropInWithEverything());
    EXPECT_EQ(Analyze({"verify", "--man=no", unit}), 0) << words;
    EXPECT_EQ(words, "");
}
