// SPDX-License-Identifier: Apache-2.0
// One provisioning on every back-end of the secure element, and the manual's examples of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/ReaderWorld.h"
#include "tests/support/world/Provisioning.h"

namespace {

using BackEnds = ReaderWorld;

TEST_F(BackEnds, RunTheSameProvisioningWithTheSameResponses) {
    const std::string recording = world.Folder() / "software.jsonl";
    world.Device().SetCard({{"back-end", "software"}, {"record", recording}});
    const ProvisioningOutcome software = RunProvisioning(world);
    EXPECT_EQ(software.returnCode, Done) << software.remark;
    EXPECT_GE(software.exchanges.size(), 5U);

    const std::string readersRecording = world.Folder() / "reader.jsonl";
    world.Device().SetCard({{"back-end", "pcsc"}, {"record", readersRecording}});
    {
        const CardInReader card(*service);
        const ProvisioningOutcome reader = RunProvisioning(world);
        EXPECT_EQ(reader.returnCode, Done) << reader.remark;
        EXPECT_EQ(reader.exchanges, software.exchanges);
        EXPECT_GT(card.Commands(), software.exchanges.size());
    }

    for (const std::string& file : {recording, readersRecording}) {
        world.Device().SetCard({{"back-end", "replay"}, {"recording", file}});
        const ProvisioningOutcome replay = RunProvisioning(world);
        EXPECT_EQ(replay.returnCode, Done) << replay.remark;
        EXPECT_EQ(replay.exchanges, software.exchanges);
    }
    EXPECT_FALSE(world.LogHas("not asked for"));
}

TEST_F(BackEnds, DoNotReplayAProvisioningWithAnotherHostChallenge) {
    const std::string recording = world.Folder() / "software.jsonl";
    world.Device().SetCard({{"record", recording}});
    EXPECT_EQ(RunProvisioning(world).returnCode, Done);
    world.Device().SetCard({{"back-end", "replay"}, {"recording", recording}});
    ProvisioningOptions options;
    options.hostChallenge = "FFFFFFFFFFFFFFFF";
    EXPECT_NE(RunProvisioning(world, options).returnCode, Done);
    EXPECT_TRUE(world.LogHas("the command differs: recorded 8050"));
}

// The keys of each of the manual's examples that chooses a back-end, in the manual's order.
std::vector<std::map<std::string, std::string>> ExamplesOfBackEnds() {
    std::vector<std::map<std::string, std::string>> examples;
    bool inside = false;
    for (const std::string& line : LinesOf(TextOf(NAVO_DOCS_DIR "/virtual-device.md"))) {
        const std::size_t equals = line.find('=');
        if (line.rfind("```", 0) == 0) {
            inside = line == "```ini";
            if (!inside && !examples.empty() && examples.back().count("back-end") == 0) {
                examples.pop_back();
            } else if (inside) {
                examples.emplace_back();
            }
        } else if (inside && line.front() != '#' && equals != std::string::npos) {
            examples.back()[line.substr(0, equals)] = line.substr(equals + 1);
        }
    }
    return examples;
}

TEST_F(BackEnds, WorkAsTheManualsExamplesSay) {
    const CardInReader card(*service);
    std::vector<std::string> names;
    for (const auto& example : ExamplesOfBackEnds()) {
        names.push_back(example.at("back-end"));
        world.Device().SetCard(example);
        EXPECT_EQ(AskCplc(), PlainCplc()) << names.back();
    }
    EXPECT_THAT(names, testing::ElementsAre("software", "pcsc", "replay"));
}

}  // namespace
