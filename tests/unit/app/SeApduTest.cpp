// SPDX-License-Identifier: Apache-2.0
// Exchanging commands in hexadecimal text, and following the card where it asks for more.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "app/ResultCode.h"
#include "app/Se.h"
#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/ResultCodePrinter.h"

namespace {

using Device::Exchange;
using testing::Contains;
using testing::ContainsRegex;
using testing::ElementsAre;

constexpr int MostFollowUps = 65536;
constexpr std::size_t LongestFollowUp = 1048576;

class SeApdu : public testing::Test {
protected:
    void Begin(const std::string& card, const std::string& faults = "") {
        world.Configure("[card]\n" + card + faults);
        ASSERT_TRUE(se.Open());
        Device::ForgetExchanges();
        world.ForgetLog();
        Na::SetResultCodeText("left behind");
    }

    DeviceWorld world;
    Na::Se se{0};
};

std::string Zeros(std::size_t count) {
    return std::string(count, '0');
}

}  // namespace

TEST_F(SeApdu, GivesTheWholeResponseInUpperCase) {
    Begin("answer 80CA9F7F00=abcdef9000\n");
    EXPECT_EQ(se.Apdu("80ca9f7f00"), "ABCDEF9000");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
    EXPECT_THAT(Device::Exchanges(), ElementsAre(Exchange{"80CA9F7F00", "ABCDEF9000"}));
}

TEST_F(SeApdu, GivesABareStatusWordAsItIs) {
    Begin("answer 8001=9000\nanswer 8002=6A82\n");
    EXPECT_EQ(se.Apdu("8001"), "9000");
    EXPECT_EQ(se.Apdu("8002"), "6A82");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
}

TEST_F(SeApdu, EndsAnOddTextWithALowNibbleOfZero) {
    Begin("answer 8010=9000\n");
    EXPECT_EQ(se.Apdu("801"), "9000");
}

TEST_F(SeApdu, RefusesAResponseShorterThanAStatusWord) {
    Begin("answer 8001=90\nanswer 8002=empty\n");
    EXPECT_EQ(se.Apdu("8001"), "");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done) << "the exchange itself went well";
    EXPECT_THAT(world.LocatedLog(), Contains("E Apdu: eSE communication problem. rAPDU len 1"));
    EXPECT_EQ(se.Apdu("8002"), "");
    EXPECT_THAT(world.LocatedLog(), Contains("E Apdu: eSE communication problem. rAPDU len 0"));
}

TEST_F(SeApdu, AcceptsAResponseOf65538BytesAndNoLongerOne) {
    Begin("answer 8001=AB{65536}9000\nanswer 8002=AB{65537}9000\n");
    const std::string longest = se.Apdu("8001");
    EXPECT_EQ(longest.size(), 2U * 65538);
    EXPECT_EQ(longest.substr(longest.size() - 6), "AB9000");
    EXPECT_EQ(se.Apdu("8002"), "");
    EXPECT_THAT(world.LocatedLog(), Contains("E Apdu: eSE communication problem. rAPDU len 65539"));
}

TEST_F(SeApdu, SaysThatTheApduIsNotAvailableWhenItCannotBeSent) {
    Begin("", "[fault nfc_se_send_apdu]\nresult=NFC_ERROR_OPERATION_FAILED\n");
    EXPECT_EQ(se.Apdu("8001"), "");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::NoApdu);
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D Apdu: Sending command to SE", ContainsRegex("^E Apdu: APDU send error: .+"),
            "E Apdu: eSE communication problem. rAPDU len 0"));
}

TEST_F(SeApdu, ReportsAnUnknownErrorWhileTheChannelIsClosed) {
    Begin("");
    se.Close();
    world.ForgetLog();
    EXPECT_EQ(se.Apdu("8001"), "");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::UnknownError);
    EXPECT_EQ(Device::Calls("nfc_se_send_apdu"), 0U);
    EXPECT_THAT(world.LocatedLog(), Contains("D Apdu: SE not opened"));
}

TEST_F(SeApdu, FollowsMoreDataWithAFixedPrefixAndAsManyZeroBytesAsAreLeft) {
    Begin("answer 80CA9F7F00=AABB6110\nanswer 000C00*=01029000\n");
    EXPECT_EQ(se.Apdu("80CA9F7F00"), "01029000") << "the first part is dropped";
    EXPECT_THAT(
        Device::Exchanges(),
        ElementsAre(Exchange{"80CA9F7F00", "AABB6110"}, Exchange{"000C00" + Zeros(32), "01029000"}));
}

TEST_F(SeApdu, FollowsMoreDataOfUnknownLengthWithThePrefixAlone) {
    Begin("answer 8001=6100\nanswer 000C00=9000\n");
    EXPECT_EQ(se.Apdu("8001"), "9000");
    EXPECT_THAT(Device::Exchanges(), ElementsAre(Exchange{"8001", "6100"}, Exchange{"000C00", "9000"}));
}

TEST_F(SeApdu, FollowsAWrongLengthWithTheCommandButItsLastDigitAndZeroBytes) {
    Begin("answer 80CA9F7F00=6C05\nanswer 80CA9F7F00*=AA9000\n");
    EXPECT_EQ(se.Apdu("80CA9F7F00"), "AA9000");
    // 80CA9F7F0 and ten zeros: an odd text, so one more zero goes over the channel.
    EXPECT_THAT(
        Device::Exchanges(),
        ElementsAre(Exchange{"80CA9F7F00", "6C05"}, Exchange{"80CA9F7F0" + Zeros(11), "AA9000"}));
}

TEST_F(SeApdu, DropsTheLastDigitWhateverItIs) {
    Begin("answer 80CA9F7FFF=6C01\nanswer 80CA9F7FF000=9000\n");
    EXPECT_EQ(se.Apdu("80CA9F7FFF"), "9000");
}

TEST_F(SeApdu, BuildsASecondWrongLengthOnTheTextThatWasSentLast) {
    Begin("answer 80CA9F7F00=6C02\nanswer 80CA9F7F000000=6C01, 9000\n");
    EXPECT_EQ(se.Apdu("80CA9F7F00"), "9000");
    // First 80CA9F7F0 and 4 zeros, 13 digits; then 12 of these and 2 zeros.
    EXPECT_THAT(
        Device::Exchanges(), ElementsAre(
                                 Exchange{"80CA9F7F00", "6C02"}, Exchange{"80CA9F7F000000", "6C01"},
                                 Exchange{"80CA9F7F000000", "9000"}));
}

TEST_F(SeApdu, FollowsMoreDataAfterAWrongLength) {
    Begin("answer 8001=6C00\nanswer 8000=6101\nanswer 000C0000=009000\n");
    EXPECT_EQ(se.Apdu("8001"), "009000");
}

TEST_F(SeApdu, EndsAFollowUpThatFailsWithoutAResponse) {
    Begin("answer 8001=6101\nanswer 000C00*=90\n");
    EXPECT_EQ(se.Apdu("8001"), "");
    EXPECT_THAT(world.LocatedLog(), Contains("E Apdu: eSE communication problem. rAPDU len 1"));
}

TEST_F(SeApdu, GivesUpAfter65536FollowUps) {
    Begin("answer 8001=6100\nanswer 000C00=6100\n");
    EXPECT_EQ(se.Apdu("8001"), "");
    EXPECT_EQ(MostFollowUps + 1U, Device::ExchangeCount());
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done) << "as after any other communication problem";
    EXPECT_THAT(
        world.LocatedLog(),
        Contains("E Apdu: eSE never completes its response. Gave up after 65536 re-sends"));
}

TEST_F(SeApdu, TakesTheResponseToTheLastFollowUp) {
    Begin("answer 8001=6100\nanswer 000C00=6100*65535, 9000\n");
    EXPECT_EQ(se.Apdu("8001"), "9000");
    EXPECT_EQ(Device::ExchangeCount(), MostFollowUps + 1U);
}

TEST_F(SeApdu, GivesUpBeforeAFollowUpOfMoreThanAMebibyte) {
    Begin("answer 80*=6CFF\n");
    // Each follow-up is 509 characters longer than what went before.
    const std::string command = "80" + Zeros(LongestFollowUp - std::size_t{2} * 509 - 2);
    EXPECT_EQ(se.Apdu(command), "");
    EXPECT_EQ(Device::ExchangeCount(), 3U);
    EXPECT_THAT(
        world.LocatedLog(), Contains("E Apdu: eSE never completes its response. Gave up after 2 re-sends"));
    Device::ForgetExchanges();
    EXPECT_EQ(se.Apdu(command + "0"), "");
    EXPECT_EQ(Device::Calls("nfc_se_send_apdu") - 3U, 2U);
}

TEST_F(SeApdu, SendsAListInOrderAndGivesTheLastResponse) {
    Begin("answer 8001=AA6A82\nanswer 8002=BB9000\n");
    const char* const commands[] = {"8001", "8002"};
    EXPECT_EQ(se.Apdu(commands, 2), "BB9000");
    EXPECT_EQ(Device::ExchangeCount(), 2U);
}

TEST_F(SeApdu, StopsAListAtTheFirstCommandWithoutAResponse) {
    Begin("answer 8001=9000\nanswer 8002=empty\nanswer 8003=9000\n");
    const char* const commands[] = {"8001", "8002", "8003"};
    EXPECT_EQ(se.Apdu(commands, 3), "");
    EXPECT_EQ(Device::ExchangeCount(), 2U);
}

TEST_F(SeApdu, GivesNothingForAListOfNoCommands) {
    Begin("");
    EXPECT_EQ(se.Apdu(nullptr, 0), "");
    EXPECT_EQ(Device::Calls("nfc_se_send_apdu"), 0U);
    EXPECT_EQ(Na::GetResultCodeText(), "left behind");
}

TEST_F(SeApdu, SendsAnEmptyCommandAsOneOfNoLength) {
    Begin("");
    se.Apdu("");
    EXPECT_EQ(Device::Calls("nfc_se_send_apdu"), 1U);
}

TEST(SeWithoutReader, CannotBeOpenedOrUsed) {
    DeviceWorld world;
    Na::Se se(3);
    EXPECT_FALSE(se.Open());
    Na::SetResultCodeText("left behind");
    world.ForgetLog();
    se.Close();
    EXPECT_EQ(Na::GetResultCodeText(), "left behind");
    EXPECT_EQ(se.Apdu("8001"), "");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::UnknownError);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("E Apdu: FATAL: pReader is NULL"));
    EXPECT_EQ(se.GetCplc(), "");
    EXPECT_EQ(se.GetFreeMemory(), 0U);
}

TEST(SeSession, ClosesWhatItOpened) {
    DeviceWorld world;
    {
        Na::SeSession session(0);
        EXPECT_TRUE(session.IsOpen());
        EXPECT_EQ(Device::OpenHandles(), 1U);
    }
    EXPECT_EQ(Device::OpenHandles(), 0U);
    EXPECT_EQ(Device::Calls("nfc_se_close_secure_element"), 2U);
}

TEST(SeSession, ClosesNothingThatItCouldNotOpen) {
    DeviceWorld world;
    world.Configure("[fault nfc_se_open_secure_element]\nresult=-1\nfrom=2\n");
    {
        const Na::SeSession session(0);
    }
    EXPECT_EQ(Device::Calls("nfc_se_close_secure_element"), 1U);
}
