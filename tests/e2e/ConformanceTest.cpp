// SPDX-License-Identifier: Apache-2.0
// The conformance kit, over the desk's own service: every row holds there, and what is broken shows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/world/World.h"

using ::testing::HasSubstr;

namespace {

class Conformance : public ::testing::Test {
protected:
    // With a key server that the device trusts.
    World::Result Look(std::vector<std::string> arguments, const std::string& package = TestPackage) {
        const std::filesystem::path folder = certificates.Authority().parent_path();
        world.Device().TrustCertificatesOf(certificates.Authority());
        std::vector<std::string> command = {
            NAVO_CONFORMANCE_PROGRAM, "--bus", world.BusAddress(),   "--certificate",
            folder / "server.pem",    "--key", folder / "server.key"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const auto process = world.Start(command, package);
        const std::optional<ExitStatus> status = process->WaitForEnd(std::chrono::minutes(2));
        EXPECT_TRUE(status) << "the kit does not end";
        return {status.value_or(-1), process->Output(), process->Errors()};
    }

    World world;
    KeyServerProcess& certificates = world.StartUnknownKeyServer({});
};

TEST_F(Conformance, EveryRowHoldsOfTheDesksService) {
    const World::Result result = Look({});
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output, HasSubstr("\nholds    tls.untrusted "));
    EXPECT_THAT(result.output, HasSubstr(", 0 fail, "));
    // Where a test may not become somebody else, that row says so.
    for (const std::string& line : LinesOf(result.output)) {
        if (line.rfind("skipped", 0) == 0) {
            EXPECT_THAT(line, HasSubstr("callers.strangers"));
        }
    }
}

TEST_F(Conformance, WhatIsBrokenOnADeviceFailsWithWhatWasThere) {
    world.Device().Break("nfc_se_open_secure_element_internal", "NFC_ERROR_SECURITY_RESTRICTED");
    const World::Result result = Look({"--only", "command.cplc", "--only", "request.unknown"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("holds    request.unknown "));
    EXPECT_THAT(result.output, HasSubstr("FAILS    command.cplc "));
    EXPECT_THAT(result.output, HasSubstr("10400006_No permission to access eSE"));
    EXPECT_THAT(result.output, HasSubstr("1 hold, 1 fail, 0 could not be tried"));
}

TEST_F(Conformance, WhoIsNotPrivilegedLearnsWhichRowsTakeIt) {
    const World::Result result =
        Look({"--json", "--strict", "--only", "script.done"}, "com.example.stranger");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr(R"("outcome":"skipped","reason":"it takes a privileged package)"));
    EXPECT_THAT(result.output, HasSubstr(R"("skipped":1)"));
}

TEST_F(Conformance, TheServiceHasTheAddressInTheEndThatItIsToHave) {
    const World::Result result = Look({"--only", "script.done", "--restore", "https://kms.example.com"});
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_TRUE(world.LogHas("Changed to use new NAVO URL: https://kms.example.com"));
}

TEST(ConformanceWithoutBus, IsNoServiceToLookAt) {
    const Ended ended = RunToEnd({NAVO_CONFORMANCE_PROGRAM, "--bus", "unix:path=/no/such/bus"});
    EXPECT_EQ(ended.status, 3);
    EXPECT_THAT(ended.errors, HasSubstr("navo-conformance: "));
    EXPECT_EQ(ended.output, "");
}

}  // namespace
