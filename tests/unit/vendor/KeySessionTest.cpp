// SPDX-License-Identifier: Apache-2.0
// Get-key sessions, and how long the library stays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device/VirtualDevice.h"
#include "tests/unit/vendor/LibraryJobs.h"

namespace {

using Na::RequestMap;
using testing::ElementsAre;
using testing::Pair;

class KeySession : public LibraryJobs {
protected:
    std::string Inject(const std::string& name, const std::string& value) {
        return Ask({{"Cmd", "3F0"},
                    {"keyName", name},
                    {"injectionType", "1"},
                    {"keyType", "1"},
                    {"encodingType", "1"},
                    {"dalmData", value}})
            .at("ReturnCode");
    }

    RequestMap Open(const std::string& name, const char* encoding = "1", const char* size = "10000") {
        return Ask(
            {{"Cmd", "3F3"},
             {"keyName", name},
             {"keyType", "1"},
             {"encodingType", encoding},
             {"dalmDataSize", size}});
    }

    std::string Release() { return Ask({{"Cmd", "3F4"}}).at("ReturnCode"); }

    // A request whose parameters are refused.
    void Raise() { EXPECT_EQ(Ask({{"Cmd", "3F0"}}).at("ReturnCode"), "-12"); }

    std::string Verify(const std::string& name) {
        return Ask({{"Cmd", "3F1"}, {"keyName", name}, {"injectionType", "1"}, {"keyType", "1"}})
            .at("ReturnCode");
    }
};

}  // namespace

TEST_F(KeySession, ReturnsTheKeyInEachEncoding) {
    Inject("wallet", "48656C6C6F21");
    EXPECT_THAT(Open("wallet", "1"), ElementsAre(Pair("ReturnCode", "6"), Pair("dalmData", "48656C6C6F21")));
    Release();
    EXPECT_THAT(Open("wallet", "2"), ElementsAre(Pair("ReturnCode", "6"), Pair("dalmData", "Hello!")));
    Release();
    EXPECT_THAT(Open("wallet", "4"), ElementsAre(Pair("ReturnCode", "8"), Pair("dalmData", "SGVsbG8h")));
}

TEST_F(KeySession, HoldsTheLibraryUntilItIsReleased) {
    Inject("wallet", "0A0B");
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
    Open("wallet");
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    EXPECT_EQ(Verify("wallet"), "0");
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    EXPECT_EQ(Release(), "0");
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

TEST_F(KeySession, HoldsTheLibraryAlsoWhenItDidNotOpen) {
    EXPECT_THAT(Open("stranger"), ElementsAre(Pair("ReturnCode", "-101")));
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    EXPECT_EQ(Release(), "-108");
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

TEST_F(KeySession, OpensOnceAndCountsTwice) {
    Inject("wallet", "0A0B");
    Open("wallet");
    EXPECT_THAT(Open("wallet"), ElementsAre(Pair("ReturnCode", "-107")));
    EXPECT_EQ(Release(), "0");
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    EXPECT_EQ(Release(), "-108");
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

TEST_F(KeySession, IsNotOpenAfterABufferThatWasTooSmall) {
    Inject("wallet", "0A0B");
    EXPECT_THAT(Open("wallet", "1", "1"), ElementsAre(Pair("ReturnCode", "-105")));
    EXPECT_THAT(Open("wallet", "1", "2"), ElementsAre(Pair("ReturnCode", "2"), Pair("dalmData", "0A0B")));
}

TEST_F(KeySession, KeepsTheLibraryThatARefusedParameterLeftLoaded) {
    Raise();
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    EXPECT_EQ(Inject("wallet", "0A0B"), "0");
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    Release();
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

TEST_F(KeySession, NeverLosesTheLibraryAgainAfterALoneRelease) {
    EXPECT_EQ(Release(), "-108");
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    EXPECT_EQ(Inject("wallet", "0A0B"), "0");
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    EXPECT_EQ(Release(), "-108");
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    // Only refused parameters bring the count, now -2, back to 0.
    Raise();
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    Raise();
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

TEST_F(KeySession, LosesTheLibraryUnderItsFeetWhenItOpensAtACountBelowZero) {
    Inject("wallet", "0A0B");
    EXPECT_EQ(Release(), "-108");
    EXPECT_THAT(Open("wallet"), ElementsAre(Pair("ReturnCode", "2"), Pair("dalmData", "0A0B")));
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
    // The library that is loaded next knows of no session.
    EXPECT_EQ(Release(), "-108");
}

TEST_F(KeySession, CountsAMissingEntryPointNeitherUpNorDown) {
    Inject("wallet", "0A0B");
    Open("wallet");
    world.Configure("[key-provisioning]\nmissing=dalm_releaseGetKeySession; dalm_keyInjection\n");
    EXPECT_EQ(Release(), "-2");
    EXPECT_EQ(Inject("other", "0A0B"), "-2");
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    world.Configure("");
    EXPECT_EQ(Release(), "0");
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

TEST_F(KeySession, IsTakenUpByALibraryThatWasRemovedFromTheDeviceMeanwhile) {
    Inject("wallet", "0A0B");
    Open("wallet");
    world.Configure("[key-provisioning]\nmissing=library\n");
    EXPECT_EQ(Verify("wallet"), "0");
    EXPECT_EQ(Release(), "0");
    EXPECT_EQ(Verify("wallet"), "-2");
}

TEST_F(KeySession, ReturnsNoMoreThanItsBufferHolds) {
    world.Configure("[fault dalm_createGetKeySession]\nresult=20000\n");
    EXPECT_THAT(
        Open("wallet", "1", "3"), ElementsAre(Pair("ReturnCode", "20000"), Pair("dalmData", "000000")));
    world.Configure("[fault dalm_createGetKeySession]\nresult=2147483647\n");
    EXPECT_EQ(Open("wallet", "1", "10000").at("dalmData"), std::string(20000, '0'));
}

TEST_F(KeySession, GivesDataThatIsNoHexadecimalTextUpToItsFirstZeroByte) {
    struct {
        const char* name;
        const char* value;
        const char* arriving;
    } const keys[] = {{"middle", "410042", "A"}, {"trailing", "414200", "AB"}, {"leading", "0041", ""}};
    for (const auto& key : keys) {
        ASSERT_EQ(Inject(key.name, key.value), "0");
        const std::string size = std::to_string(std::string(key.value).size() / 2);
        EXPECT_THAT(
            Open(key.name, "2"), ElementsAre(Pair("ReturnCode", size), Pair("dalmData", key.arriving)));
        Release();
    }
}

TEST_F(KeySession, LeavesOutDataThatTheBusCannotCarry) {
    struct {
        const char* name;
        const char* value;
    } const keys[] = {
        {"byte", "FF"}, {"cut", "C3"}, {"surrogate", "EDA080"}, {"cut before its zero byte", "41FF0042"}};
    for (const auto& key : keys) {
        ASSERT_EQ(Inject(key.name, key.value), "0");
        const std::string size = std::to_string(std::string(key.value).size() / 2);
        EXPECT_THAT(Open(key.name, "2"), ElementsAre(Pair("ReturnCode", size))) << key.name;
        EXPECT_THAT(JobLines(), ElementsAre("E Do: Returned key data is no UTF-8 text and stays here"));
        Release();
        // The same key in hexadecimal arrives.
        EXPECT_THAT(Open(key.name, "1"), ElementsAre(Pair("ReturnCode", size), Pair("dalmData", key.value)));
        Release();
    }
}

TEST_F(KeySession, ReturnsTextBeyondAsciiAsItIs) {
    Inject("wallet", "C3A9F09F9491");
    EXPECT_EQ(Open("wallet", "2").at("dalmData"), "\xC3\xA9\xF0\x9F\x94\x91");
}
