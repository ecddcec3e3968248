// SPDX-License-Identifier: Apache-2.0
// The key that a session's first message carries. The expected values were computed with sha256sum.
#include <gmock/gmock.h>

#include "app/NavoProxy.h"
#include "tests/support/service/DeviceWorld.h"

using Na::NavoProxy;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(SessionKey, CombinesBothValuesStretchedPastFiftyCharacters) {
    EXPECT_EQ(
        NavoProxy::GetSessionKey("150102030405", "ABCD1234", 50),  // 60 and 56 characters
        "B320F99A10AA1E0A3952E96699A5E364C5E9961B1D61AF10E8196333099A7CF9");
    EXPECT_EQ(
        NavoProxy::GetSessionKey("a", "b", 50),  // 51 each
        "D95EF6DF9554C1E2113915D7DB57870DC1ECA39A11DE109D925D92E42F1E8B89");
}

TEST(SessionKey, IsKeptOutOfTheLogWithAllThatItIsMadeOf) {
    const DeviceWorld world;
    NavoProxy::GetSessionKey("150102030405", "ABCD1234", 50);
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST(SessionKey, StretchesAValueOfFiftyCharactersOnceMore) {
    EXPECT_EQ(
        NavoProxy::GetSessionKey(std::string(51, 'x'), "yz", 50),  // 51 and 52
        "3A618B4551ECBCEEB8749F3619B6580859FA3705AD34FCBAC045ADD67765F8E9");
    EXPECT_EQ(
        NavoProxy::GetSessionKey(std::string(50, 'x'), "yz", 50),  // 100 and 52
        "1DE6EB7F1F9EF6065DFAD7A0AE176643699EA5AE8C7944C8998F392FC492B270");
}

TEST(SessionKey, KeepsLongerValuesWholeAndCutsToTheShorter) {
    EXPECT_EQ(
        NavoProxy::GetSessionKey(std::string(120, 'x'), std::string(70, 'y'), 50),
        "3F2E8F940E8F74B4D421D0341A66A4E04906A901B2E9CE165BF298AFC4C39A8C");
}

TEST(SessionKey, IsTheSameWithTheValuesExchanged) {
    EXPECT_EQ(
        NavoProxy::GetSessionKey("ABCD1234", "150102030405", 50),
        NavoProxy::GetSessionKey("150102030405", "ABCD1234", 50));
}

TEST(SessionKey, IsEmptyWithoutAValue) {
    const DeviceWorld world;
    EXPECT_EQ(NavoProxy::GetSessionKey("150102030405", "", 50), "");
    EXPECT_EQ(NavoProxy::GetSessionKey("", "ABCD1234", 50), "");
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("D GetSessionKey: Bad parameter", "D GetSessionKey: Bad parameter"));
}
