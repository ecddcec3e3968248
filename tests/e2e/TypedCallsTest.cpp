// SPDX-License-Identifier: Apache-2.0
// The client library's typed calls, blocking and on a main loop, with the service as it ships.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <functional>

#include "navo/AsyncSession.h"
#include "navo/Jobs.h"
#include "tests/support/world/World.h"
#include "tests/unit/client/MainLoop.h"

namespace {

namespace Jobs = Navo::Jobs;

constexpr char Cplc[] =
    "4F5257310001506001005061AABBCCDD00424F5050654F4550664F4950700000000A4F5350710000000B";
constexpr char AesKey[] = "000102030405060708090A0B0C0D0E0F";

class TypedCalls : public ::testing::Test {
protected:
    TypedCalls() { world.Device().SetCplc(Cplc); }

    World world;
};

TEST_F(TypedCalls, AskTheServiceForEverythingItKnows) {
    world.StartKeyServer();
    Navo::Session session(world.Options());
    session.Do(Jobs::SeStatus());
    EXPECT_EQ(session.Do(Jobs::Cplc()), Cplc);
    EXPECT_GT(session.Do(Jobs::FreeMemory()), 0);
    EXPECT_THAT(session.Do(Jobs::PhoneInfo()), testing::HasSubstr("deviceModel: "));
    std::vector<std::string> progress;
    Navo::CallOptions options;
    options.onProgress = [&progress](const std::string& text) { progress.push_back(text); };
    session.Do(Jobs::RunScript({"demo.card"}), options);
    EXPECT_THAT(progress, testing::Contains("A4_Select Service"));
    session.Do(Jobs::CheckEligibility());
    session.Do(Jobs::SetAddress("127.0.0.1:1"));
    EXPECT_THROW(session.Do(Jobs::RunScript({"demo.card"})), Navo::JobFailed);
}

TEST_F(TypedCalls, ReachTheInHouseLibraries) {
    world.InstallInHouseLibraries();
    const Jobs::KeyName key = {"wallet", Jobs::KeyType::Symmetric};
    Navo::Session session(world.Options());
    EXPECT_GE(session.Do(Jobs::InjectKey(key, Jobs::InjectionType::Given, Jobs::KeyText{AesKey})), 0);
    EXPECT_GE(session.Do(Jobs::VerifyKey(key, Jobs::InjectionType::Given)), 0);
    EXPECT_FALSE(session.Do(Jobs::KeyUid(key, Jobs::InjectionType::Given)).empty());
    EXPECT_EQ(session.Do(Jobs::GetKey(key)), AesKey);
    EXPECT_GE(session.Do(Jobs::ReleaseKey()), 0);
    try {
        session.Do(Jobs::PlayCcmScript("00112233"));
        ADD_FAILURE() << "a script that is none was played";
    } catch (const Navo::JobFailed& failure) {
        EXPECT_EQ(failure.Result().code, "-4");
    }
}

// Ends of calls and progress, in the order in which a main loop is told.
class Told {
public:
    Navo::OnEnd<void> Done(const std::string& word) {
        return [this, word](std::future<void> done) {
            try {
                done.get();
                seen.push_back(word);
            } catch (const Navo::ClientError& error) {
                seen.emplace_back(NameOf(error.Kind()));
            }
        };
    }
    Navo::OnEnd<std::string> Value() {
        return [this](std::future<std::string> value) { seen.push_back(value.get()); };
    }
    Navo::CallOptions Progress() {
        Navo::CallOptions options;
        options.onProgress = [this](const std::string& text) { seen.push_back(text); };
        return options;
    }
    std::function<bool()> Last(const std::string& text) const {
        return [this, text] { return !seen.empty() && seen.back() == text; };
    }

    std::vector<std::string> seen;
};

TEST_F(TypedCalls, AreAnsweredOnAMainLoopInTheirOrder) {
    world.StartKeyServer();
    MainLoop loop;
    Told told;
    Navo::AsyncSession session(world.Options(), told.Done("opened"));
    session.Start(Jobs::RunScript({"demo.card"}), told.Done("done"), told.Progress());
    session.Start(Jobs::Cplc(), told.Value());
    loop.RunUntil(told.Last(Cplc));
    ASSERT_GT(told.seen.size(), 4U);
    EXPECT_EQ(told.seen[0], "opened");
    EXPECT_EQ(told.seen[1], "A4_Select Service");
    EXPECT_EQ(*(told.seen.end() - 2), "done");
}

TEST_F(TypedCalls, AreGivenUpWhileTheServiceDoesSomethingElse) {
    MainLoop loop;
    Told told;
    Navo::AsyncSession session(world.Options(), told.Done("opened"));
    loop.RunUntil(told.Last("opened"));
    const pid_t service = world.ServiceProcess();
    ASSERT_EQ(kill(service, SIGSTOP), 0);
    const auto first = session.Start(Jobs::CheckEligibility(), told.Done("done"), told.Progress());
    session.Start(Jobs::Cplc(), told.Value(), told.Progress());
    session.Cancel(first);
    loop.RunUntil(told.Last("cancelled"));
    ASSERT_EQ(kill(service, SIGCONT), 0);
    session.Close(told.Done("closed"));
    loop.RunUntil(told.Last("closed"));
    EXPECT_THAT(told.seen, testing::ElementsAre("opened", "cancelled", Cplc, "closed"));
}

}  // namespace
