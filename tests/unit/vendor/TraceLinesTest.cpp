// SPDX-License-Identifier: Apache-2.0
// The lines that never reach the log, which are there for those who make them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "app/Lccm.h"
#include "device/vendor/CcmScript.h"
#include "tests/support/service/AllLines.h"
#include "tests/unit/vendor/LibraryJobs.h"

namespace {

using testing::ElementsAre;

class TraceLines : public LibraryJobs {
protected:
    // The job's own lines: those of the Agent's file and the name Do, without the dispatcher's.
    std::vector<std::string> Ask(const Na::RequestMap& request) {
        AllLines().clear();
        LibraryJobs::Ask(request);
        std::vector<std::string> lines = LinesOfSource("app/Agent.cpp");
        const auto isDispatchers = [](const std::string& line) {
            return line.substr(2, 4) != "Do: " || line.substr(0, 16) == "D Do: Job result";
        };
        lines.erase(std::remove_if(lines.begin(), lines.end(), isDispatchers), lines.end());
        return lines;
    }
};

const Na::RequestMap Injection = {{"Cmd", "3F0"},   {"keyName", "wallet"}, {"injectionType", "1"},
                                  {"keyType", "1"}, {"encodingType", "1"}, {"dalmData", "0A0B"}};
const Na::RequestMap SessionOpening = {
    {"Cmd", "3F3"}, {"keyName", "wallet"}, {"keyType", "1"}, {"encodingType", "1"}, {"dalmDataSize", "100"}};

}  // namespace

TEST_F(TraceLines, FollowTheLibraryThroughAnInjection) {
    EXPECT_THAT(
        Ask(Injection), ElementsAre(
                            "T Do: ", "T Do: Loading DALM library", "T Do: Key: 'wallet'",
                            "T Do: Converting data back to binary", "T Do: DALM library references: 0",
                            "T Do: Unloading DALM library"));
}

TEST_F(TraceLines, SayThatAnInjectionHasNoData) {
    Na::RequestMap request = Injection;
    request.erase("dalmData");
    request["injectionType"] = "2";
    EXPECT_THAT(
        Ask(request),
        ElementsAre(
            "T Do: ", "T Do: Loading DALM library", "T Do: No key data parameter", "T Do: Key: 'wallet'",
            "T Do: DALM library references: 0", "T Do: Unloading DALM library"));
}

TEST_F(TraceLines, CountTheReferencesOfASession) {
    Ask(Injection);
    EXPECT_THAT(
        Ask(SessionOpening),
        ElementsAre("T Do: ", "T Do: Loading DALM library", "T Do: DALM library references: 1"));
    EXPECT_THAT(
        Ask({{"Cmd", "3F1"}}),
        ElementsAre("T Do: ", "D Do: No injection type parameter", "T Do: DALM library references: 2"));
    EXPECT_THAT(Ask({{"Cmd", "3FF"}}).back(), "T Do: DALM library references: 2");
    EXPECT_THAT(
        Ask({{"Cmd", "3F4"}}),
        ElementsAre("T Do: ", "D Do: Calling dalm_releaseGetKeySession", "T Do: DALM library references: 1"));
    EXPECT_THAT(
        Ask({{"Cmd", "3F4"}}), ElementsAre(
                                   "T Do: ", "D Do: Calling dalm_releaseGetKeySession",
                                   "T Do: DALM library references: 0", "T Do: Unloading DALM library"));
    EXPECT_THAT(Ask({{"Cmd", "3F4"}}).back(), "T Do: DALM library references: -1");
    EXPECT_THAT(Ask(Injection).back(), "T Do: DALM library references: -1");
}

TEST_F(TraceLines, NameTheNumberThatIsUnsupported) {
    Na::RequestMap request = Injection;
    request["keyType"] = "-7";
    EXPECT_THAT(
        Ask(request), ElementsAre(
                          "T Do: ", "T Do: Loading DALM library", "D Do: Unsupported key type",
                          "T Do: type: -7", "T Do: DALM library references: 1"));
    request["encodingType"] = "3";
    EXPECT_THAT(Ask(request), testing::IsSupersetOf({"D Do: Unsupported key encoding", "T Do: type: 3"}));
    request["injectionType"] = "8";
    EXPECT_THAT(Ask(request), testing::IsSupersetOf({"D Do: Unsupported injection type", "T Do: type: 8"}));
}

TEST_F(TraceLines, EndWithTheLibraryThatDidNotLoad) {
    world.Configure("[key-provisioning]\nmissing=library\n");
    EXPECT_THAT(
        Ask(Injection), ElementsAre(
                            "T Do: ", "T Do: Loading DALM library",
                            testing::StartsWith("D Do: Error loading DALM library: ")));
}

TEST_F(TraceLines, ShowTheScriptAndTheSearchForItsConverter) {
    world.Configure("[card]\nanswer 8050=9000\n");
    EXPECT_THAT(
        Ask({{"Cmd", "90"}, {"CcmScriptData", "C55A58DA0AD2"}}),
        ElementsAre("T Do: CCM[12]: C55A58DA0AD2", "T Do: ", "T Do: "));
    const std::vector<std::string> lines = LinesOfSource("app/Lccm.cpp");
    EXPECT_THAT(
        lines, testing::IsSupersetOf(
                   {"T loadLibrary: Getting the address of openSecureSpi()",
                    "T loadLibrary: Getting the address of closeSecureSpi()",
                    "T loadLibrary: Getting the address of handleCCM()"}));
    const auto converting = std::find(lines.begin(), lines.end(), "D handleScript: Resolving received apdus");
    ASSERT_GE(converting - lines.begin(), 2);
    EXPECT_EQ(*(converting - 1), "T handleScript: ");
    EXPECT_EQ(*(converting - 2), "T handleScript: ");
}

TEST_F(TraceLines, ShowEachStepThroughAList) {
    Vendor::Bytes list = Vendor::PackApdus({{0x80, 0x50}, Vendor::Bytes(0x90, 0x80)});
    AllLines().clear();
    LibraryJobs::Ask({{"Cmd", "90"}, {"CcmScriptData", Device::HexText(Vendor::MakeScript(list))}});
    std::vector<std::string> lines = LinesOfSource("app/Lccm.cpp");
    const auto begin = std::find(lines.begin(), lines.end(), "D handleScript: Resolving received apdus");
    const auto end =
        std::find(lines.begin(), lines.end(), "D handleScript: Apdus were successfully distinguished");
    EXPECT_THAT(
        std::vector<std::string>(begin + 1, end),
        ElementsAre(
            "T nextApduOffset: start: 0, offset: 0, LEN : 2 (2)\n", "T handleScript: offset = 4",
            "T handleScript: ", "T nextApduOffset: start: 129, [90, 05] offset: 0, LEN : 90 (144)\n",
            "T handleScript: "));
}
