// SPDX-License-Identifier: Apache-2.0
// The table of causes holds whatever the service, the card, the server and the libraries may say.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "app/ResultCode.h"
#include "globalplatform/StatusMeaning.h"
#include "navo/Causes.h"
#include "navo/Client.h"

using Navo::Cause;
using Navo::CauseKind;
using Navo::CausesOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

std::vector<CauseKind> KindsOf(const std::string& code) {
    std::vector<CauseKind> kinds;
    for (const Cause& cause : CausesOf(code)) {
        kinds.push_back(cause.kind);
    }
    return kinds;
}

}  // namespace

TEST(Causes, KnowEachResultCodeOfTheService) {
    int codes = 0;
    for (const Na::ResultCodeEntry* row = Na::ResultCodeTable; row->code != 999999999; ++row) {
        if (std::strlen(row->codeText) == 8) {
            EXPECT_THAT(CausesOf(row->codeText, CauseKind::ResultCode), SizeIs(1)) << row->codeText;
            ++codes;
        }
    }
    EXPECT_GT(codes, 100);
}

TEST(Causes, NameNoResultCodeThatTheServiceDoesNotHave) {
    for (const Cause& cause : Navo::AllCauses()) {
        if (cause.kind == CauseKind::ResultCode && cause.code.find('x') == std::string::npos) {
            EXPECT_NE(Na::FindDescription(cause.code), nullptr) << cause.code;
        }
    }
}

TEST(Causes, SayOfAStatusWordWhatTheStandardsSay) {
    EXPECT_EQ(CausesOf("6A88").at(0).meaning, "The referenced data was not found.");
    for (const Cause& cause : Navo::AllCauses()) {
        EXPECT_THAT(cause.meaning, testing::Not(HasSubstr("nknown status word"))) << cause.code;
    }
}

TEST(Causes, KnowEachStatusWordThatTheStandardsName) {
    for (const char* word : {"9000", "6283", "6300", "6310", "6581", "6700", "6881", "6882", "6982",
                             "6983", "6985", "6A80", "6A81", "6A82", "6A84", "6A86", "6A88", "6D00",
                             "6E00", "6F00", "9484", "9485", "6102", "6C10", "63C2", "6B00", "9123"}) {
        EXPECT_THAT(CausesOf(word, CauseKind::StatusWord), SizeIs(1)) << word;
    }
    EXPECT_THAT(CausesOf("7000"), IsEmpty());
}

TEST(Causes, KnowEachErrorOfTheLibrary) {
    for (int kind = 0; kind <= static_cast<int>(Navo::ErrorKind::JobFailed); ++kind) {
        const char* const word = NameOf(static_cast<Navo::ErrorKind>(kind));
        EXPECT_THAT(CausesOf(word, CauseKind::Error), SizeIs(1)) << word;
    }
}

TEST(Causes, AreFoundByACodeAsItIsRead) {
    EXPECT_EQ(CausesOf("10100007_There is an error").at(0).code, "10100007");
    EXPECT_EQ(CausesOf("6a88").at(0).code, "6A88");
    EXPECT_EQ(CausesOf("0x6A88").at(0).code, "6A88");
    EXPECT_EQ(CausesOf("6C10").at(0).code, "6Cxx");
    EXPECT_EQ(CausesOf("418").at(0).code, "4xx");
}

TEST(Causes, TellApartWhatSharesANumber) {
    using Kinds = std::vector<CauseKind>;
    EXPECT_EQ(KindsOf("-2"), (Kinds{CauseKind::CcmVerdict, CauseKind::KeyVerdict}));
    EXPECT_EQ(KindsOf("404"), Kinds{CauseKind::HttpStatus});
    EXPECT_EQ(KindsOf("-101"), Kinds{CauseKind::KeyVerdict});
    EXPECT_EQ(KindsOf("timed-out"), Kinds{CauseKind::Error});
}

TEST(Causes, KnowNothingOfWhatIsNoCode) {
    for (const char* text : {"", "-", "zz", "600", "1234567", "-0", "-1x", "12345678", "6A8", "_", "--5"}) {
        EXPECT_THAT(CausesOf(text), IsEmpty()) << text;
    }
}

TEST(Causes, SayWhatToLookAtWheneverSomethingFailed) {
    for (const Cause& cause : Navo::AllCauses()) {
        const bool isGood = cause.code == "9000" || cause.code == "0" || cause.code == "cancelled";
        EXPECT_EQ(cause.lookAt.empty(), isGood) << cause.code;
        EXPECT_EQ(cause.meaning.back(), '.') << cause.code;
    }
}

TEST(Causes, HaveAWordForEachKind) {
    std::set<std::string> words;
    for (const Cause& cause : Navo::AllCauses()) {
        words.insert(NameOf(cause.kind));
    }
    EXPECT_THAT(words, SizeIs(6));
}
