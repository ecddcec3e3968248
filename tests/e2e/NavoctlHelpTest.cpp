// SPDX-License-Identifier: Apache-2.0
// What navoctl says of the real service when something is wrong, and when nothing is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/world/World.h"

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace {

class NavoctlHelp : public ::testing::Test {
protected:
    // The last line of a program's errors.
    static std::string HintOf(const World::Result& result) {
        const std::vector<std::string> lines = LinesOf(result.errors);
        return lines.empty() ? "" : lines.back();
    }

    World world;
};

TEST_F(NavoctlHelp, NamesTheLogOfTheServiceAfterAFailure) {
    world.Device().RemoveSecureElement();
    const std::string hint = HintOf(world.Navoctl({"cplc"}));
    EXPECT_THAT(hint, AllOf(HasSubstr("navoctl: hint: "), HasSubstr("log: " + world.Folder().string())));
}

TEST_F(NavoctlHelp, NamesAddressAndHttpStatusOfAJobThatTheServerDrove) {
    KeyServerProcess& server = world.StartKeyServer({"--misbehave", "status=404"});
    const std::string hint = HintOf(world.Navoctl({"run", "--service-id", "demo.card"}));
    EXPECT_THAT(hint, HasSubstr("server: " + server.Address()));
    EXPECT_THAT(hint, HasSubstr("it answered with HTTP status 404"));
}

TEST_F(NavoctlHelp, SeesInTheLogThatTheCertificateIsNotTrusted) {
    KeyServerProcess& server = world.StartUnknownKeyServer({});
    world.DirectServiceTo(server.Address());
    const World::Result result = world.Navoctl({"run", "--service-id", "demo.card"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(HintOf(result), HasSubstr("the log says that the server's certificate is not trusted"));
}

TEST_F(NavoctlHelp, FindsNothingWrongWhereAllIsWell) {
    KeyServerProcess& server = world.StartKeyServer();
    const World::Result result = world.Navoctl({"doctor"});
    EXPECT_EQ(result.status, 0) << result.output << result.errors;
    EXPECT_THAT(result.output, Not(ContainsRegex("(bad|unknown) ")));
    EXPECT_THAT(result.output, ContainsRegex("server +good +" + server.Address() + " is reached"));
    EXPECT_THAT(result.output, HasSubstr("valid until"));
    EXPECT_THAT(result.output, HasSubstr("the software card answers"));
}

TEST_F(NavoctlHelp, FindsACertificateThatIsNotTrusted) {
    KeyServerProcess& server = world.StartUnknownKeyServer({});
    world.DirectServiceTo(server.Address());
    const World::Result result = world.Navoctl({"doctor"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, ContainsRegex("server +bad +" + server.Address()));
    EXPECT_THAT(result.output, HasSubstr("-> Let the certificate be for the host's name"));
}

TEST_F(NavoctlHelp, FindsAServerThatIsNotThere) {
    std::string address;
    {
        KeyServerProcess& server = world.StartKeyServer();
        address = server.Address();
        server.Stop();
    }
    const World::Result result = world.Navoctl({"doctor"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, ContainsRegex("server +bad +" + address));
    EXPECT_THAT(result.output, HasSubstr("-> Start the server"));
}

TEST_F(NavoctlHelp, FindsAMissingCardAndAMissingSchema) {
    world.Device().RemoveSecureElement();
    std::filesystem::remove_all(world.Folder() / "usr/apps/com.orvenco.navoa");
    const World::Result result = world.Navoctl({"doctor"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, ContainsRegex("schema +bad +there is no"));
    EXPECT_THAT(result.output, ContainsRegex("card +bad +"));
}

}  // namespace
