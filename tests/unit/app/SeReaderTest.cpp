// SPDX-License-Identifier: Apache-2.0
// The reader over the platform's NFC manager.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nfc.h>

#include "app/ResultCode.h"
#include "app/SeReader.h"
#include "device/VirtualDevice.h"
#include "platform/tizen/SeReader_NFC.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/ResultCodePrinter.h"

namespace {

using testing::Contains;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::IsEmpty;

// Whether the platform's answers to the reader come from here. The link options --wrap lead its calls to the
// functions below.
bool platformIsOdd = false;

constexpr char Open[] = "nfc_se_open_secure_element";
constexpr char Close[] = "nfc_se_close_secure_element";

class SeReader : public testing::Test {
protected:
    void Configure(const std::string& configuration) {
        world.Configure(configuration);
        world.ForgetLog();
        Na::SetResultCodeText("left behind");
    }

    static std::string Fault(const std::string& function, const std::string& result, int from = 1) {
        return "[fault " + function + "]\nresult=" + result + "\nfrom=" + std::to_string(from) + "\n";
    }

    ~SeReader() override { platformIsOdd = false; }

    DeviceWorld world;
    Tizen23::SeReaderNfc reader;
};

}  // namespace

extern "C" {

int __real_nfc_se_open_secure_element_internal(nfc_se_type_e type, nfc_se_h* handle);
int __wrap_nfc_se_open_secure_element_internal(nfc_se_type_e type, nfc_se_h* handle);
int __real_nfc_se_send_apdu_internal(
    nfc_se_h handle, unsigned char* command, unsigned length, unsigned char** response,
    unsigned* responseLength);
int __wrap_nfc_se_send_apdu_internal(
    nfc_se_h handle, unsigned char* command, unsigned length, unsigned char** response,
    unsigned* responseLength);

// Fails, and leaves what looks like a handle.
int __wrap_nfc_se_open_secure_element_internal(nfc_se_type_e type, nfc_se_h* handle) {
    if (!platformIsOdd) {
        return __real_nfc_se_open_secure_element_internal(type, handle);
    }
    *handle = &platformIsOdd;
    return -1;
}

// Succeeds with a length but no response.
int __wrap_nfc_se_send_apdu_internal(
    nfc_se_h handle, unsigned char* command, unsigned length, unsigned char** response,
    unsigned* responseLength) {
    if (!platformIsOdd) {
        return __real_nfc_se_send_apdu_internal(handle, command, length, response, responseLength);
    }
    *responseLength = 2;
    return 0;
}

}  // extern "C"

TEST_F(SeReader, IsMadeForTheEmbeddedElementByKindsZeroAndOne) {
    for (const int kind : {0, 1}) {
        Configure("");
        const auto made = Na::CreateSeReader(kind);
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(Device::Calls(Open), 1U);
        EXPECT_EQ(Device::Calls(Close), 1U);
        EXPECT_EQ(Device::OpenHandles(), 0U) << "probed, and closed again";
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementOpened);
        EXPECT_THAT(
            world.LocatedLog(),
            ElementsAre(
                "D CreateSeReader: Creating a SE Reader of type " + std::to_string(kind),
                "D Open: Opening SE", "D Open: Starting to work with SE of type: 1", "D Close: Closing SE"));
    }
}

TEST_F(SeReader, IsMadeForTheUiccByKindTwo) {
    Configure("[card uicc]\n");
    const auto made = Na::CreateSeReader(2);
    ASSERT_NE(made, nullptr);
    EXPECT_THAT(world.LocatedLog(), Contains("D Open: Starting to work with SE of type: 2"));
    ASSERT_TRUE(made->Open());
    made->Apdu({0x00, 0xA4, 0x04, 0x00, 0x00});
    EXPECT_EQ(Device::ExchangeCount(Device::Element::Uicc), 1U);
    EXPECT_EQ(Device::ExchangeCount(Device::Element::Embedded), 0U);
}

TEST_F(SeReader, IsNotMadeForAnyOtherKind) {
    for (const int kind : {3, -1, 4, 256, -2147483647 - 1, 2147483647}) {
        Configure("");
        EXPECT_EQ(Na::CreateSeReader(kind), nullptr);
        EXPECT_EQ(Device::Calls(Open), 0U) << "the element is not touched";
        EXPECT_EQ(Na::GetResultCodeText(), "left behind");
        EXPECT_THAT(
            world.LocatedLog(),
            ElementsAre(
                "D CreateSeReader: Creating a SE Reader of type " + std::to_string(kind),
                "D CreateSeReader: Failed: SE type " + std::to_string(kind) + " is not supported"));
    }
}

TEST_F(SeReader, IsNotMadeWhenTheElementRefusesAccess) {
    Configure(Fault(Open, "0xFE3E000C"));
    EXPECT_EQ(Na::CreateSeReader(0), nullptr);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementRefused);
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D CreateSeReader: Creating a SE Reader of type 0", "D Open: Opening SE",
                                "D Close: Closing SE", "D Close: Secure Element is already closed",
                                "D CreateSeReader: Failed: SE type 0 is not supported"));
}

TEST_F(SeReader, OpensTheEmbeddedElementAfterAFailedProbeOfTheUicc) {
    Configure(Fault(Open, "-1") + "times=1\n[card uicc]\n");
    EXPECT_FALSE(reader.Initialize(2));
    EXPECT_TRUE(reader.Open());
    EXPECT_THAT(world.LocatedLog(), Contains("D Open: Starting to work with SE of type: 1"));
}

TEST_F(SeReader, GoesBackToTheEmbeddedElementForAKindThatItRefuses) {
    Configure("[card]\n[card uicc]\n");
    ASSERT_TRUE(reader.Initialize(2));
    EXPECT_FALSE(reader.Initialize(3));
    world.ForgetLog();
    EXPECT_TRUE(reader.Open());
    EXPECT_THAT(world.LocatedLog(), Contains("D Open: Starting to work with SE of type: 1"));
}

TEST_F(SeReader, SaysThatThereIsNoPermissionForEachOfTheThreeErrorsOfAccess) {
    for (const std::string error : {"0xFE3E000C", "0xC0000002", "-13"}) {
        Configure(Fault(Open, error));
        EXPECT_FALSE(reader.Open());
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementRefused) << error;
        EXPECT_THAT(world.LocatedLog(), ElementsAre("D Open: Opening SE")) << error;
    }
}

TEST_F(SeReader, LeavesAnUnknownErrorForEveryOtherFailureToOpen) {
    for (const std::string error : {"-1", "-12", "-22", "0xFE3E0001", "0xFE3E000D", "1"}) {
        Configure(Fault(Open, error));
        EXPECT_FALSE(reader.Open());
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::UnknownError) << error;
        EXPECT_THAT(
            world.LocatedLog(),
            ElementsAre(
                "D Open: Opening SE", ContainsRegex("^E Open: SE of type 1 open is failed with result: .+")))
            << error;
    }
}

TEST_F(SeReader, NamesThePlatformsErrorInItsOwnWords) {
    Configure(Fault(Open, "NFC_ERROR_OUT_OF_MEMORY"));
    reader.Open();
    EXPECT_THAT(
        world.LocatedLog(), Contains("E Open: SE of type 1 open is failed with result: Out of memory"));
}

TEST_F(SeReader, JoinsAnOpenChannelAndClosesItWithTheLastUser) {
    Configure("");
    EXPECT_TRUE(reader.Open());
    EXPECT_TRUE(reader.Open());
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementOpened);
    EXPECT_EQ(Device::Calls(Open), 1U);
    EXPECT_EQ(Device::Calls("nfc_se_get_atr"), 1U);
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D Open: Opening SE", "D Open: Starting to work with SE of type: 1",
                                "D Open: Opening SE", "D Open: Secure Element is already opened"));
    reader.Close();
    EXPECT_EQ(Device::Calls(Close), 0U);
    EXPECT_EQ(Device::OpenHandles(), 1U);
    reader.Close();
    EXPECT_EQ(Device::Calls(Close), 1U);
    EXPECT_EQ(Device::OpenHandles(), 0U);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementOpened) << "a good close leaves the result alone";
}

TEST_F(SeReader, OnlyLogsACloseWhenItIsClosed) {
    Configure("");
    reader.Close();
    EXPECT_EQ(Na::GetResultCodeText(), "left behind");
    EXPECT_EQ(Device::Calls(Close), 0U);
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("D Close: Closing SE", "D Close: Secure Element is already closed"));
}

TEST_F(SeReader, StaysOpenWhenThePlatformCannotClose) {
    Configure(Fault(Close, "-1") + "times=1\n");
    reader.Open();
    reader.Close();
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementNotClosed);
    EXPECT_EQ(Device::Calls(Close), 1U);

    // The count goes below zero and wraps: nobody is the last user any more.
    Na::SetResultCodeText("left behind");
    reader.Close();
    EXPECT_EQ(Device::Calls(Close), 1U);
    EXPECT_EQ(Na::GetResultCodeText(), "left behind");

    reader.Apdu({0x00, 0xA4, 0x04, 0x00, 0x00});
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done) << "the channel can still be used";
}

TEST_F(SeReader, ClosesAfterAFailedCloseOnceItIsOpenedAgain) {
    Configure(Fault(Close, "-1") + "times=1\n");
    reader.Open();
    reader.Close();
    EXPECT_TRUE(reader.Open());
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementOpened);
    EXPECT_EQ(Device::Calls(Open), 1U) << "the channel was never closed";
    reader.Close();
    EXPECT_EQ(Device::Calls(Close), 2U);
    EXPECT_EQ(Device::OpenHandles(), 0U);
}

TEST_F(SeReader, StaysClosedWhateverAFailedOpenLeavesInItsHandle) {
    Configure("");
    platformIsOdd = true;
    EXPECT_FALSE(reader.Open());
    world.ForgetLog();
    reader.Close();
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("D Close: Closing SE", "D Close: Secure Element is already closed"));
}

TEST_F(SeReader, GivesNothingForASuccessWithoutAResponse) {
    Configure("");
    reader.Open();
    platformIsOdd = true;
    EXPECT_THAT(reader.Apdu({0x80, 0x01}), IsEmpty());
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
}

TEST_F(SeReader, ClosesWhatIsOpenWhenItGoes) {
    Configure(Fault(Close, "-1") + "times=1\n");
    {
        Tizen23::SeReaderNfc other;
        other.Open();
        other.Open();
        other.Close();
        other.Close();
        other.Close();
        Na::SetResultCodeText("left behind");
    }
    EXPECT_EQ(Device::Calls(Close), 2U);
    EXPECT_EQ(Device::OpenHandles(), 0U);
    EXPECT_EQ(Na::GetResultCodeText(), "left behind");
}

TEST_F(SeReader, ClosesNothingWhenItGoesClosed) {
    Configure("");
    {
        const Tizen23::SeReaderNfc other;
    }
    EXPECT_EQ(Device::Calls(Close), 0U);
}

TEST_F(SeReader, ExchangesAnApdu) {
    Configure("[card]\nanswer 8001=01029000\n");
    reader.Open();
    world.ForgetLog();
    EXPECT_THAT(reader.Apdu({0x80, 0x01}), ElementsAre(0x01, 0x02, 0x90, 0x00));
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D Apdu: Sending command to SE"));
}

TEST_F(SeReader, LeavesASuccessWhateverTheStatusWord) {
    Configure("[card]\nanswer 8001=6A82\n");
    reader.Open();
    EXPECT_THAT(reader.Apdu({0x80, 0x01}), ElementsAre(0x6A, 0x82));
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
}

TEST_F(SeReader, GivesNothingForAnEmptyResponse) {
    Configure("[card]\nanswer 8001=empty\n");
    reader.Open();
    EXPECT_THAT(reader.Apdu({0x80, 0x01}), IsEmpty());
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
}

TEST_F(SeReader, HandsAnEmptyCommandToThePlatform) {
    Configure("");
    reader.Open();
    reader.Apdu({});
    EXPECT_EQ(Device::Calls("nfc_se_send_apdu"), 1U);
}

TEST_F(SeReader, SaysThatTheApduIsNotAvailableWhenThePlatformCannotSend) {
    Configure(Fault("nfc_se_send_apdu", "NFC_ERROR_OUT_OF_MEMORY"));
    reader.Open();
    world.ForgetLog();
    EXPECT_THAT(reader.Apdu({0x80, 0x01}), IsEmpty());
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::NoApdu);
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D Apdu: Sending command to SE", "E Apdu: APDU send error: Out of memory"));
}

TEST_F(SeReader, LeavesAnUnknownErrorForAnApduWhileItIsClosed) {
    Configure("");
    EXPECT_THAT(reader.Apdu({0x80, 0x01}), IsEmpty());
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::UnknownError);
    EXPECT_EQ(Device::Calls("nfc_se_send_apdu"), 0U);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D Apdu: Sending command to SE", "D Apdu: SE not opened"));
}

TEST_F(SeReader, ReadsTheAnswerToResetWhenItOpens) {
    Configure("[card]\natr=3B680041\n");
    EXPECT_EQ(reader.GetAtr(), "");
    reader.Open();
    EXPECT_EQ(reader.GetAtr(), std::string("\x3B\x68")) << "cut at the first zero byte";
    reader.Close();
    EXPECT_EQ(reader.GetAtr(), std::string("\x3B\x68"));
}

TEST_F(SeReader, KeepsTheEarlierAnswerToResetWhenItCannotBeReadAgain) {
    Configure("[card]\natr=3B6841\n" + Fault("nfc_se_get_atr", "-1", 2));
    reader.Open();
    reader.Close();
    EXPECT_TRUE(reader.Open()) << "a missing answer to reset is no failure";
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementOpened);
    EXPECT_EQ(reader.GetAtr(), "\x3BhA");
    EXPECT_EQ(Device::Calls("nfc_se_get_atr"), 2U);
}

TEST_F(SeReader, KeepsTheEarlierAnswerToResetWhenThePlatformHasNone) {
    Configure("[card]\natr=3B6841\n" + Fault("nfc_se_get_atr", "0", 2));
    reader.Open();
    reader.Close();
    EXPECT_TRUE(reader.Open());
    EXPECT_EQ(reader.GetAtr(), "\x3BhA");
}

TEST_F(SeReader, IsReadyAlways) {
    Configure("[nfc]\nsupported=false\n[card]\npresent=false\n");
    EXPECT_TRUE(reader.IsReady());
}

TEST_F(SeReader, IsPresentWhenTheDeviceHasAnNfcStack) {
    Configure("[nfc]\nsupported=true\n");
    EXPECT_TRUE(reader.IsPresent());
    EXPECT_THAT(world.Log(), IsEmpty());
    Configure("[nfc]\nsupported=false\n");
    EXPECT_FALSE(reader.IsPresent());
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E IsPresent: NFC stack is not supported on device"));
}

TEST_F(SeReader, NamesItsOwnSourceInTheLog) {
    Configure("");
    Na::CreateSeReader(0);
    EXPECT_THAT(
        world.Log(), Contains(ContainsRegex("^D/\\[/src/platform/tizen/Se\\.cpp:[0-9]+ CreateSeReader\\] ")));
    EXPECT_THAT(
        world.Log(), Contains(ContainsRegex("^D/\\[/src/platform/tizen/SeReader_NFC\\.cpp:[0-9]+ Open\\] ")));
}

TEST_F(SeReader, BringsTheNfcManagerUpAndDown) {
    Configure("");
    {
        const Tizen23::_NFC_MANAGER_LIFECYCLE lifecycle;
        EXPECT_EQ(Device::Calls("nfc_manager_initialize"), 1U);
        EXPECT_EQ(Device::Calls("nfc_manager_deinitialize"), 0U);
    }
    EXPECT_EQ(Device::Calls("nfc_manager_deinitialize"), 1U);
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(SeReader, OnlyLogsThatTheNfcManagerDidNotComeUp) {
    nfc_manager_initialize();  // stands for the one that fails below, so that the manager stays up for others
    Configure(Fault("nfc_manager_initialize", "NFC_ERROR_OUT_OF_MEMORY"));
    {
        const Tizen23::_NFC_MANAGER_LIFECYCLE lifecycle;
    }
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("E _NFC_MANAGER_LIFECYCLE: Fatal: NFC Manager initialization error. Out of memory"));
    EXPECT_EQ(Device::Calls("nfc_manager_deinitialize"), 1U) << "taken down whatever happened";
}
