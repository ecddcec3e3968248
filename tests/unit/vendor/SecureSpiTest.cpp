// SPDX-License-Identifier: Apache-2.0
// The stand-in for the secure-SPI library, called as the service calls it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "common/Locations.h"
#include "device/VirtualDevice.h"
#include "device/vendor/CcmScript.h"
#include "tests/unit/vendor/LibraryJobs.h"
#include "tests/unit/vendor/LoadedLibrary.h"

namespace {

using Vendor::Bytes;

constexpr int Success = 1;
constexpr int Failure = 0;

class SecureSpi : public testing::Test {
protected:
    SecureSpi() {
        world.InstallInHouseLibraries();
        library = std::make_unique<LoadedLibrary>(Locations::SecureSpiLibrary);
    }

    int Open() { return library->Find<int()>("openSecureSpi")(); }
    int Close() { return library->Find<int()>("closeSecureSpi")(); }

    // Converts the script in `buffer`; `length` is then the library's answer.
    int Convert() {
        length = static_cast<std::int32_t>(buffer.size());
        buffer.reserve(1);  // an address, also for no script
        return library->Find<int(unsigned char*, std::int32_t*)>("handleCCM")(buffer.data(), &length);
    }

    DeviceWorld world;
    std::unique_ptr<LoadedLibrary> library;
    Bytes buffer;
    std::int32_t length = 0;
};

}  // namespace

TEST_F(SecureSpi, OpensAndClosesItsChannelOnce) {
    EXPECT_EQ(Close(), Failure);
    EXPECT_EQ(Open(), Success);
    EXPECT_EQ(Open(), Failure);
    EXPECT_EQ(Close(), Success);
    EXPECT_EQ(Close(), Failure);
    EXPECT_EQ(Open(), Success);
}

TEST_F(SecureSpi, ForgetsItsChannelWhenItIsUnloaded) {
    EXPECT_EQ(Open(), Success);
    library.reset();
    EXPECT_FALSE(IsLoaded(SecureSpiName));
    library = std::make_unique<LoadedLibrary>(Locations::SecureSpiLibrary);
    EXPECT_EQ(Open(), Success);
}

TEST_F(SecureSpi, ConvertsAScriptInPlace) {
    const Bytes list = Vendor::PackApdus({{0x00, 0xA4, 0x04, 0x00}, {0x80, 0xCA, 0x9F, 0x7F, 0x00}});
    buffer = Vendor::MakeScript(list);
    Open();
    EXPECT_EQ(Convert(), 0);
    ASSERT_EQ(length, static_cast<std::int32_t>(list.size()));
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + length), list);
    EXPECT_EQ(Bytes(buffer.begin() + length, buffer.end()), (Bytes{0, 0}));
}

TEST_F(SecureSpi, ConvertsAnEmptyScriptIntoNothing) {
    Open();
    EXPECT_EQ(Convert(), 0);
    EXPECT_EQ(length, 0);
}

TEST_F(SecureSpi, ConvertsNothingWhileItsChannelIsClosed) {
    buffer = Vendor::MakeScript({0x00, 0x01, 0x80});
    EXPECT_NE(Convert(), 0);
}

TEST_F(SecureSpi, RefusesWhatIsNoScript) {
    Open();
    buffer = {0x01, 0x02, 0x03};
    EXPECT_NE(Convert(), 0);
    EXPECT_EQ(buffer, (Bytes{0x01, 0x02, 0x03}));
    const auto convert = library->Find<int(unsigned char*, std::int32_t*)>("handleCCM");
    length = -1;
    EXPECT_NE(convert(buffer.data(), &length), 0);
    length = 92161;
    EXPECT_NE(convert(buffer.data(), &length), 0);
    length = 3;
    EXPECT_NE(convert(nullptr, &length), 0);
    EXPECT_NE(convert(buffer.data(), nullptr), 0);
}

TEST_F(SecureSpi, ReportsTheLengthThatTheConfigurationSays) {
    buffer = Vendor::MakeScript({0x00, 0x01, 0x80});
    Open();
    for (const std::int32_t said : {0, -1, 1000000, 2}) {
        world.Configure("[secure-spi]\nconverted-length=" + std::to_string(said) + "\n");
        buffer = Vendor::MakeScript({0x00, 0x01, 0x80});
        EXPECT_EQ(Convert(), 0);
        EXPECT_EQ(length, said);
    }
}

TEST_F(SecureSpi, FailsWhereTheDeviceHasAFault) {
    world.Configure(
        "[fault openSecureSpi]\nresult=7\ntimes=1\n[fault handleCCM]\nresult=-3\nfrom=2\n"
        "[fault closeSecureSpi]\nresult=0\n");
    EXPECT_EQ(Open(), 7);
    EXPECT_EQ(Open(), Success);
    EXPECT_EQ(Convert(), 0);
    EXPECT_EQ(Convert(), -3);
    EXPECT_EQ(Close(), 0);
    EXPECT_EQ(Device::Calls("openSecureSpi"), 2U);
    EXPECT_EQ(Device::Calls("handleCCM"), 2U);
    EXPECT_EQ(Device::Calls("closeSecureSpi"), 1U);
}

TEST_F(SecureSpi, FailsOnADeviceWhoseConfigurationCannotBeFollowed) {
    world.Configure("[no-such-section]\n");
    EXPECT_EQ(Open(), Failure);
    EXPECT_NE(Convert(), 0);
    EXPECT_EQ(Close(), Failure);
}
