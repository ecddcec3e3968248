// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <nfc.h>
#include <nfc_internal.h>
#include <tizen_error.h>

#include "device/names/Bytes.h"
#include "tests/unit/device/DeviceDesk.h"

using Device::Bytes;
using Device::Exchange;
using Device::FromHexText;
using Device::HexText;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Nfc : public DeviceDesk {
protected:
    Nfc() { nfc_manager_initialize(); }
    ~Nfc() override { nfc_manager_deinitialize(); }

    static nfc_se_h Open(nfc_se_type_e type = NFC_SE_TYPE_ESE) {
        nfc_se_h handle = nullptr;
        EXPECT_EQ(nfc_se_open_secure_element_internal(type, &handle), NFC_ERROR_NONE);
        return handle;
    }

    static std::string Send(nfc_se_h handle, const std::string& command) {
        Bytes bytes = *FromHexText(command);
        unsigned char* response = nullptr;
        unsigned length = 0;
        const int result = nfc_se_send_apdu_internal(
            handle, bytes.data(), static_cast<unsigned>(bytes.size()), &response, &length);
        EXPECT_EQ(result, NFC_ERROR_NONE);
        const Bytes copy(response, response + length);
        free(response);
        return HexText(copy);
    }

    static std::string Atr(nfc_se_h handle) {
        unsigned char* atr = nullptr;
        unsigned length = 0;
        EXPECT_EQ(nfc_se_get_atr_internal(handle, &atr, &length), NFC_ERROR_NONE);
        return HexText(Bytes(atr, atr + length));
    }

    static void Close(nfc_se_h handle) {
        EXPECT_EQ(nfc_se_close_secure_element_internal(handle), NFC_ERROR_NONE);
    }
};

}  // namespace

TEST_F(Nfc, OpensTheEmbeddedElementAndExchangesCommands) {
    const nfc_se_h handle = Open();
    EXPECT_EQ(Send(handle, "00A4040000").substr(0, 4), "6F10");
    EXPECT_EQ(Send(handle, "80CA9F7F00").substr(0, 6), "9F7F2A");
    Close(handle);
    EXPECT_EQ(Device::OpenHandles(), 0U);
}

TEST_F(Nfc, LendsTheAnswerToResetForAsLongAsTheHandleIsOpen) {
    Configure("[card]\natr=3B0041\n");
    const nfc_se_h handle = Open();
    unsigned char* first = nullptr;
    unsigned char* second = nullptr;
    unsigned length = 0;
    ASSERT_EQ(nfc_se_get_atr_internal(handle, &first, &length), NFC_ERROR_NONE);
    ASSERT_EQ(nfc_se_get_atr_internal(handle, &second, &length), NFC_ERROR_NONE);
    EXPECT_EQ(first, second);
    EXPECT_EQ(HexText(Bytes(first, first + length)), "3B0041");
    EXPECT_EQ(first[length], 0);
    Close(handle);
}

TEST_F(Nfc, HasAUiccOnlyWhenTheDeviceHasOne) {
    nfc_se_h handle = nullptr;
    EXPECT_EQ(nfc_se_open_secure_element_internal(NFC_SE_TYPE_UICC, &handle), NFC_ERROR_NO_DEVICE);
    Configure("[card uicc]\natr=3B01\n");
    handle = Open(NFC_SE_TYPE_UICC);
    EXPECT_EQ(Atr(handle), "3B01");
    Send(handle, "00A4040000");
    EXPECT_EQ(Device::ExchangeCount(Device::Element::Uicc), 1U);
    EXPECT_EQ(Device::ExchangeCount(Device::Element::Embedded), 0U);
    Close(handle);
}

TEST_F(Nfc, HasNoElementWhenTheFileSaysSo) {
    Configure("[card]\npresent=false\n");
    nfc_se_h handle = nullptr;
    EXPECT_EQ(nfc_se_open_secure_element_internal(NFC_SE_TYPE_ESE, &handle), NFC_ERROR_NO_DEVICE);
    EXPECT_EQ(handle, nullptr);
}

TEST_F(Nfc, IsNotSupportedWhenTheFileSaysSo) {
    Configure("[nfc]\nsupported=false\n");
    nfc_se_h handle = nullptr;
    EXPECT_FALSE(nfc_manager_is_supported());
    EXPECT_EQ(get_last_result(), NFC_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(nfc_manager_initialize(), NFC_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(nfc_se_open_secure_element_internal(NFC_SE_TYPE_ESE, &handle), NFC_ERROR_NOT_SUPPORTED);
}

TEST_F(Nfc, RefusesTypesThatAreNoElement) {
    nfc_se_h handle = nullptr;
    for (const int type : {0, 3, 4, 7}) {
        EXPECT_EQ(
            nfc_se_open_secure_element_internal(static_cast<nfc_se_type_e>(type), &handle),
            NFC_ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(nfc_se_open_secure_element_internal(NFC_SE_TYPE_ESE, nullptr), NFC_ERROR_INVALID_PARAMETER);
}

TEST_F(Nfc, NeedsTheManagerToBeInitialized) {
    ASSERT_EQ(nfc_manager_deinitialize(), NFC_ERROR_NONE);
    nfc_se_h handle = nullptr;
    EXPECT_EQ(nfc_se_open_secure_element_internal(NFC_SE_TYPE_ESE, &handle), NFC_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(nfc_manager_deinitialize(), NFC_ERROR_OPERATION_FAILED);
    ASSERT_EQ(nfc_manager_initialize(), NFC_ERROR_NONE);
    Close(Open());
}

TEST_F(Nfc, RefusesStaleForeignAndInventedHandles) {
    const nfc_se_h stale = Open();
    Close(stale);
    int marker = 0;
    for (const nfc_se_h handle :
         {stale, nfc_se_h(nullptr), nfc_se_h(&marker), reinterpret_cast<nfc_se_h>(-1)}) {
        unsigned char command[] = {0x00, 0xA4, 0x04, 0x00, 0x00};
        unsigned char* bytes = nullptr;
        unsigned length = 0;
        EXPECT_EQ(
            nfc_se_send_apdu_internal(handle, command, sizeof command, &bytes, &length),
            NFC_ERROR_INVALID_PARAMETER);
        EXPECT_EQ(nfc_se_get_atr_internal(handle, &bytes, &length), NFC_ERROR_INVALID_PARAMETER);
        EXPECT_EQ(nfc_se_close_secure_element_internal(handle), NFC_ERROR_INVALID_PARAMETER);
        EXPECT_EQ(bytes, nullptr);
    }
}

TEST_F(Nfc, RefusesMissingArgumentsOfAnExchange) {
    const nfc_se_h handle = Open();
    unsigned char* response = nullptr;
    unsigned length = 0;
    unsigned char command[1] = {0};
    EXPECT_EQ(nfc_se_send_apdu_internal(handle, nullptr, 1, &response, &length), NFC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(nfc_se_send_apdu_internal(handle, command, 1, nullptr, &length), NFC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(nfc_se_send_apdu_internal(handle, command, 1, &response, nullptr), NFC_ERROR_INVALID_PARAMETER);
    EXPECT_THAT(Device::Exchanges(), IsEmpty());
    Close(handle);
}

TEST_F(Nfc, TakesAnEmptyCommandToTheCard) {
    const nfc_se_h handle = Open();
    unsigned char* response = nullptr;
    unsigned length = 0;
    ASSERT_EQ(nfc_se_send_apdu_internal(handle, nullptr, 0, &response, &length), NFC_ERROR_NONE);
    EXPECT_EQ(HexText(Bytes(response, response + length)), "6700");
    free(response);
    Close(handle);
}

TEST_F(Nfc, GivesAnEmptyResponseAsANullPointer) {
    Configure("[card]\nanswer 00A4040000=empty\n");
    const nfc_se_h handle = Open();
    EXPECT_EQ(Send(handle, "00A4040000"), "");
    Close(handle);
}

TEST_F(Nfc, ResetsTheCardWhenTheFirstChannelOpens) {
    const nfc_se_h first = Open();
    Send(first, "8050000008010203040506070800");
    EXPECT_EQ(Send(first, "8482000010000000000000000000000000000000009000").substr(0, 4), "6700");
    const std::string authentication = "848200001000000000000000000000000000000000";
    Send(first, "8050000008010203040506070800");
    const nfc_se_h second = Open();
    EXPECT_EQ(Send(second, authentication), "6300");  // the challenge is there beside the new channel
    Send(second, "8050000008010203040506070800");
    Close(second);
    Close(first);
    const nfc_se_h third = Open();
    EXPECT_EQ(Send(third, authentication), "6985");
    Close(third);
}

TEST_F(Nfc, KeepsWhatWasExchangedUntilTheConfigurationIsAnother) {
    Configure("[card]\nanswer 0001=9000\nanswer 0002=6A82\n");
    const nfc_se_h handle = Open();
    Send(handle, "0001");
    Send(handle, "0002");
    EXPECT_THAT(Device::Exchanges(), ElementsAre(Exchange{"0001", "9000"}, Exchange{"0002", "6A82"}));
    Device::ForgetExchanges();
    EXPECT_THAT(Device::Exchanges(), IsEmpty());
    Send(handle, "0001");
    Configure("");
    EXPECT_THAT(Device::Exchanges(), IsEmpty());
    EXPECT_EQ(Device::ExchangeCount(), 0U);
    Close(handle);
}

TEST_F(Nfc, CountsTheOpenHandles) {
    const nfc_se_h first = Open();
    const nfc_se_h second = Open();
    EXPECT_NE(first, second);
    EXPECT_EQ(Device::OpenHandles(), 2U);
    Close(first);
    Close(second);
    EXPECT_EQ(Device::OpenHandles(), 0U);
}
