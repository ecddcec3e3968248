// SPDX-License-Identifier: Apache-2.0
// What each typed call sends, and what it makes of a reply.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "navo/Jobs.h"
#include "tests/support/service/ResultTexts.h"

using Navo::ErrorKind;
using Navo::Map;
using testing::HasSubstr;
namespace Jobs = Navo::Jobs;

namespace {

const Jobs::KeyName Wallet = {"wallet", Jobs::KeyType::Asymmetric};

// What the job failed with; fails the running test when it did not.
template <typename Value>
Navo::Outcome FailureOf(const Navo::Job<Value>& job, const Map& reply) {
    try {
        job.read(reply);
    } catch (const Navo::JobFailed& failure) {
        EXPECT_EQ(failure.Kind(), ErrorKind::JobFailed);
        return failure.Result();
    }
    ADD_FAILURE() << "no failure came";
    return {};
}

Map Saying(const std::string& text) {
    return {{"ReturnCode", text}};
}

}  // namespace

TEST(Jobs, SendTheirCommandAndWhatItTakes) {
    const Map script = {{"Cmd", "65"}, {"ServiceId", "WALLET-01"}, {"FcId", "ISSUE"}, {"pushReq", "p"}};
    EXPECT_EQ(Jobs::RunScript({"WALLET-01", "ISSUE", "p"}).request, script);
    EXPECT_EQ(Jobs::RunScript({"WALLET-01"}).request.at("FcId"), "");
    EXPECT_EQ(Jobs::SeStatus().request, (Map{{"Cmd", "66"}}));
    EXPECT_EQ(Jobs::Cplc().request, (Map{{"Cmd", "67"}}));
    EXPECT_EQ(Jobs::FreeMemory().request, (Map{{"Cmd", "68"}}));
    EXPECT_EQ(Jobs::CheckEligibility().request, (Map{{"Cmd", "69"}}));
    EXPECT_EQ(Jobs::PlayCcmScript("0A0B").request, (Map{{"Cmd", "90"}, {"CcmScriptData", "0A0B"}}));
    EXPECT_EQ(Jobs::PhoneInfo().request, (Map{{"Cmd", "1F4"}}));
    EXPECT_EQ(Jobs::SetAddress("h:1").request, (Map{{"Cmd", "1F5"}, {"hostAddr", "h:1"}}));
}

TEST(Jobs, SendWhatKeyCommandsTake) {
    const Map key = {{"keyName", "wallet"}, {"keyType", "2"}};
    const auto with = [&key](Map more) {
        more.insert(key.begin(), key.end());
        return more;
    };
    EXPECT_EQ(
        Jobs::InjectKey(Wallet, Jobs::InjectionType::Generated).request,
        with({{"Cmd", "3F0"}, {"injectionType", "2"}}));
    EXPECT_EQ(
        Jobs::InjectKey(Wallet, Jobs::InjectionType::Given, Jobs::KeyText{"QQ==", Jobs::EncodingType::Base64})
            .request,
        with({{"Cmd", "3F0"}, {"injectionType", "1"}, {"dalmData", "QQ=="}, {"encodingType", "4"}}));
    EXPECT_EQ(
        Jobs::VerifyKey(Wallet, Jobs::InjectionType::Sealed).request,
        with({{"Cmd", "3F1"}, {"injectionType", "4"}}));
    EXPECT_EQ(
        Jobs::KeyUid(Wallet, Jobs::InjectionType::Given, 16).request,
        with({{"Cmd", "3F2"}, {"injectionType", "1"}, {"dalmDataSize", "16"}}));
    EXPECT_EQ(
        Jobs::GetKey(Wallet).request,
        with({{"Cmd", "3F3"}, {"encodingType", "1"}, {"dalmDataSize", "10000"}}));
    EXPECT_EQ(Jobs::ReleaseKey().request, (Map{{"Cmd", "3F4"}}));
}

TEST(Jobs, GiveWhatTheReplyHolds) {
    EXPECT_EQ(Jobs::Cplc().read(Saying("4790AB")), "4790AB");
    EXPECT_EQ(Jobs::FreeMemory().read({{"ReturnCode", "4096"}, {"MemoryInfo", "4096"}}), 4096);
    EXPECT_EQ(Jobs::PhoneInfo().read({{"ReturnCode", ResultText::Done}, {"phoneInfo", "m: x\n"}}), "m: x\n");
    EXPECT_EQ(Jobs::PlayCcmScript("00").read({{"ReturnCode", ResultText::Done}, {"LccmReturnCode", "0"}}), 0);
    EXPECT_EQ(Jobs::InjectKey(Wallet, Jobs::InjectionType::Given).read(Saying("7")), 7);
    EXPECT_EQ(Jobs::VerifyKey(Wallet, Jobs::InjectionType::Given).read(Saying("0")), 0);
    EXPECT_EQ(Jobs::ReleaseKey().read(Saying("0")), 0);
    const Map data = {{"ReturnCode", "2"}, {"dalmData", "0A0B"}};
    EXPECT_EQ(Jobs::KeyUid(Wallet, Jobs::InjectionType::Given).read(data), "0A0B");
    EXPECT_EQ(Jobs::GetKey(Wallet).read(data), "0A0B");
    Jobs::RunScript({"WALLET-01"}).read(Saying(ResultText::Done));
    Jobs::CheckEligibility().read(Saying(ResultText::Done));
    Jobs::SetAddress("h").read(Saying(ResultText::Done));
    Jobs::SeStatus().read(Saying(ResultText::WrongCommand));
}

TEST(Jobs, FailWithWhatTheServiceSays) {
    const Navo::Outcome refused = FailureOf(Jobs::Cplc(), Saying(ResultText::ElementRefused));
    EXPECT_EQ(refused.code, "10400006");
    EXPECT_EQ(refused.description, "No permission to access eSE");
    EXPECT_EQ(FailureOf(Jobs::RunScript({"x"}), Saying("404")).code, "404");
    EXPECT_EQ(FailureOf(Jobs::CheckEligibility(), Saying(ResultText::UnknownError)).code, "10000000");
    EXPECT_EQ(FailureOf(Jobs::FreeMemory(), Saying("0")).message, "0");
    EXPECT_EQ(FailureOf(Jobs::PhoneInfo(), Saying(ResultText::WrongCommand)).code, "10000001");
    EXPECT_EQ(FailureOf(Jobs::SetAddress("h"), Saying(ResultText::UnknownError)).code, "10000000");
    EXPECT_EQ(FailureOf(Jobs::SeStatus(), Saying(ResultText::UnknownError)).code, "10000000");
    EXPECT_EQ(FailureOf(Jobs::ReleaseKey(), Saying("-2")).code, "-2");
    EXPECT_EQ(
        FailureOf(Jobs::PlayCcmScript("00"), {{"ReturnCode", ResultText::Done}, {"LccmReturnCode", "-4"}})
            .code,
        "-4");
}

TEST(Jobs, SayInWordsWhatFailed) {
    const Navo::JobFailed failure(Navo::Interpret(Navo::Command::KeyReleaseSession, Saying("-2")));
    EXPECT_THAT(failure.what(), HasSubstr("-2: "));
    EXPECT_THAT(failure.what(), HasSubstr("library"));
}

TEST(Jobs, TakeNoNumberThatIsNone) {
    try {
        Jobs::FreeMemory().read({{"ReturnCode", "4096"}, {"MemoryInfo", "much"}});
        ADD_FAILURE() << "no error came";
    } catch (const Navo::ClientError& error) {
        EXPECT_EQ(error.Kind(), ErrorKind::UnexpectedReply);
        EXPECT_THAT(error.what(), HasSubstr("much"));
    }
}
