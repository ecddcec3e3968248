// SPDX-License-Identifier: Apache-2.0
// Requests of nobody, and a service whose descriptors run out.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <optional>

#include "tests/e2e/FaultRequests.h"
#include "tests/support/world/Script.h"

using Navo::Map;

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
        world.StartKeyServer({"--script", world.Write("script.json", FourCommands())});
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
        // At most one more: the connection to the server, which may be kept.
        EXPECT_TRUE(Eventually([&] { return World::HoldingsOf(service).descriptors <= descriptors + 1; }));
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
