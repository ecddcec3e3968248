// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <limits>

#include "app/RequestKeys.h"
#include "app/ResultCode.h"
#include "tests/support/service/ResultCodePrinter.h"
#include "tests/support/service/ResultTexts.h"

namespace {

// Leaves a result behind that no test expects.
class CurrentResult : public testing::Test {
protected:
    CurrentResult() { Na::SetResultCodeText("left behind"); }
};

[[noreturn]] void PrintCurrentResult() {
    std::fprintf(
        stderr, "code %d text '%s' message '%s'\n", static_cast<int>(Na::GetResultCode()),
        Na::GetResultCodeText().c_str(), Na::GetResultMessage().c_str());
    _exit(0);
}

}  // namespace

TEST(FreshResult, IsUnknownAndReadsAsABareUnderscoreBeforeAnythingWasSet) {
    // A process of its own: others have set results in this one.
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(PrintCurrentResult(), testing::ExitedWithCode(0), "code 999999999 text '' message '_'\n");
}

TEST_F(CurrentResult, TakesTheTextOfAKnownCode) {
    Na::SetResultCode(Na::ResultCode::Done);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
    EXPECT_EQ(Na::GetResultCodeText(), "00000001");
    EXPECT_EQ(Na::GetResultMessage(), ResultText::Done);
}

TEST_F(CurrentResult, TakesTheIrregularTextOfAKey) {
    Na::SetResultCode(Na::ResultCode(10600002));
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode(10600002));
    EXPECT_EQ(Na::GetResultCodeText(), "10600001");
    EXPECT_EQ(Na::GetResultMessage(), ResultText::AddressChanged);
    Na::SetResultCode(Na::ResultCode(10600003));
    EXPECT_EQ(Na::GetResultMessage(), ResultText::AddressNotChanged);
    Na::SetResultCode(Na::ResultCode(20000000));
    EXPECT_EQ(Na::GetResultMessage(), "20000001_");
}

TEST_F(CurrentResult, StoresAnUnknownCodeWithAnEmptyText) {
    for (const std::int32_t code :
         {12345, -1, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
        Na::SetResultCodeText("left behind");
        Na::SetResultCode(Na::ResultCode(code));
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode(code));
        EXPECT_EQ(Na::GetResultCodeText(), "");
        EXPECT_EQ(Na::GetResultMessage(), "_");
    }
}

TEST_F(CurrentResult, ReadsAsABareUnderscoreForAKnownCodeWithoutText) {
    for (const int code : {3, 8, 10300001, 10400000, 10500000, 10600001, 20100003, 90202000, 999999999}) {
        Na::SetResultCode(Na::ResultCode(code));
        EXPECT_EQ(Na::GetResultMessage(), "_") << code;
    }
}

TEST_F(CurrentResult, KeepsTheUnderscoreWhereADescriptionIsEmpty) {
    Na::SetResultCode(Na::ResultCode(20100000));
    EXPECT_EQ(Na::GetResultMessage(), "20100000_");
    Na::SetResultCodeText("20300025");
    EXPECT_EQ(Na::GetResultMessage(), "20300025_");
}

TEST_F(CurrentResult, TakesAnyTextAsGiven) {
    Na::SetResultCodeText("77777777");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Unknown);
    EXPECT_EQ(Na::GetResultCodeText(), "77777777");
    EXPECT_EQ(Na::GetResultMessage(), "77777777");

    Na::SetResultCodeText("00000001 ");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Unknown);
    EXPECT_EQ(Na::GetResultMessage(), "00000001 ");

    Na::SetResultCodeText("0000000");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Unknown);
    EXPECT_EQ(Na::GetResultMessage(), "0000000");
}

TEST_F(CurrentResult, TakesTheCodeOfTheFirstRowWithItsText) {
    Na::SetResultCodeText("00000000");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::CommandSetToRun);
    EXPECT_EQ(Na::GetResultMessage(), ResultText::CommandSetToRun);
    Na::SetResultCodeText("20000001");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode(20000000));
    Na::SetResultCodeText("10500006");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::PleaseWait);
    EXPECT_EQ(Na::GetResultMessage(), ResultText::PleaseWait);
    Na::SetResultCodeText("");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode(3));
    EXPECT_EQ(Na::GetResultMessage(), "_");
}

TEST_F(CurrentResult, CanBeSetToItsOwnText) {
    Na::SetResultCode(Na::ResultCode::ElementNotClosed);
    Na::SetResultCodeText(Na::GetResultCodeText());
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementNotClosed);
    EXPECT_EQ(Na::GetResultCodeText(), "10400005");
}

TEST_F(CurrentResult, HandsOutMessagesThatLaterOnesDoNotChange) {
    Na::SetResultCode(Na::ResultCode::Done);
    const std::string first = Na::GetResultMessage();
    Na::SetResultCode(Na::ResultCode::UnknownError);
    EXPECT_EQ(Na::GetResultMessage(), ResultText::UnknownError);
    EXPECT_EQ(first, ResultText::Done);
}

TEST(RequestKeys, AreSpeltAsClientsSpellThem) {
    EXPECT_STREQ(Na::Key::Cmd, "Cmd");
    EXPECT_STREQ(Na::Key::ReturnCode, "ReturnCode");
    EXPECT_STREQ(Na::Key::ServiceId, "ServiceId");
    EXPECT_STREQ(Na::Key::FcId, "FcId");
    EXPECT_STREQ(Na::Key::PushReq, "pushReq");
    EXPECT_STREQ(Na::Key::HostAddr, "hostAddr");
    EXPECT_STREQ(Na::Key::PhoneInfo, "phoneInfo");
    EXPECT_STREQ(Na::Key::MemoryInfo, "MemoryInfo");
    EXPECT_STREQ(Na::Key::CcmScriptData, "CcmScriptData");
    EXPECT_STREQ(Na::Key::LccmReturnCode, "LccmReturnCode");
    EXPECT_STREQ(Na::Key::EncodingType, "encodingType");
    EXPECT_STREQ(Na::Key::DalmDataSize, "dalmDataSize");
    EXPECT_STREQ(Na::Key::DalmData, "dalmData");
    EXPECT_STREQ(Na::Key::KeyName, "keyName");
    EXPECT_STREQ(Na::Key::KeyType, "keyType");
    EXPECT_STREQ(Na::Key::InjectionType, "injectionType");
    EXPECT_STREQ(Na::Key::ProgressState, "ProgressState");
    EXPECT_STREQ(Na::Key::OtaUrl, "otaURL");
    EXPECT_STREQ(Na::Key::Session, "Session");
}
