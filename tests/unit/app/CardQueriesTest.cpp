// SPDX-License-Identifier: Apache-2.0
// The two questions that jobs ask the card.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "app/ResultCode.h"
#include "app/Se.h"
#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/ResultCodePrinter.h"

namespace {

using Device::Exchange;
using testing::Contains;
using testing::ElementsAre;

class CardQueries : public testing::Test {
protected:
    void Begin(const std::string& query, const std::string& response) {
        world.Configure("[card]\nanswer 00A4040000=6F009000\nanswer " + query + "=" + response + "\n");
        ASSERT_TRUE(se.Open());
        Device::ForgetExchanges();
        world.ForgetLog();
        Na::SetResultCodeText("left behind");
    }

    std::string Cplc(const std::string& response) {
        Begin("80CA9F7F00", response);
        return se.GetCplc();
    }

    std::uint32_t FreeMemory(const std::string& response) {
        Begin("80CAFF2100", response);
        return se.GetFreeMemory();
    }

    DeviceWorld world;
    Na::Se se{0};
};

const std::string CplcData =
    "4F525731000150600100506100C0FFEE00424F5050654F4550664F495070000000014F53507100000002";

}  // namespace

TEST_F(CardQueries, SelectTheDefaultApplicationAndAskForTheCplc) {
    EXPECT_EQ(Cplc("9F7F2A" + CplcData + "9000"), CplcData);
    EXPECT_THAT(
        Device::Exchanges(),
        ElementsAre(
            Exchange{"00A4040000", "6F009000"}, Exchange{"80CA9F7F00", "9F7F2A" + CplcData + "9000"}));
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
}

TEST_F(CardQueries, CutTheCplcByCountingAlone) {
    EXPECT_EQ(Cplc("AABBCCDDEE9000"), "DDEE") << "neither tag nor length is looked at";
}

TEST_F(CardQueries, GiveNoCplcForAResponseOfUnderTenCharacters) {
    for (const std::string response : {"9000", "9F9000", "9F7F9000", "9F7F009000"}) {
        EXPECT_EQ(Cplc(response), "") << response;
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
    }
}

TEST_F(CardQueries, GiveNoCplcForARefusal) {
    EXPECT_EQ(Cplc("6A88"), "");
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done) << "the exchange itself went well";
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D Apdu: Sending command to SE", "D Apdu: Sending command to SE",
            "E isValidSW: Card responded with error SW: 6A88", "D GetCplc: Error indicated in SW"));
}

TEST_F(CardQueries, GiveNoCplcForAnEmptyResponse) {
    EXPECT_EQ(Cplc("empty"), "");
    EXPECT_THAT(world.LocatedLog(), Contains("E GetCplc: Empty response from card"));
}

TEST_F(CardQueries, DoNotAskForTheCplcWhenTheSelectHasNoResponse) {
    world.Configure("[card]\nanswer 00A4040000=empty\n");
    ASSERT_TRUE(se.Open());
    EXPECT_EQ(se.GetCplc(), "");
    EXPECT_EQ(Device::ExchangeCount(), 1U);
}

TEST_F(CardQueries, FindTheFreeMemoryInTheResourceTemplate) {
    EXPECT_EQ(FreeMemory("FF210E8102000A82040001E240830208009000"), 123456U);
    EXPECT_THAT(
        Device::Exchanges(), ElementsAre(
                                 Exchange{"00A4040000", "6F009000"},
                                 Exchange{"80CAFF2100", "FF210E8102000A82040001E240830208009000"}));
    EXPECT_THAT(world.LocatedLog(), Contains("D GetFreeMemory: SE memory: 123456"));
}

TEST_F(CardQueries, ReadTheFreeMemoryOfAnyWidth) {
    EXPECT_EQ(FreeMemory("FF21038201129000"), 0x12U);
    EXPECT_EQ(FreeMemory("FF210582031234569000"), 0x123456U);
    EXPECT_EQ(FreeMemory("FF210682047FFFFFFF9000"), 0x7FFFFFFFU);
    EXPECT_EQ(FreeMemory("FF210A820800000000000000129000"), 0x12U);
}

TEST_F(CardQueries, SaturateTheFreeMemory) {
    EXPECT_EQ(FreeMemory("FF21068204FFFFFFFF9000"), 2147483647U);
    EXPECT_EQ(FreeMemory("FF21068204800000009000"), 2147483647U);
    EXPECT_EQ(FreeMemory("FF210A8208FFFFFFFFFFFFFFFF9000"), 2147483647U);
    EXPECT_THAT(world.LocatedLog(), Contains("D GetFreeMemory: SE memory: 2147483647"));
}

TEST_F(CardQueries, FindNoFreeMemoryWhereThereIsNone) {
    for (const std::string response : {"9000", "FF21009000", "FF2104810200009000", "8204000012349000"}) {
        EXPECT_EQ(FreeMemory(response), 0U) << response;
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done) << response;
    }
}

TEST_F(CardQueries, FindNoFreeMemoryInARefusal) {
    EXPECT_EQ(FreeMemory("6A88"), 0U);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
    EXPECT_THAT(world.LocatedLog(), Contains("E isValidSW: Card responded with error SW: 6A88"));
    EXPECT_THAT(world.LocatedLog(), Contains("D GetFreeMemory: SE memory: 0"));
}

TEST_F(CardQueries, SayThatTheApduIsNotAvailableForAnEmptyMemoryResponse) {
    EXPECT_EQ(FreeMemory("empty"), 0U);
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::NoApdu);
}

TEST_F(CardQueries, RaiseWhenTheMemoryResponseIsCutShort) {
    EXPECT_THROW(FreeMemory("FF219000"), std::out_of_range);
    EXPECT_THROW(FreeMemory("FF2101829000"), std::out_of_range)
        << "a tag without a length inside the template";
}
