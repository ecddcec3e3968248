// SPDX-License-Identifier: Apache-2.0
// What the platform's rooms tell of their work.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/ServerAddress.h"
#include "common/Runtime.h"
#include "platform/tizen/TizenNetwork.h"
#include "tests/support/service/AllLines.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/StoppedClock.h"

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

constexpr char Certificate[] = "T IsClientPrivileged: Cert: MII[A-Za-z0-9+/=]+";

class PlatformLines : public testing::Test {
protected:
    void Begin(const std::string& configuration) {
        world.Configure(configuration);
        AllLines().clear();
    }

    // Lines of a question for the privilege of the platform's own package on an ordinary device.
    std::vector<std::string> LinesOfPrivilege(const std::string& package, const std::string& fault = "") {
        Begin(DeviceWorld::OrdinaryDevice() + "\n" + fault);
        Na::IsClientPrivileged(package);
        return LinesOfSource("common/tizen/Runtime.cpp");
    }

    DeviceWorld world;
};

}  // namespace

TEST_F(PlatformLines, ShowTheReturnCodeInPlaceOfTheStateOfAnEthernet) {
    Begin("[network]\ntype=ethernet\nethernet-state=connected\n");
    Tizen::TizenNetwork().OpenConnection();
    EXPECT_THAT(
        LinesOfSource("platform/tizen/TizenNetwork.cpp"),
        ElementsAre(
            "D OpenConnection: Setting up a network", "D OpenConnection: Ethernet connection",
            "T OpenConnection: Connection state: 0", "D OpenConnection: Have Internet connection"));
    Begin("[network]\ntype=ethernet\n[fault connection_get_ethernet_state]\nresult=-38\n");
    Tizen::TizenNetwork().OpenConnection();
    EXPECT_EQ(
        LinesOfSource("platform/tizen/TizenNetwork.cpp").at(2), "T OpenConnection: Connection state: -38");
}

TEST_F(PlatformLines, ShowTheServerAddressThatIsStoredAndRead) {
    Begin("");
    Na::SetNavoAddress("https://kms.example");
    EXPECT_THAT(
        LinesOfSource("platform/tizen/Config.cpp"),
        ElementsAre(
            "T SetNavoAddress: Saving URL: https://kms.example to navo-url",
            "D SetNavoAddress: New URL is saved"));
    AllLines().clear();
    Na::GetNavoAddress();
    EXPECT_THAT(
        LinesOfSource("platform/tizen/Config.cpp"),
        ElementsAre("T GetNavoAddress: URL: https://kms.example"));
}

TEST_F(PlatformLines, ShowTheAddressThatCannotBeStored) {
    world.RemoveSettingsSchema();
    AllLines().clear();
    Na::SetNavoAddress("https://kms.example");
    EXPECT_THAT(
        LinesOfSource("platform/tizen/Config.cpp"),
        ElementsAre(
            "T SetNavoAddress: Saving URL: https://kms.example to navo-url",
            testing::StartsWith("E _init_gs: Error: "), "E SetNavoAddress: Error"));
}

TEST_F(PlatformLines, CallTheTimeInUtcLocal) {
    Begin("");
    const StoppedClock clock(1420167845, 0);
    Na::GetCurrentDateTime();
    EXPECT_THAT(
        LinesOfSource("common/tizen/Runtime.cpp"),
        ElementsAre("T GetCurrentDateTime: Local time: 150102030405"));
}

TEST_F(PlatformLines, FollowThePrivilegeOfAPackage) {
    EXPECT_THAT(
        LinesOfPrivilege("com.example.platform"),
        ElementsAre(
            "T IsClientPrivileged: Checking permission of com.example.platform", MatchesRegex(Certificate),
            "T IsClientPrivileged: found cert with platform visibility"));
    EXPECT_THAT(
        LinesOfPrivilege("com.example.partner"),
        ElementsAre(
            "T IsClientPrivileged: Checking permission of com.example.partner", MatchesRegex(Certificate)));
    EXPECT_THAT(
        LinesOfPrivilege("com.example.unsigned"),
        ElementsAre("T IsClientPrivileged: Checking permission of com.example.unsigned"));
}

TEST_F(PlatformLines, GiveTheCodeOfACertificateThatCannotBeUsed) {
    EXPECT_THAT(
        LinesOfPrivilege("com.example.platform", "[fault certsvc_certificate_new_from_memory]\nresult=-4\n"),
        ElementsAre(
            "T IsClientPrivileged: Checking permission of com.example.platform", MatchesRegex(Certificate),
            "T IsClientPrivileged: Can't create certificate from data: -4"));
    EXPECT_THAT(
        LinesOfPrivilege("com.example.platform", "[fault certsvc_certificate_get_visibility]\nresult=-7\n"),
        ElementsAre(
            "T IsClientPrivileged: Checking permission of com.example.platform", MatchesRegex(Certificate),
            "T IsClientPrivileged: Error obtaining certificate visibility: -7"));
}

TEST_F(PlatformLines, NameNoPackageWhoseCertificateCannotBeLoaded) {
    EXPECT_THAT(
        LinesOfPrivilege("com.example.unknown"),
        ElementsAre(testing::StartsWith("D IsClientPrivileged: Error loading certificate: ")));
}
