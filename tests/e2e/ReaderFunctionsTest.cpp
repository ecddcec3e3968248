// SPDX-License-Identifier: Apache-2.0
// The platform's secure-element functions on a card in a reader, by the real pcscd.
#include <gtest/gtest.h>
#include <nfc.h>
#include <nfc_internal.h>
#include <winscard.h>

#include <csignal>
#include <cstdlib>
#include <utility>

#include "device/VirtualDevice.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/world/CardInReader.h"
#include "tests/support/world/PrivatePcscd.h"

namespace {

using GlobalPlatform::Bytes;
using GlobalPlatform::FromHexText;
using GlobalPlatform::HexText;

constexpr char SelectIssuer[] = "00A4040000";
constexpr char Cplc[] = "80CA9F7F00";
constexpr char BlockAtr[] = "3B88014E41564F434152448B";

// The PC/SC library looks for the service's socket once in the life of a process.
const std::filesystem::path& ServiceFolder() {
    static const TemporaryFolder folder;
    return folder.Path();
}

// A device whose secure element is in a reader, and a program's calls of the platform.
class ReaderFunctions : public ::testing::Test {
protected:
    void SetUp() override {
        if (!PrivatePcscd::Impediment().empty()) {
            GTEST_SKIP() << "no pcscd here: " << PrivatePcscd::Impediment();
        }
        setenv("NAVO_DEVICE_CONF", (folder.Path() / "navo-device.conf").c_str(), 1);
        setenv("NAVO_DLOG", (folder.Path() / "dlog").c_str(), 1);
        setenv("PCSCLITE_CSOCK_NAME", PrivatePcscd::SocketIn(ServiceFolder()).c_str(), 1);
        Configure("");
        service = std::make_unique<PrivatePcscd>(ServiceFolder());
        nfc_manager_initialize();
    }

    void TearDown() override {
        if (service) {
            nfc_manager_deinitialize();
            EXPECT_EQ(Device::OpenHandles(), 0U);
        }
    }

    void Configure(const std::string& lines) const {
        folder.Write("navo-device.conf", "[card]\nback-end=pcsc\n" + lines);
    }

    int Open() { return nfc_se_open_secure_element_internal(NFC_SE_TYPE_ESE, &handle); }
    int Close() { return nfc_se_close_secure_element_internal(handle); }

    // Result of a command; its response is in `response`.
    int Send(const std::string& command) {
        Bytes bytes = *FromHexText(command);
        unsigned char* answer = nullptr;
        unsigned length = 0;
        const int result = nfc_se_send_apdu_internal(
            handle, bytes.data(), static_cast<unsigned>(bytes.size()), &answer, &length);
        response = result == NFC_ERROR_NONE ? HexText(Bytes(answer, answer + length)) : "";
        free(answer);
        return result;
    }

    std::string ResponseTo(const std::string& command) {
        EXPECT_EQ(Send(command), NFC_ERROR_NONE) << command;
        return response;
    }

    std::string Atr() {
        unsigned char* atr = nullptr;
        unsigned length = 0;
        EXPECT_EQ(nfc_se_get_atr_internal(handle, &atr, &length), NFC_ERROR_NONE);
        return HexText(Bytes(atr, atr + length));
    }

    bool LogHas(const std::string& text) const {
        return TextOf(folder.Path() / "dlog").find(text) != std::string::npos;
    }

    TemporaryFolder folder;
    std::unique_ptr<PrivatePcscd> service;
    nfc_se_h handle = nullptr;
    std::string response;
};

TEST_F(ReaderFunctions, ACardOfTheBlockProtocolAnswersWhateverLengthsACommandHas) {
    CardInReader card(*service);
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(Atr(), BlockAtr);
    EXPECT_EQ(ResponseTo(SelectIssuer).substr(0, 4), "6F10");
    EXPECT_EQ(ResponseTo(Cplc).substr(0, 6), "9F7F2A");
    EXPECT_EQ(ResponseTo("80CA9F7F000000").substr(0, 6), "9F7F2A") << "extended, case 2";
    EXPECT_EQ(ResponseTo("00A40400000008A0000001510000000000").substr(0, 4), "6F10") << "extended, case 4";
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

TEST_F(ReaderFunctions, ACommandOfAllTheBytesThatAReaderTakesArrives) {
    CardInReader card(*service);
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    // 7 bytes in front of the data and 2 behind it. The reader's own messages end at 65535 bytes.
    const std::string command = "00A4040000FFF6" + std::string(std::size_t{2} * 0xFFF6, 'A') + "0000";
    ASSERT_EQ(command.size() / 2, 65535U);
    EXPECT_EQ(ResponseTo(command), "6A82") << "there is no such application";
    EXPECT_EQ(ResponseTo(Cplc).substr(0, 6), "9F7F2A");
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

TEST_F(ReaderFunctions, WhatIsNoCommandOfAReaderIsRefusedAndCostsNothing) {
    CardInReader card(*service);
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(Send("04"), NFC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Send(std::string(std::size_t{2} * 65549, '0')), NFC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ResponseTo(Cplc).substr(0, 6), "9F7F2A");
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

TEST_F(ReaderFunctions, ACardOfTheByteProtocolIsAskedForItsResponseByTheCaller) {
    CardInReader card(*service, CardInReader::Plain(true));
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(ResponseTo(Cplc), "6C2D") << "case 2: the right length is told";
    EXPECT_EQ(ResponseTo("80CA9F7F2D").substr(0, 6), "9F7F2A");
    EXPECT_EQ(ResponseTo("00A4040008A00000015100000000"), "6112") << "case 4: there is a response";
    EXPECT_EQ(ResponseTo("00C0000012").substr(0, 4), "6F10");
    EXPECT_EQ(Send("00A40400000100" + std::string(512, 'A')), NFC_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(ResponseTo("80CA9F7F2D").substr(0, 6), "9F7F2A") << "the refusal cost nothing";
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

TEST_F(ReaderFunctions, EachOpenFindsAFreshCard) {
    CardInReader card(*service);
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(ResponseTo("8050000008000102030405060700").size(), 68U);
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(ResponseTo("8482000010000102030405060708090A0B0C0D0E0F").size(), 4U);
    EXPECT_NE(response, "9000") << "nothing was asked of this card before";
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

TEST_F(ReaderFunctions, AReaderGoesByAPartOfItsName) {
    CardInReader card(*service);
    Configure("reader=PCD 00 00\n");
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
    Configure("reader=PCD 00 01\n");
    EXPECT_EQ(Open(), NFC_ERROR_ALREADY_DEACTIVATED) << "that one has no card";
    EXPECT_TRUE(LogHas("\"Virtual PCD 00 01\": No smart card inserted"));
    Configure("reader=Contactless\n");
    EXPECT_EQ(Open(), NFC_ERROR_NO_DEVICE);
    EXPECT_TRUE(LogHas("\"Contactless\"; there are \"Virtual PCD 00 00\", \"Virtual PCD 00 01\""));
}

TEST_F(ReaderFunctions, AProtocolThatTheCardDoesNotSpeakIsSaidSo) {
    CardInReader card(*service);
    Configure("protocol=T=0\n");
    EXPECT_EQ(Open(), NFC_ERROR_TAG_NOT_SUPPORTED);
    Configure("protocol=T=1\n");
    EXPECT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

TEST_F(ReaderFunctions, EachWayToBeWithoutACardHasItsCode) {
    EXPECT_EQ(Open(), NFC_ERROR_ALREADY_DEACTIVATED) << "no reader has a card";
    service->Stop();
    EXPECT_EQ(Open(), NFC_ERROR_NOT_ACTIVATED) << "no service";
    service->Start(PrivatePcscd::Readers::Missing);
    EXPECT_EQ(Open(), NFC_ERROR_NO_DEVICE) << "no reader";
    service->Stop();
    service->Start();
    CardInReader card(*service);
    EXPECT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

// Another program at the same service.
class OtherProgram {
public:
    explicit OtherProgram(DWORD mode) {
        EXPECT_EQ(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context), SCARD_S_SUCCESS);
        DWORD protocol = 0;
        EXPECT_EQ(
            SCardConnect(context, PrivatePcscd::Reader().c_str(), mode, SCARD_PROTOCOL_T1, &card, &protocol),
            SCARD_S_SUCCESS);
    }
    ~OtherProgram() {
        SCardDisconnect(card, SCARD_LEAVE_CARD);
        SCardReleaseContext(context);
    }
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;

    void ResetCard() const {
        DWORD protocol = 0;
        EXPECT_EQ(
            SCardReconnect(card, SCARD_SHARE_SHARED, SCARD_PROTOCOL_T1, SCARD_RESET_CARD, &protocol),
            SCARD_S_SUCCESS);
    }

private:
    SCARDCONTEXT context = 0;
    SCARDHANDLE card = 0;
};

TEST_F(ReaderFunctions, ACardThatAnotherProgramHoldsIsBusy) {
    CardInReader card(*service);
    {
        const OtherProgram other(SCARD_SHARE_EXCLUSIVE);
        EXPECT_EQ(Open(), NFC_ERROR_DEVICE_BUSY);
        Configure("share=shared\n");
        EXPECT_EQ(Open(), NFC_ERROR_DEVICE_BUSY);
    }
    EXPECT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

TEST_F(ReaderFunctions, ASharedCardThatAnotherProgramResetsIsLostUntilItIsOpenedAgain) {
    CardInReader card(*service);
    Configure("share=shared\n");
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    OtherProgram(SCARD_SHARE_SHARED).ResetCard();
    EXPECT_EQ(Send(Cplc), NFC_ERROR_ILLEGAL_STATE);
    EXPECT_EQ(Send(Cplc), NFC_ERROR_ILLEGAL_STATE) << "and stays so";
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(ResponseTo(Cplc).substr(0, 6), "9F7F2A");
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

TEST_F(ReaderFunctions, AChannelOfALostCardDoesNotReachTheOneThatIsOpenedMeanwhile) {
    auto card = std::make_unique<CardInReader>(*service);
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    nfc_se_h lost = handle;
    card.reset();
    EXPECT_EQ(Send(Cplc), NFC_ERROR_ALREADY_DEACTIVATED);
    card = std::make_unique<CardInReader>(*service);
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(ResponseTo(Cplc).substr(0, 6), "9F7F2A");
    std::swap(handle, lost);
    EXPECT_EQ(Send(Cplc), NFC_ERROR_ILLEGAL_STATE);
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
    EXPECT_EQ(nfc_se_close_secure_element_internal(lost), NFC_ERROR_NONE);
}

TEST_F(ReaderFunctions, CloseComesBackFromAServiceThatHangs) {
    CardInReader card(*service);
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    service->Suspend();
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
    EXPECT_TRUE(LogHas("does not let go of its card"));
    service->Resume();
    EXPECT_TRUE(Eventually([this] { return Open() == NFC_ERROR_NONE; })) << "as soon as it has let go";
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

TEST_F(ReaderFunctions, TheReaderCanBecomeTheSoftwareCardWhileAChannelIsOpen) {
    CardInReader card(*service);
    ASSERT_EQ(Open(), NFC_ERROR_NONE);
    EXPECT_EQ(ResponseTo(Cplc).substr(0, 6), "9F7F2A");
    const unsigned commands = card.Commands();
    folder.Write("navo-device.conf", "[card]\nback-end=software\n");
    EXPECT_EQ(ResponseTo(Cplc).substr(0, 6), "9F7F2A");
    EXPECT_EQ(card.Commands(), commands);
    EXPECT_EQ(Close(), NFC_ERROR_NONE);
}

}  // namespace
