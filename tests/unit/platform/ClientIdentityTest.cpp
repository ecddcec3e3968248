// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <stdlib.h>

#include "common/Runtime.h"
#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

std::string WithFault(const std::string& function, int result) {
    return DeviceWorld::OrdinaryDevice() + "\n[fault " + function + "]\nresult=" + std::to_string(result) +
           "\n";
}

// Makes this process one of the package's for as long as it lives.
class OwnPackage {
public:
    explicit OwnPackage(const char* package) { setenv("NAVO_PACKAGE", package, 1); }
    ~OwnPackage() { unsetenv("NAVO_PACKAGE"); }
    OwnPackage(const OwnPackage&) = delete;
    OwnPackage& operator=(const OwnPackage&) = delete;
};

class ClientIdentity : public testing::Test {
protected:
    // Whatever happened, nothing of the platform's may be left.
    ~ClientIdentity() override { EXPECT_EQ(Device::OpenHandles(), 0U); }

    DeviceWorld world;
};

class Privilege : public ClientIdentity {};
class PackageId : public ClientIdentity {};
class PackageVersion : public ClientIdentity {};

TEST_F(Privilege, ComesWithPlatformVisibility) {
    EXPECT_TRUE(Na::IsClientPrivileged("com.example.platform"));
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(Privilege, DoesNotComeWithALesserVisibility) {
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.partner"));
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.public"));
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(Privilege, ComesWithNoFurtherBit) {
    std::string device = DeviceWorld::OrdinaryDevice();
    const std::string::size_type place = device.find("platform=");
    device.replace(place, 9, "1088=");  // platform and public together
    device += "\n";
    world.Configure(device);
    ASSERT_THAT(Device::ConfigurationMistakes(), IsEmpty());
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.platform"));
}

TEST_F(Privilege, DoesNotComeWithoutACertificate) {
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.unsigned"));
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(Privilege, DoesNotComeWithAnEmptyCertificate) {
    world.Configure("[package com.example.empty]\ndistributor-root=\n");
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.empty"));
    EXPECT_THAT(world.Log(), IsEmpty());
    EXPECT_EQ(Device::Calls("certsvc_instance_new"), 0U);
}

TEST_F(Privilege, DoesNotComeToAnUnknownPackage) {
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.unknown"));
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(StartsWith("D IsClientPrivileged: Error loading certificate: ")));
}

TEST_F(Privilege, DoesNotComeToNoPackage) {
    EXPECT_FALSE(Na::IsClientPrivileged(""));
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(StartsWith("D IsClientPrivileged: Error loading certificate: ")));
}

TEST_F(Privilege, IsRefusedWhenThereIsNoHandleForTheCertificates) {
    world.Configure(WithFault("pkgmgrinfo_pkginfo_create_certinfo", -1));
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.platform"));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(StartsWith("D IsClientPrivileged: pkgmgr_pkginfo_create_certinfo failed: ")));
    EXPECT_EQ(Device::Calls("pkgmgrinfo_pkginfo_destroy_certinfo"), 0U);
}

TEST_F(Privilege, IsRefusedWhenTheCertificatesCannotBeLoaded) {
    world.Configure(WithFault("pkgmgrinfo_pkginfo_load_certinfo", -13));
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.platform"));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D IsClientPrivileged: Error loading certificate: Permission denied"));
}

TEST_F(Privilege, IsRefusedWithoutAWordWhenTheCertificateCannotBeRead) {
    world.Configure(WithFault("pkgmgrinfo_pkginfo_get_cert_value", -1));
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.platform"));
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(Privilege, IsRefusedWhenTheCertificateServiceDoesNotStart) {
    world.Configure(WithFault("certsvc_instance_new", -12));
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.platform"));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D IsClientPrivileged: Error creating certsvc instance: Out of memory"));
    EXPECT_EQ(Device::Calls("certsvc_instance_free"), 0U);
}

// Zero is success elsewhere on the platform, and a failure here.
TEST_F(Privilege, IsRefusedWhenTheCertificateServiceAnswersZero) {
    for (const char* function :
         {"certsvc_instance_new", "certsvc_certificate_new_from_memory",
          "certsvc_certificate_get_visibility"}) {
        world.Configure(WithFault(function, 0));
        EXPECT_FALSE(Na::IsClientPrivileged("com.example.platform")) << function;
    }
}

TEST_F(Privilege, IsRefusedWithoutAWordWhenTheCertificateIsNone) {
    world.Configure(WithFault("certsvc_certificate_new_from_memory", -4));
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.platform"));
    EXPECT_THAT(world.Log(), IsEmpty());
    EXPECT_EQ(Device::Calls("certsvc_certificate_free"), 0U);
    EXPECT_EQ(Device::Calls("certsvc_instance_free"), 1U);
}

TEST_F(Privilege, IsRefusedWithoutAWordWhenTheVisibilityIsUnknown) {
    world.Configure(WithFault("certsvc_certificate_get_visibility", -7));
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.platform"));
    EXPECT_THAT(world.Log(), IsEmpty());
    EXPECT_EQ(Device::Calls("certsvc_certificate_free"), 1U);
    EXPECT_EQ(Device::Calls("certsvc_instance_free"), 1U);
    EXPECT_EQ(Device::Calls("pkgmgrinfo_pkginfo_destroy_certinfo"), 1U);
}

TEST_F(PackageId, IsThatOfTheApplicationsPackage) {
    EXPECT_EQ(Na::GetApplicationPackageId("com.example.platform.app"), "com.example.platform");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D GetApplicationPackageId: Package ID for com.example.platform.app: com.example.platform"));
}

TEST_F(PackageId, IsEmptyForAnUnknownApplication) {
    EXPECT_EQ(Na::GetApplicationPackageId("com.example.none"), "");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "E GetApplicationPackageId: Can't determine package ID for application "
                                "\"com.example.none\": -18153359",
                                "D GetApplicationPackageId: Package ID for com.example.none: "));
}

TEST_F(PackageId, IsTheServicesOwnForAnEmptyApplication) {
    const OwnPackage own("com.example.partner");
    EXPECT_EQ(Na::GetApplicationPackageId(""), "com.example.partner");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("D GetApplicationPackageId: Package ID for : com.example.partner"));
}

TEST_F(PackageId, OfTheServiceHasRoomForUpTo1023Characters) {
    const std::string longest(1023, 'p');
    {
        const OwnPackage own(longest.c_str());
        EXPECT_EQ(Na::GetApplicationPackageId(""), longest);
    }
    const OwnPackage own((longest + "p").c_str());
    EXPECT_EQ(Na::GetApplicationPackageId(""), "");
}

TEST_F(PackageId, IsEmptyWhenTheServiceBelongsToNone) {
    EXPECT_EQ(Na::GetApplicationPackageId(""), "");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "E GetApplicationPackageId: Can't determine own package ID: -1",
                                "D GetApplicationPackageId: Package ID for : "));
}

TEST_F(PackageVersion, IsThatOfThePackageWithTheApplicationsName) {
    EXPECT_EQ(Na::GetApplicationVersion("com.example.platform"), "1.2.3");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D GetApplicationVersion: Application \"com.example.platform\" version: 1.2.3"));
}

TEST_F(PackageVersion, IsEmptyForAnUnknownPackage) {
    EXPECT_EQ(Na::GetApplicationVersion("com.example.none"), "");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D GetApplicationVersion: Application \"com.example.none\" version: "));
}

TEST_F(PackageVersion, IsEmptyForAPackageWithoutOne) {
    EXPECT_EQ(Na::GetApplicationVersion("com.example.partner"), "");
    EXPECT_EQ(Device::Calls("pkgmgrinfo_pkginfo_destroy_pkginfo"), 1U);
}

TEST_F(PackageVersion, IsTheServicesOwnForAnEmptyApplication) {
    world.Configure(
        DeviceWorld::OrdinaryDevice() +
        "\n[package com.example.self]\nversion=7\napplications=com.example.self\n");
    const OwnPackage own("com.example.self");
    EXPECT_EQ(Na::GetApplicationVersion(""), "7");
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D GetApplicationVersion: Application \"com.example.self\" version: 7"));
}

TEST_F(PackageVersion, CannotBeHadWhenTheServiceBelongsToNoApplication) {
    EXPECT_EQ(Na::GetApplicationVersion(""), "");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "E GetApplicationVersion: Can't determine version for \"\"",
                                "D GetApplicationVersion: Application \"\" version: "));
}

}  // namespace
