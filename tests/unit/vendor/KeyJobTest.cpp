// SPDX-License-Identifier: Apache-2.0
// Key-provisioning requests, from the request to the library and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/ResultCode.h"
#include "common/Locations.h"
#include "device/VirtualDevice.h"
#include "tests/support/service/ResultCodePrinter.h"
#include "tests/unit/vendor/LibraryJobs.h"

namespace {

using Na::RequestMap;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

constexpr char KeyFile[] = "etc/navo-device-keys.conf";

class KeyJob : public LibraryJobs {
protected:
    // The one text of a reply that has nothing else.
    std::string Verdict(const RequestMap& request) {
        const RequestMap reply = Ask(request);
        EXPECT_THAT(reply, ElementsAre(Pair("ReturnCode", testing::_)));
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::Done);
        return reply.empty() ? "" : reply.begin()->second;
    }

    // Injects the bytes of a hexadecimal text under a name.
    void Inject(const std::string& name, const std::string& value, const std::string& keyType = "1") {
        ASSERT_EQ(
            Verdict(
                {{"Cmd", "3F0"},
                 {"keyName", name},
                 {"injectionType", "1"},
                 {"keyType", keyType},
                 {"encodingType", "1"},
                 {"dalmData", value}}),
            "0");
    }

    std::string StoredKeys() const { return ReadFile(world.Path() / KeyFile); }
};

// Requests that lack nothing.
const RequestMap Injection = {{"Cmd", "3F0"},   {"keyName", "wallet"}, {"injectionType", "1"},
                              {"keyType", "1"}, {"encodingType", "1"}, {"dalmData", "0A0B"}};
const RequestMap Verification = {
    {"Cmd", "3F1"}, {"keyName", "wallet"}, {"injectionType", "1"}, {"keyType", "1"}};
const RequestMap UidReading = {
    {"Cmd", "3F2"}, {"keyName", "wallet"}, {"injectionType", "1"}, {"keyType", "1"}, {"dalmDataSize", "100"}};
const RequestMap SessionOpening = {
    {"Cmd", "3F3"}, {"keyName", "wallet"}, {"keyType", "1"}, {"encodingType", "1"}, {"dalmDataSize", "100"}};
const RequestMap Release = {{"Cmd", "3F4"}};

// A request with other values, and without the keys whose value here is null.
RequestMap With(RequestMap request, const std::vector<std::pair<std::string, const char*>>& changes) {
    for (const auto& change : changes) {
        if (change.second == nullptr) {
            request.erase(change.first);
        } else {
            request[change.first] = change.second;
        }
    }
    return request;
}

}  // namespace

TEST_F(KeyJob, InjectsBytesGivenInHexadecimal) {
    EXPECT_EQ(Verdict(Injection), "0");
    EXPECT_EQ(Device::Calls("dalm_keyInjection"), 1U);
    EXPECT_THAT(StoredKeys(), HasSubstr("[key wallet]\ntype=1\ninjection=1\n"));
    EXPECT_THAT(StoredKeys(), HasSubstr("\nvalue=0A0B\n"));
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

TEST_F(KeyJob, InjectsTextOfOtherEncodingsAsItIs) {
    EXPECT_EQ(Verdict(With(Injection, {{"encodingType", "2"}})), "0");
    EXPECT_THAT(StoredKeys(), HasSubstr("\nvalue=30413042\n"));
    EXPECT_EQ(
        Verdict(With(Injection, {{"encodingType", "4"}, {"keyName", "other"}, {"dalmData", "CgsM"}})), "0");
    EXPECT_THAT(StoredKeys(), HasSubstr("\nvalue=0A0B0C\n"));
}

TEST_F(KeyJob, InjectsNothingOfTheFirstTypeWithoutDataButOfTheSecond) {
    EXPECT_EQ(
        Verdict(With(Injection, {{"injectionType", "2"}, {"dalmData", ""}, {"keyName", "generated"}})), "0");
    EXPECT_EQ(Device::Calls("dalm_keyInjection"), 1U);
    EXPECT_THAT(StoredKeys(), testing::ContainsRegex("value=[0-9A-F]{64}\n"));
}

TEST_F(KeyJob, HandsEmptyDataOverInEveryEncoding) {
    for (const char* encoding : {"1", "2", "4"}) {
        const std::string name = std::string("key") + encoding;
        EXPECT_EQ(
            Verdict(With(
                Injection, {{"injectionType", "2"},
                            {"dalmData", ""},
                            {"encodingType", encoding},
                            {"keyName", name.c_str()}})),
            "0");
    }
}

TEST_F(KeyJob, NeedsNoEncodingWithoutData) {
    EXPECT_EQ(
        Verdict(With(Injection, {{"injectionType", "2"}, {"dalmData", nullptr}, {"encodingType", nullptr}})),
        "0");
    // Nor is one looked at.
    EXPECT_EQ(
        Verdict(With(
            Injection,
            {{"injectionType", "2"}, {"dalmData", nullptr}, {"encodingType", "9"}, {"keyName", "second"}})),
        "0");
    // The library decides about the first type without data.
    EXPECT_EQ(Verdict(With(Injection, {{"dalmData", nullptr}, {"keyName", "third"}})), "-106");
    EXPECT_EQ(Device::Calls("dalm_keyInjection"), 3U);
}

TEST_F(KeyJob, TakesUpTo10000CharactersOfData) {
    const std::string most(10000, 'A');
    EXPECT_EQ(Verdict(With(Injection, {{"dalmData", most.c_str()}})), "0");
    EXPECT_EQ(Verdict(With(Injection, {{"dalmData", (most + "A").c_str()}, {"keyName", "other"}})), "-30");
    EXPECT_EQ(Device::Calls("dalm_keyInjection"), 1U);
    EXPECT_THAT(JobLines(), ElementsAre("D Do: Wrong key data"));
}

TEST_F(KeyJob, VerifiesAnInjectedKey) {
    Inject("wallet", "0A0B");
    EXPECT_EQ(Verdict(Verification), "0");
    EXPECT_EQ(Verdict(With(Verification, {{"keyName", "stranger"}})), "-101");
    EXPECT_EQ(Verdict(With(Verification, {{"keyType", "2"}})), "-103");
    EXPECT_EQ(Verdict(With(Verification, {{"injectionType", "4"}})), "-103");
    EXPECT_EQ(Device::Calls("dalm_injectedKeyVerification"), 4U);
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

TEST_F(KeyJob, ReadsTheUidOfAnInjectedKey) {
    Inject("wallet", "0A0B");
    const RequestMap reply = Ask(UidReading);
    EXPECT_THAT(
        reply,
        ElementsAre(Pair("ReturnCode", "16"), Pair("dalmData", testing::MatchesRegex("[0-9A-F]{16}"))));
    EXPECT_THAT(StoredKeys(), HasSubstr("\nuid=" + reply.at("dalmData") + "\n"));
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

TEST_F(KeyJob, ReadsAUidThatFillsItsBufferWithoutAZeroByte) {
    Inject("wallet", "0A0B");
    world.Configure("[key-provisioning]\nterminate-uid=false\n");
    const RequestMap reply = Ask(With(UidReading, {{"dalmDataSize", "16"}}));
    EXPECT_THAT(
        reply,
        ElementsAre(Pair("ReturnCode", "16"), Pair("dalmData", testing::MatchesRegex("[0-9A-F]{16}"))));
    EXPECT_EQ(Verdict(With(UidReading, {{"dalmDataSize", "15"}})), "-105");
}

TEST_F(KeyJob, ReturnsNothingOfABufferThatTheLibraryDidNotFill) {
    world.Configure("[fault dalm_readInjectedKeyUID]\nresult=100\n");
    EXPECT_THAT(Ask(UidReading), ElementsAre(Pair("ReturnCode", "100"), Pair("dalmData", "")));
}

TEST_F(KeyJob, AsksForABufferOf1To10000Bytes) {
    Inject("wallet", "0A0B");
    for (const RequestMap& request : {UidReading, SessionOpening}) {
        const std::string function =
            request.at("Cmd") == "3F2" ? "dalm_readInjectedKeyUID" : "dalm_createGetKeySession";
        for (const char* size :
             {"0", "10001", "-1", "", "x", "99999999999999999999", "-99999999999999999999"}) {
            EXPECT_EQ(Verdict(With(request, {{"dalmDataSize", size}})), "-30") << size;
            EXPECT_THAT(JobLines(), ElementsAre("D Do: Incorrect size parameter passed"));
        }
        EXPECT_EQ(Device::Calls(function), 0U);
        EXPECT_EQ(Ask(With(request, {{"dalmDataSize", "1"}})).at("ReturnCode"), "-105");
        EXPECT_GT(std::stoi(Ask(With(request, {{"dalmDataSize", "10000"}})).at("ReturnCode")), 0);
        EXPECT_EQ(Device::Calls(function), 2U);
    }
}

TEST_F(KeyJob, ReadsNumbersLikeStrtolInBaseTen) {
    EXPECT_EQ(
        Verdict(With(Injection, {{"injectionType", " +1x"}, {"keyType", "01"}, {"encodingType", "1.9"}})),
        "0");
    EXPECT_EQ(Verdict(With(Verification, {{"keyType", "0x1"}})), "-11");
    // Numbers that only look right once they are cut to a byte.
    EXPECT_EQ(Verdict(With(Verification, {{"keyType", "257"}})), "-11");
    EXPECT_EQ(Verdict(With(Verification, {{"keyType", "4294967297"}})), "-11");
    EXPECT_EQ(Verdict(With(Verification, {{"injectionType", "-255"}})), "-10");
}

namespace {

// A request that one check refuses, though whatever is looked at later is wrong as well.
struct Refused {
    const char* name;
    RequestMap request;
    const char* verdict;
    const char* line;
};

void PrintTo(const Refused& row, std::ostream* stream) {
    *stream << row.name;
}

const char* const Wrong = "3";
const char* const None = nullptr;

const Refused Refusals[] = {
    {"InjectionWithoutAnything", {{"Cmd", "3F0"}}, "-12", "D Do: No key name parameter"},
    {"InjectionWithoutItsType",
     With(
         Injection, {{"injectionType", None}, {"encodingType", Wrong}, {"keyType", Wrong}, {"dalmData", ""}}),
     "-30", "D Do: No injection type parameter"},
    {"InjectionOfAnUnknownType",
     With(
         Injection,
         {{"injectionType", Wrong}, {"encodingType", Wrong}, {"keyType", Wrong}, {"dalmData", ""}}),
     "-10", "D Do: Unsupported injection type"},
    {"InjectionOfTheFirstTypeWithoutData",
     With(Injection, {{"dalmData", ""}, {"encodingType", None}, {"keyType", None}}), "-30",
     "D Do: Wrong key data"},
    {"InjectionWithoutAnEncoding", With(Injection, {{"encodingType", None}, {"keyType", Wrong}}), "-30",
     "D Do: No encoding type parameter"},
    {"InjectionOfAnUnknownEncoding", With(Injection, {{"encodingType", Wrong}, {"keyType", Wrong}}), "-13",
     "D Do: Unsupported key encoding"},
    {"InjectionWithoutAKeyType", With(Injection, {{"keyType", None}}), "-30", "D Do: No key type parameter"},
    {"InjectionOfAnUnknownKeyType", With(Injection, {{"keyType", "4"}}), "-11", "D Do: Unsupported key type"},
    {"InjectionWithoutDataOfAnUnknownKeyType", With(Injection, {{"keyType", Wrong}, {"dalmData", None}}),
     "-11", "D Do: Unsupported key type"},
    {"VerificationWithoutAnything", {{"Cmd", "3F1"}}, "-10", "D Do: No injection type parameter"},
    {"VerificationOfAnUnknownInjectionType",
     With(Verification, {{"injectionType", Wrong}, {"keyType", Wrong}, {"keyName", None}}), "-10",
     "D Do: Unsupported injection type"},
    {"VerificationWithoutAKeyType", With(Verification, {{"keyType", None}, {"keyName", None}}), "-11",
     "D Do: No key type parameter"},
    {"VerificationOfAnUnknownKeyType", With(Verification, {{"keyType", "4"}, {"keyName", None}}), "-11",
     "D Do: Unsupported key type"},
    {"VerificationWithoutAName", With(Verification, {{"keyName", None}}), "-12",
     "D Do: No key name parameter"},
    {"UidWithoutAnything", {{"Cmd", "3F2"}}, "-10", "D Do: No injection type parameter"},
    {"UidOfAnUnknownInjectionType",
     With(UidReading, {{"injectionType", "0"}, {"keyType", Wrong}, {"keyName", None}}), "-10",
     "D Do: Unsupported injection type"},
    {"UidWithoutAKeyType", With(UidReading, {{"keyType", None}, {"keyName", None}}), "-11",
     "D Do: No key type parameter"},
    {"UidOfAnUnknownKeyType", With(UidReading, {{"keyType", "0"}, {"keyName", None}}), "-11",
     "D Do: Unsupported key type"},
    {"UidWithoutAName", With(UidReading, {{"keyName", None}, {"dalmDataSize", None}}), "-12",
     "D Do: No key name parameter"},
    {"UidWithoutASize", With(UidReading, {{"dalmDataSize", None}}), "-4", "D Do: No data size parameter"},
    {"UidOfAWrongSize", With(UidReading, {{"dalmDataSize", "0"}}), "-30",
     "D Do: Incorrect size parameter passed"},
    {"SessionWithoutAnything", {{"Cmd", "3F3"}}, "-11", "D Do: No key type parameter"},
    {"SessionOfAnUnknownKeyType", With(SessionOpening, {{"keyType", Wrong}, {"keyName", None}}), "-11",
     "D Do: Unsupported key type"},
    {"SessionWithoutAName", With(SessionOpening, {{"keyName", None}, {"encodingType", None}}), "-12",
     "D Do: No key name parameter"},
    {"SessionWithoutAnEncoding", With(SessionOpening, {{"encodingType", None}, {"dalmDataSize", None}}),
     "-13", "D Do: No encoding type parameter"},
    {"SessionOfAnUnknownEncoding", With(SessionOpening, {{"encodingType", Wrong}, {"dalmDataSize", None}}),
     "-13", "D Do: Unsupported key encoding"},
    {"SessionWithoutASize", With(SessionOpening, {{"dalmDataSize", None}}), "-4",
     "D Do: No data size parameter"},
    {"SessionOfAWrongSize", With(SessionOpening, {{"dalmDataSize", "10001"}}), "-30",
     "D Do: Incorrect size parameter passed"},
};

class RefusedKeyJob : public KeyJob, public testing::WithParamInterface<Refused> {};

std::string NameOfRow(const testing::TestParamInfo<Refused>& row) {
    return row.param.name;
}

}  // namespace

TEST_P(RefusedKeyJob, EndsAtTheFirstWrongParameterAndLeavesItsReference) {
    EXPECT_EQ(Verdict(GetParam().request), GetParam().verdict);
    EXPECT_THAT(JobLines(), ElementsAre(GetParam().line));
    for (const char* function :
         {"dalm_keyInjection", "dalm_injectedKeyVerification", "dalm_readInjectedKeyUID",
          "dalm_createGetKeySession"}) {
        EXPECT_EQ(Device::Calls(function), 0U) << function;
    }
    // The reference that stays keeps the library; one release gives it back.
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    Ask(Release);
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

INSTANTIATE_TEST_SUITE_P(Requests, RefusedKeyJob, testing::ValuesIn(Refusals), NameOfRow);

TEST_F(KeyJob, AcceptsEveryTypeThatItKnows) {
    for (const char* injectionType : {"1", "2", "4"}) {
        for (const char* keyType : {"1", "2"}) {
            for (const char* encoding : {"1", "2", "4"}) {
                const std::string name = std::string("key") + injectionType + keyType + encoding;
                const std::vector<std::pair<std::string, const char*>> changes = {
                    {"keyName", name.c_str()},
                    {"injectionType", injectionType},
                    {"keyType", keyType},
                    {"encodingType", encoding},
                    {"dalmData", "AAAA"}};
                EXPECT_EQ(Verdict(With(Injection, changes)), "0") << name;
                EXPECT_EQ(Verdict(With(Verification, changes)), "0") << name;
                EXPECT_EQ(Ask(With(UidReading, changes)).at("ReturnCode"), "16") << name;
                EXPECT_EQ(Ask(With(SessionOpening, changes)).size(), 2U) << name;
                EXPECT_EQ(Verdict(Release), "0");
            }
        }
    }
}

TEST_F(KeyJob, LogsNothingOfItsOwnWhenAllGoesWell) {
    Inject("wallet", "0A0B");
    EXPECT_THAT(JobLines(), IsEmpty());
    Ask(SessionOpening);
    EXPECT_THAT(JobLines(), IsEmpty());
    Ask(Release);
    EXPECT_THAT(JobLines(), ElementsAre("D Do: Calling dalm_releaseGetKeySession"));
}

TEST_F(KeyJob, HandsOnWhateverTheLibraryAnswers) {
    struct {
        const char* function;
        RequestMap request;
    } const calls[] = {
        {"dalm_keyInjection", Injection},
        {"dalm_injectedKeyVerification", Verification},
        {"dalm_readInjectedKeyUID", UidReading},
        {"dalm_createGetKeySession", SessionOpening},
        {"dalm_releaseGetKeySession", Release}};
    for (const auto& call : calls) {
        for (const char* result : {"-77", "0", "-2147483648"}) {
            world.Configure(std::string("[fault ") + call.function + "]\nresult=" + result + "\n");
            EXPECT_EQ(Verdict(call.request), result) << call.function;
            EXPECT_EQ(Device::Calls(call.function), 1U);
        }
    }
    world.Configure("[fault dalm_keyInjection]\nresult=2147483647\n");
    EXPECT_EQ(Verdict(Injection), "2147483647");
}

TEST_F(KeyJob, SaysWhenTheLibraryIsMissing) {
    std::filesystem::remove(Locations::KeyProvisioningLibrary);
    for (const RequestMap& request :
         {Injection, Verification, UidReading, SessionOpening, Release, RequestMap{{"Cmd", "3FF"}}}) {
        EXPECT_EQ(Verdict(request), "-2");
        EXPECT_THAT(
            JobLines(),
            ElementsAre(AllOf(
                StartsWith("D Do: Error loading DALM library: "),
                HasSubstr(Locations::KeyProvisioningLibrary), HasSubstr("cannot open shared object file"))));
    }
    world.InstallInHouseLibraries();
    EXPECT_EQ(Verdict(Injection), "0");
}

TEST_F(KeyJob, SaysWhenTheDeviceLacksTheLibraryOrAnEntryPoint) {
    world.Configure("[key-provisioning]\nmissing=library\n");
    EXPECT_EQ(Verdict(Injection), "-2");
    EXPECT_THAT(JobLines(), ElementsAre(StartsWith("D Do: Error loading DALM library: ")));
    struct {
        const char* function;
        RequestMap request;
    } const calls[] = {
        {"dalm_keyInjection", Injection},
        {"dalm_injectedKeyVerification", Verification},
        {"dalm_readInjectedKeyUID", UidReading},
        {"dalm_createGetKeySession", SessionOpening},
        {"dalm_releaseGetKeySession", Release}};
    for (const auto& call : calls) {
        world.Configure(std::string("[key-provisioning]\nmissing=") + call.function + "\n");
        EXPECT_EQ(Verdict(call.request), "-2");
        EXPECT_THAT(
            JobLines(), ElementsAre(
                            "D Do: Error loading symbol from library",
                            AllOf(
                                StartsWith("E Do: Error opening function: "),
                                HasSubstr(std::string("undefined symbol: ") + call.function))));
        // The count was not touched, so the library goes at once.
        EXPECT_FALSE(IsLoaded(KeyLibraryName));
    }
}

TEST_F(KeyJob, HasNoEntryPointForTheLastCommand) {
    EXPECT_EQ(Verdict({{"Cmd", "3FF"}}), "-2");
    // The loader has nothing to complain about.
    EXPECT_THAT(JobLines(), ElementsAre("E Do: Error opening function: "));
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

TEST_F(KeyJob, LeavesTheLibraryOfASessionLoadedForACommandWithoutAnEntryPoint) {
    Inject("wallet", "0A0B");
    Ask(SessionOpening);
    EXPECT_EQ(Verdict({{"Cmd", "3FF"}}), "-2");
    EXPECT_TRUE(IsLoaded(KeyLibraryName));
    EXPECT_EQ(Verdict(Release), "0");
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}
