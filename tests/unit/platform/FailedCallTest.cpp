// SPDX-License-Identifier: Apache-2.0
// Calls that fail and leave something behind all the same. The link options --wrap lead the service's calls
// here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net_connection.h>
#include <package_manager.h>
#include <pkgmgr-info.h>
#include <system_info.h>
#include <system_settings.h>
#include <telephony.h>

#include "common/Runtime.h"
#include "platform/tizen/TizenNetwork.h"
#include "tests/support/service/AllLines.h"
#include "tests/support/service/DeviceWorld.h"

namespace {

constexpr int Failure = -1;

// Nothing that may be released, and nothing that looks empty.
char leftover[] = "en_XX";

bool callsFail = false;

class FailedCall : public testing::Test {
protected:
    FailedCall() { callsFail = true; }
    ~FailedCall() override { callsFail = false; }

    DeviceWorld world;
};

// Fails with a text behind the pointer, unless the platform's own function is asked for.
template <typename Text, typename Real>
int FailWithText(Text* text, const Real& real) {
    if (!callsFail) {
        return real();
    }
    *text = leftover;
    return Failure;
}

}  // namespace

extern "C" {

int __real_system_settings_get_value_string(system_settings_key_e key, char** value);
int __wrap_system_settings_get_value_string(system_settings_key_e key, char** value);
int __real_system_info_get_platform_string(const char* key, char** value);
int __wrap_system_info_get_platform_string(const char* key, char** value);
int __real_telephony_network_get_mcc(telephony_h handle, char** mcc);
int __wrap_telephony_network_get_mcc(telephony_h handle, char** mcc);
int __real_telephony_network_get_roaming_status(telephony_h handle, bool* status);
int __wrap_telephony_network_get_roaming_status(telephony_h handle, bool* status);
int __real_package_manager_get_package_id_by_app_id(const char* application, char** package);
int __wrap_package_manager_get_package_id_by_app_id(const char* application, char** package);
int __real_pkgmgrinfo_pkginfo_get_version(pkgmgrinfo_pkginfo_h handle, char** version);
int __wrap_pkgmgrinfo_pkginfo_get_version(pkgmgrinfo_pkginfo_h handle, char** version);
int __real_pkgmgrinfo_pkginfo_get_cert_value(
    pkgmgrinfo_certinfo_h handle, pkgmgrinfo_cert_type type, const char** value);
int __wrap_pkgmgrinfo_pkginfo_get_cert_value(
    pkgmgrinfo_certinfo_h handle, pkgmgrinfo_cert_type type, const char** value);
int __real_connection_get_proxy(connection_h handle, connection_address_family_e family, char** proxy);
int __wrap_connection_get_proxy(connection_h handle, connection_address_family_e family, char** proxy);
int __real_connection_get_ethernet_state(connection_h handle, connection_ethernet_state_e* state);
int __wrap_connection_get_ethernet_state(connection_h handle, connection_ethernet_state_e* state);

int __wrap_system_settings_get_value_string(system_settings_key_e key, char** value) {
    return FailWithText(value, [&] { return __real_system_settings_get_value_string(key, value); });
}

int __wrap_system_info_get_platform_string(const char* key, char** value) {
    return FailWithText(value, [&] { return __real_system_info_get_platform_string(key, value); });
}

int __wrap_telephony_network_get_mcc(telephony_h handle, char** mcc) {
    return FailWithText(mcc, [&] { return __real_telephony_network_get_mcc(handle, mcc); });
}

int __wrap_telephony_network_get_roaming_status(telephony_h handle, bool* status) {
    if (!callsFail) {
        return __real_telephony_network_get_roaming_status(handle, status);
    }
    *status = true;
    return Failure;
}

int __wrap_package_manager_get_package_id_by_app_id(const char* application, char** package) {
    return FailWithText(
        package, [&] { return __real_package_manager_get_package_id_by_app_id(application, package); });
}

int __wrap_pkgmgrinfo_pkginfo_get_version(pkgmgrinfo_pkginfo_h handle, char** version) {
    return FailWithText(version, [&] { return __real_pkgmgrinfo_pkginfo_get_version(handle, version); });
}

int __wrap_pkgmgrinfo_pkginfo_get_cert_value(
    pkgmgrinfo_certinfo_h handle, pkgmgrinfo_cert_type type, const char** value) {
    return FailWithText(value, [&] { return __real_pkgmgrinfo_pkginfo_get_cert_value(handle, type, value); });
}

int __wrap_connection_get_proxy(connection_h handle, connection_address_family_e family, char** proxy) {
    return FailWithText(proxy, [&] { return __real_connection_get_proxy(handle, family, proxy); });
}

int __wrap_connection_get_ethernet_state(connection_h handle, connection_ethernet_state_e* state) {
    if (!callsFail) {
        return __real_connection_get_ethernet_state(handle, state);
    }
    *state = CONNECTION_ETHERNET_STATE_DEACTIVATED;
    return Failure;
}

}  // extern "C"

// A text that were released after all would end the test.
TEST_F(FailedCall, LeavesNoTextThatIsTakenOrReleased) {
    EXPECT_EQ(Na::GetCountryCode(), "");
    EXPECT_EQ(Na::GetDeviceName(), "");
    EXPECT_EQ(Na::GetModelName(), "");
    EXPECT_EQ(Na::GetMcc(0), "");
    EXPECT_EQ(Na::GetApplicationPackageId("com.example.platform.app"), "");
    EXPECT_EQ(Na::GetApplicationVersion("com.example.platform"), "");
}

TEST_F(FailedCall, LeavesNoRoaming) {
    EXPECT_FALSE(Na::IsRoaming(0));
}

TEST_F(FailedCall, LeavesNoCertificateToLookAt) {
    AllLines().clear();
    EXPECT_FALSE(Na::IsClientPrivileged("com.example.platform"));
    EXPECT_THAT(
        LinesOfSource("common/tizen/Runtime.cpp"),
        testing::ElementsAre("T IsClientPrivileged: Checking permission of com.example.platform"));
}

TEST_F(FailedCall, LeavesNoProxy) {
    world.Configure("[network]\ntype=wifi\n");
    Tizen::TizenNetwork network;
    ASSERT_TRUE(network.OpenConnection());
    EXPECT_EQ(network.GetProxyAddress(), "");
}

TEST_F(FailedCall, LeavesAStateOfTheEthernetThatIsShownAndNoMore) {
    world.Configure("[network]\ntype=ethernet\n");
    AllLines().clear();
    EXPECT_TRUE(Tizen::TizenNetwork().OpenConnection());
    EXPECT_THAT(
        LinesOfSource("platform/tizen/TizenNetwork.cpp"),
        testing::ElementsAre(
            "D OpenConnection: Setting up a network", "D OpenConnection: Ethernet connection",
            "T OpenConnection: Connection state: -1",
            "D OpenConnection: Bad connection state: 0; res -1: Operation not permitted",
            "D OpenConnection: Have Internet connection"));
}
