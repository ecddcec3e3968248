// SPDX-License-Identifier: Apache-2.0
#include "common/Runtime.h"

#include <gmock/gmock.h>

#include <ostream>

#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/StoppedClock.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Adds to the ordinary device that a function always gives `result`.
std::string WithFault(const std::string& function, int result) {
    return DeviceWorld::OrdinaryDevice() + "\n[fault " + function + "]\nresult=" + std::to_string(result) +
           "\n";
}

TEST(GetCurrentDateTime, GivesTwelveDigitsInUtc) {
    const DeviceWorld world;
    const StoppedClock clock(1420167845, 0);
    EXPECT_EQ(Na::GetCurrentDateTime(), "150102030405");
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(GetCurrentDateTime, TakesTheYearModuloOneHundred) {
    const StoppedClock clock(946684799, 0);
    EXPECT_EQ(Na::GetCurrentDateTime(), "991231235959");
    const StoppedClock later(946684800, 0);
    EXPECT_EQ(Na::GetCurrentDateTime(), "000101000000");
}

TEST(GetCurrentTimeMillis, DropsTheFractionOfTheSecond) {
    const DeviceWorld world;
    const StoppedClock clock(12, 900000);
    EXPECT_EQ(Na::GetCurrentTimeMillis(), 12000);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D GetCurrentTimeMillis: Current millis: 12000"));
}

TEST(GetCurrentTimeMillis, IsWideEnoughForTheDate) {
    const DeviceWorld world;
    const StoppedClock clock(1420167845, 999999);
    EXPECT_EQ(Na::GetCurrentTimeMillis(), 1420167845000);
}

TEST(GetCurrentTimeMillis, IsZeroWhenTheClockFails) {
    const DeviceWorld world;
    StoppedClock clock(12, 0);
    clock.Break();
    EXPECT_EQ(Na::GetCurrentTimeMillis(), 0);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D GetCurrentTimeMillis: Current millis: 0"));
}

// Every fact that is a text: how it is asked for, what it is on the ordinary device, the platform's function
// behind it and its line in the log.
struct TextFact {
    const char* name;
    std::string (*get)();
    const char* value;
    const char* platformFunction;
    const char* line;
};

void PrintTo(const TextFact& each, std::ostream* stream) {
    *stream << each.name;
}

const TextFact TextFacts[] = {
    {"SalesCode", Na::GetCscSalesCode, "TST", "vconf_get_str", "D GetCscSalesCode: Sales Code: "},
    {"Mnc", [] { return Na::GetMnc(0); }, "01", "telephony_network_get_mnc", "D GetMnc: MNC: "},
    {"Mcc", [] { return Na::GetMcc(0); }, "262", "telephony_network_get_mcc", "D GetMcc: MCC: "},
    {"Imei", [] { return Na::GetImei(0); }, "350000000000006", "telephony_modem_get_imei",
     "D GetImei: IMEI: "},
    {"CountryCode", Na::GetCountryCode, "GB", "system_settings_get_value_string",
     "D GetCountryCode: Country Code: "},
    {"ModelName", Na::GetModelName, "Test Wearable", "system_info_get_platform_string",
     "D GetModelName: Model Name: "},
    {"DeviceName", Na::GetDeviceName, "Wrist", "system_settings_get_value_string",
     "D GetDeviceName: Device Name: "},
    {"BuildVersion", Na::GetDeviceBuildVersion, "TESTBUILD1", "system_info_get_value_string",
     "D GetDeviceBuildVersion: Device PDA build version: "}};

class DeviceFact : public testing::TestWithParam<TextFact> {
protected:
    DeviceWorld world;
};

TEST_P(DeviceFact, IsTheDevices) {
    EXPECT_EQ(GetParam().get(), GetParam().value);
    EXPECT_THAT(world.LocatedLog(), ElementsAre(std::string(GetParam().line) + GetParam().value));
    EXPECT_EQ(Device::OpenHandles(), 0U);
}

TEST_P(DeviceFact, IsEmptyWhenThePlatformFails) {
    world.Configure(WithFault(GetParam().platformFunction, -1));
    EXPECT_EQ(GetParam().get(), "");
    EXPECT_THAT(world.LocatedLog(), ElementsAre(GetParam().line));
    EXPECT_GE(Device::Calls(GetParam().platformFunction), 1U);
    EXPECT_EQ(Device::OpenHandles(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Runtime, DeviceFact, testing::ValuesIn(TextFacts),
    [](const testing::TestParamInfo<TextFact>& fact) { return fact.param.name; });

TEST(GetCountryCode, IsWhatFollowsTheFirstUnderscore) {
    DeviceWorld world;
    world.Configure("[device]\nlocale=zh_Hant_TW.UTF-8\n");
    EXPECT_EQ(Na::GetCountryCode(), "Hant_TW.UTF-8");
}

TEST(GetCountryCode, IsEmptyForALocaleWithoutOne) {
    DeviceWorld world;
    world.Configure("[device]\nlocale=en\n");
    EXPECT_EQ(Na::GetCountryCode(), "");
    world.Configure("[device]\nlocale=en_\n");
    EXPECT_EQ(Na::GetCountryCode(), "");
}

TEST(SimFacts, AreEmptyForASlotThatTheDeviceLacks) {
    const DeviceWorld world;
    EXPECT_EQ(Na::GetMnc(1), "");
    EXPECT_EQ(Na::GetMcc(1), "");
    EXPECT_EQ(Na::GetImei(1), "");
    EXPECT_FALSE(Na::IsRoaming(1));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D GetMnc: MNC: ", "D GetMcc: MCC: ", "D GetImei: IMEI: ", "D IsRoaming: Roaming: false"));
    EXPECT_EQ(Device::Calls("telephony_init"), 4U);
    EXPECT_EQ(Device::Calls("telephony_deinit"), 4U);
}

TEST(SimFacts, AreEmptyOnADeviceWithoutASim) {
    DeviceWorld world;
    world.Configure("[device]\nmodel-name=No SIM\n");
    EXPECT_EQ(Na::GetMnc(0), "");
    EXPECT_EQ(Na::GetMcc(0), "");
    EXPECT_EQ(Na::GetImei(0), "");
    EXPECT_FALSE(Na::IsRoaming(0));
}

TEST(SimFacts, AreThoseOfTheSlotThatIsAskedFor) {
    DeviceWorld world;
    world.Configure(
        "[sim 0]\nmcc=262\nmnc=01\nroaming=true\n[sim 1]\nmcc=310\nmnc=260\nimei=350000000000014\n");
    EXPECT_EQ(Na::GetMcc(1), "310");
    EXPECT_EQ(Na::GetMnc(1), "260");
    EXPECT_EQ(Na::GetImei(1), "350000000000014");
    EXPECT_EQ(Na::GetImei(0), "");
    EXPECT_TRUE(Na::IsRoaming(0));
    EXPECT_FALSE(Na::IsRoaming(1));
}

TEST(SimFacts, AreEmptyAndNothingIsReleasedWhenTelephonyDoesNotStart) {
    DeviceWorld world;
    world.Configure(WithFault("telephony_init", -1));
    EXPECT_EQ(Na::GetMcc(0), "");
    EXPECT_FALSE(Na::IsRoaming(0));
    EXPECT_EQ(Device::Calls("telephony_deinit"), 0U);
}

TEST(IsRoaming, IsTheNetworksFlag) {
    DeviceWorld world;
    world.Configure("[sim 0]\nmcc=262\nmnc=01\nroaming=true\n");
    EXPECT_TRUE(Na::IsRoaming(0));
    world.Configure("[sim 0]\nmcc=262\nmnc=01\n");
    EXPECT_FALSE(Na::IsRoaming(0));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D IsRoaming: Roaming: true", "D IsRoaming: Roaming: false"));
}

TEST(IsRoaming, IsFalseWhenThePlatformFails) {
    DeviceWorld world;
    world.Configure(
        "[sim 0]\nmcc=262\nmnc=01\nroaming=true\n[fault telephony_network_get_roaming_status]\nresult=-1\n");
    EXPECT_FALSE(Na::IsRoaming(0));
    EXPECT_EQ(Device::OpenHandles(), 0U);
}

TEST(IsDataServiceAvailable, IsNeverSo) {
    const DeviceWorld world;
    EXPECT_FALSE(Na::IsDataServiceAvailable());
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D IsDataServiceAvailable: Unimplemented"));
}

}  // namespace
