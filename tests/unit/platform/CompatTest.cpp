// SPDX-License-Identifier: Apache-2.0
#include "common/tizen/Compat.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"

namespace {

enum Colour { Red = 1, Platform = 1024 };

int AnswerAsEnumeration(CertSvcCertificate, Colour* visibility) {
    *visibility = Platform;
    return 1;
}

int AnswerAsNumber(CertSvcCertificate, int* visibility) {
    *visibility = 64;
    return 5;
}

TEST(Compat, TakesAVisibilityOfEitherType) {
    int visibility = 0;
    EXPECT_EQ(Compat::VisibilityAsInt(AnswerAsEnumeration, CertSvcCertificate{}, &visibility), 1);
    EXPECT_EQ(visibility, 1024);
    EXPECT_EQ(Compat::VisibilityAsInt(AnswerAsNumber, CertSvcCertificate{}, &visibility), 5);
    EXPECT_EQ(visibility, 64);
}

TEST(Compat, TakesNumbersThatAnEnumerationDoesNotList) {
    Colour colour = Red;
    const int unlisted = -5;
    std::memcpy(&colour, &unlisted, sizeof colour);
    EXPECT_EQ(Compat::NumberOf(colour), -5);
    EXPECT_EQ(Compat::NumberOf(64), 64);
}

TEST(Compat, GivesTheBuildString) {
    const DeviceWorld world;
    char* text = nullptr;
    ASSERT_EQ(Compat::GetBuildString(&text), 0);
    EXPECT_STREQ(text, "TESTBUILD1");
    std::free(text);
}

TEST(Compat, DrivesTheSecureElement) {
    const DeviceWorld world;
    ASSERT_EQ(Compat::InitializeNfc(), NFC_ERROR_NONE);
    nfc_se_h element = nullptr;
    ASSERT_EQ(Compat::OpenSecureElement(NFC_SE_TYPE_ESE, &element), NFC_ERROR_NONE);
    unsigned char select[] = {0x00, 0xA4, 0x04, 0x00, 0x00};
    unsigned char* response = nullptr;
    unsigned length = 0;
    ASSERT_EQ(Compat::SendApdu(element, select, sizeof select, &response, &length), NFC_ERROR_NONE);
    ASSERT_GE(length, 2U);
    EXPECT_EQ(response[length - 2], 0x90);
    std::free(response);
    unsigned char* atr = nullptr;
    EXPECT_EQ(Compat::GetAtr(element, &atr, &length), NFC_ERROR_NONE);
    EXPECT_GT(length, 0U);
    EXPECT_EQ(Compat::CloseSecureElement(element), NFC_ERROR_NONE);
    nfc_manager_deinitialize();
}

}  // namespace
