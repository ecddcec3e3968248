// SPDX-License-Identifier: Apache-2.0
// What a device's configuration says about the in-house libraries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device/configuration/Configuration.h"

namespace {

using Device::Configuration;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

Configuration Read(const std::string& text) {
    return Device::ReadConfiguration("/device/navo-device.conf", text);
}

std::vector<std::string> Problems(const std::string& text) {
    const Configuration configuration = Read(text);
    std::vector<std::string> problems;
    for (const Device::Mistake& mistake : configuration.mistakes) {
        problems.push_back(Describe(configuration, mistake));
    }
    return problems;
}

}  // namespace

TEST(LibraryConfiguration, HasEverythingThereWhenNothingIsSaid) {
    const Configuration configuration = Read("");
    EXPECT_THAT(configuration.libraries.leftOut, IsEmpty());
    EXPECT_FALSE(configuration.libraries.convertedLength);
    EXPECT_TRUE(configuration.libraries.terminatesUid);
    EXPECT_EQ(configuration.libraries.keyFile, "/device/navo-device-keys.conf");
}

TEST(LibraryConfiguration, TakesEverySetting) {
    const Configuration configuration = Read(
        "[secure-spi]\nmissing=handleCCM\nconverted-length=-5\n"
        "[key-provisioning]\nmissing=library; dalm_keyInjection\nkey-file=keys\nterminate-uid=false\n"
        "[fault openSecureSpi]\nresult=0\n[fault dalm_releaseGetKeySession]\nresult=-1\n");
    EXPECT_THAT(configuration.mistakes, IsEmpty());
    EXPECT_THAT(
        configuration.libraries.leftOut,
        UnorderedElementsAre("handleCCM", "liborv_dalm.so", "dalm_keyInjection"));
    EXPECT_EQ(configuration.libraries.convertedLength, -5);
    EXPECT_EQ(configuration.libraries.keyFile, "/device/keys");
    EXPECT_FALSE(configuration.libraries.terminatesUid);
}

TEST(LibraryConfiguration, NamesWhatItCannotFollow) {
    EXPECT_THAT(
        Problems("[secure-spi]\nmissing=dalm_keyInjection\n"),
        ElementsAre(
            "/device/navo-device.conf:2: [secure-spi] missing: \"dalm_keyInjection\" cannot be missing "
            "here; there are library, openSecureSpi, closeSecureSpi, handleCCM"));
    EXPECT_THAT(
        Problems("[key-provisioning]\nmissing=handleCCM\n"),
        ElementsAre(
            "/device/navo-device.conf:2: [key-provisioning] missing: \"handleCCM\" cannot be missing here; "
            "there are library, dalm_keyInjection, dalm_injectedKeyVerification, "
            "dalm_readInjectedKeyUID, dalm_createGetKeySession, dalm_releaseGetKeySession"));
    EXPECT_THAT(
        Problems("[secure-spi]\nconverted-length=2147483648\n"),
        ElementsAre(
            "/device/navo-device.conf:2: [secure-spi] converted-length: \"2147483648\" is no whole number "
            "from -2147483648 to 2147483647"));
    EXPECT_THAT(
        Problems("[secure-spi]\nlength=1\n"),
        ElementsAre(
            "/device/navo-device.conf:2: [secure-spi] length: this key is not known here; the section has "
            "missing, converted-length"));
    EXPECT_EQ(Problems("[key-provisioning]\nkey-file=\n").size(), 1U);
    EXPECT_EQ(Problems("[key-provisioning]\nterminate-uid=perhaps\n").size(), 1U);
    EXPECT_EQ(Problems("[secure-spi chip]\n").size(), 1U);
}
