// SPDX-License-Identifier: Apache-2.0
// How the in-house libraries are loaded, and with which arguments the key-provisioning library is called. The
// libraries here are the test's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/Lccm.h"
#include "common/Locations.h"
#include "tests/unit/vendor/LibraryJobs.h"

namespace {

namespace fs = std::filesystem;

using Na::RequestMap;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::StartsWith;

// Copied, so that the process maps it under the service's own name for it.
void Install(const char* library, const char* location) {
    fs::remove(location);
    fs::copy_file(library, location);
}

class KeyLibraryCall : public LibraryJobs {
protected:
    KeyLibraryCall() { Install(NAVO_RECORDING_KEY_LIBRARY, Locations::KeyProvisioningLibrary); }

    // What the library was called with during one request.
    std::string CallOf(const RequestMap& request) {
        fs::remove("calls");
        EXPECT_EQ(Ask(request).at("ReturnCode"), "2");
        return ReadFile("calls");
    }
};

class UnboundLibrary : public LibraryJobs {
protected:
    UnboundLibrary() {
        Install(NAVO_UNBOUND_LIBRARY, Locations::KeyProvisioningLibrary);
        Install(NAVO_UNBOUND_LIBRARY, Locations::SecureSpiLibrary);
    }
};

const RequestMap Injection = {{"Cmd", "3F0"},   {"keyName", "wallet"}, {"injectionType", "4"},
                              {"keyType", "2"}, {"encodingType", "1"}, {"dalmData", "0a0B7"}};

// The injection with other values.
RequestMap With(const RequestMap& changes) {
    RequestMap request = changes;
    request.insert(Injection.begin(), Injection.end());
    return request;
}

}  // namespace

TEST_F(KeyLibraryCall, InjectsTheBytesThatHexadecimalTextStandsFor) {
    EXPECT_EQ(CallOf(Injection), "inject 4 2 wallet 0A0B70 3 1\n");
}

TEST_F(KeyLibraryCall, InjectsTheCharactersOfEveryOtherEncoding) {
    EXPECT_EQ(
        CallOf(With({{"encodingType", "2"}, {"dalmData", "0A z"}})), "inject 4 2 wallet 3041207A 4 2\n");
    EXPECT_EQ(
        CallOf(With({{"encodingType", "4"}, {"dalmData", "0A=="}})), "inject 4 2 wallet 30413D3D 4 4\n");
}

TEST_F(KeyLibraryCall, InjectsNoDataUnderAnAddressAllTheSame) {
    EXPECT_EQ(CallOf(With({{"dalmData", ""}})), "inject 4 2 wallet  0 1\n");
    EXPECT_EQ(CallOf(With({{"dalmData", ""}, {"encodingType", "4"}})), "inject 4 2 wallet  0 4\n");
}

TEST_F(KeyLibraryCall, InjectsMissingDataAsNoneInTheSecondEncoding) {
    RequestMap request = With({{"encodingType", "4"}});
    request.erase("dalmData");
    EXPECT_EQ(CallOf(request), "inject 4 2 wallet  0 2\n");
}

TEST_F(KeyLibraryCall, VerifiesByTypesAndName) {
    EXPECT_EQ(
        CallOf({{"Cmd", "3F1"}, {"keyName", "a b"}, {"injectionType", "4"}, {"keyType", "1"}}),
        "verify 4 1 a b\n");
}

TEST_F(KeyLibraryCall, ReadsAUidUpToItsFirstZeroByteWhateverTheResult) {
    const RequestMap request = {
        {"Cmd", "3F2"}, {"keyName", ""}, {"injectionType", "4"}, {"keyType", "1"}, {"dalmDataSize", "10000"}};
    EXPECT_EQ(CallOf(request), "uid 4 1  10000\n");
    EXPECT_THAT(Ask(request), ElementsAre(Pair("ReturnCode", "2"), Pair("dalmData", std::string(5000, 'X'))));
}

TEST_F(KeyLibraryCall, LeavesOutAUidThatIsNoText) {
    EXPECT_THAT(
        Ask(
            {{"Cmd", "3F2"},
             {"keyName", "binary"},
             {"injectionType", "1"},
             {"keyType", "1"},
             {"dalmDataSize", "8"}}),
        ElementsAre(Pair("ReturnCode", "2")));
    EXPECT_THAT(JobLines(), ElementsAre("E Do: Returned key data is no UTF-8 text and stays here"));
}

TEST_F(KeyLibraryCall, OpensASessionAndReturnsAsManyBytesAsTheResultSays) {
    RequestMap request = {
        {"Cmd", "3F3"},
        {"keyName", "wallet"},
        {"keyType", "2"},
        {"encodingType", "4"},
        {"dalmDataSize", "77"}};
    EXPECT_EQ(CallOf(request), "open 2 wallet 77 4\n");
    EXPECT_THAT(Ask(request), ElementsAre(Pair("ReturnCode", "2"), Pair("dalmData", "ZZ")));
    request["encodingType"] = "1";
    EXPECT_THAT(Ask(request), ElementsAre(Pair("ReturnCode", "2"), Pair("dalmData", "5A5A")));
}

TEST_F(KeyLibraryCall, ReleasesWithoutAnything) {
    EXPECT_EQ(CallOf({{"Cmd", "3F4"}}), "release\n");
}

TEST_F(UnboundLibrary, IsNoKeyProvisioningLibrary) {
    EXPECT_EQ(Ask({{"Cmd", "3FF"}}).at("ReturnCode"), "-2");
    EXPECT_THAT(
        JobLines(), ElementsAre(AllOf(
                        StartsWith("D Do: Error loading DALM library: "),
                        HasSubstr("undefined symbol: nobodyHasThisFunction"))));
}

TEST_F(UnboundLibrary, IsNoSecureSpiLibrary) {
    Na::Lccm::LibraryState state = {};
    world.ForgetLog();
    EXPECT_FALSE(Na::Lccm::loadLibrary(state));
    EXPECT_EQ(state.openSecureSpi, nullptr);
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D loadLibrary: Loading sem library", AllOf(
                                                      StartsWith("E loadLibrary: Dlopen fails. "),
                                                      HasSubstr("undefined symbol: nobodyHasThisFunction"))));
}
