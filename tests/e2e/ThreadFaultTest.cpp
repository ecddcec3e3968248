// SPDX-License-Identifier: Apache-2.0
// A service that gets no further thread: a server's name is looked up in one.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/e2e/FaultRequests.h"
#include "tests/support/Eventually.h"
#include "tests/support/service/ResultTexts.h"

namespace fs = std::filesystem;

class ThreadFault : public ::testing::Test {
protected:
    void SetUp() override {
        if (NAVO_SANITIZED != 0) {
            GTEST_SKIP() << "the sanitizers must be loaded before all others";
        }
        world.DirectServiceTo("https://server.invalid");
        service = world.Start({"/usr/bin/env", "LD_PRELOAD=" NAVO_NO_THREADS, NAVO_AGENT_PROGRAM});
        ASSERT_TRUE(Eventually([&] { return world.ServiceProcess() == service->Pid(); }));
    }

    World world;
    std::unique_ptr<Process> service;
};

TEST_F(ThreadFault, HasOneReplyForEachRequestAndLeavesNothingOpen) {
    Navo::Session session(world.Options());
    const auto ask = [&](Command command) { return session.Call(RequestOf(command)).at("ReturnCode"); };
    const std::string unresolved = ask(Command::Script);
    EXPECT_NE(unresolved, ResultText::Done);
    const int descriptors = DescriptorsAtRest(service->Pid());
    const std::string refusals = world.Write("no-threads", "");
    for (const Command command : {Command::Script, Command::Eligibility}) {
        EXPECT_NE(ask(command), ResultText::Done);
        EXPECT_TRUE(world.ElementIsClosed());
    }
    EXPECT_NE(ask(Command::Cplc), "");
    EXPECT_GT(fs::file_size(refusals), 0U) << "no thread was asked for";
    fs::remove(refusals);
    EXPECT_EQ(ask(Command::Script), unresolved);
    EXPECT_TRUE(Eventually([&] { return World::HoldingsOf(service->Pid()).descriptors <= descriptors; }));
    EXPECT_TRUE(service->IsRunning());
}
