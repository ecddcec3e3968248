// SPDX-License-Identifier: Apache-2.0
// Running a job and sending its reply.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "app/Agent.h"
#include "app/ResultCode.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/RecordingPort.h"
#include "tests/support/service/ResultTexts.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class JobRun : public testing::Test {
protected:
    JobRun() { Na::SetResultCodeText("left behind"); }

    // Runs a job that does `work`; its reply is then in the port.
    void Run(const GivenJob::Work& work) {
        job = std::make_unique<GivenJob>(RequestOf(&agent, &port), work);
        world.ForgetLog();
        Na::Do(*job);
    }

    const RecordingPort::Reply& Reply() {
        if (port.replies.size() != 1) {
            throw std::runtime_error(std::to_string(port.replies.size()) + " replies instead of one");
        }
        return port.replies.front();
    }

    DeviceWorld world;
    RecordingPort port;
    Na::Agent agent;
    std::unique_ptr<GivenJob> job;
};

}  // namespace

TEST_F(JobRun, SendsABareStatusWhenTheJobLeftNoResult) {
    Run([](GivenJob&) { Na::SetResultCode(Na::ResultCode::ElementRefused); });
    EXPECT_TRUE(Reply().statusOnly);
    EXPECT_EQ(Reply().clientId, ClientId);
    EXPECT_THAT(Reply().result, ElementsAre(Pair("ReturnCode", ResultText::ElementRefused)));
    EXPECT_THAT(
        world.Log(),
        ElementsAre(
            "I/info: Done. Sending status to Client", testing::HasSubstr(" TaskComplete] "),
            testing::HasSubstr(std::string(" Do] Job execution status: ") + ResultText::ElementRefused),
            "I/info: Job execution is complete"));
}

TEST_F(JobRun, AddsTheStatusToTheResultOfTheJob) {
    Run([](GivenJob& running) {
        running.result["phoneInfo"] = "text";
        Na::SetResultCode(Na::ResultCode::Done);
    });
    EXPECT_FALSE(Reply().statusOnly);
    EXPECT_EQ(Reply().clientId, ClientId);
    EXPECT_THAT(Reply().result, ElementsAre(Pair("ReturnCode", ResultText::Done), Pair("phoneInfo", "text")));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre("D TaskComplete: ", std::string("D Do: Job result: ") + ResultText::Done));
    EXPECT_THAT(
        world.Log(), ElementsAre(
                         "I/info: Done. Sending status to Client", testing::_, testing::_,
                         "I/info: Job execution is complete"));
}

TEST_F(JobRun, KeepsAReturnCodeThatTheJobSet) {
    Run([](GivenJob& running) {
        running.result["ReturnCode"] = "9F7F";
        Na::SetResultCode(Na::ResultCode::UnknownError);
    });
    EXPECT_FALSE(Reply().statusOnly);
    EXPECT_THAT(Reply().result, ElementsAre(Pair("ReturnCode", "9F7F")));
    EXPECT_THAT(world.LocatedLog(), Contains("D Do: Job result: 9F7F"));
}

TEST_F(JobRun, KeepsAnEmptyReturnCodeThatTheJobSet) {
    Run([](GivenJob& running) { running.result["ReturnCode"] = ""; });
    EXPECT_THAT(Reply().result, ElementsAre(Pair("ReturnCode", "")));
}

TEST_F(JobRun, SendsTheResultOfWhoeverSetItLast) {
    Run([](GivenJob&) { Na::SetResultCodeText("503"); });
    EXPECT_THAT(Reply().result, ElementsAre(Pair("ReturnCode", "503")));
}

TEST_F(JobRun, LeavesTheJobsOwnMapAsItWas) {
    Run([](GivenJob& running) { running.result["MemoryInfo"] = "1"; });
    EXPECT_THAT(job->result, ElementsAre(Pair("MemoryInfo", "1")));
}

TEST_F(JobRun, SaysThatTheJobIsDoneOnceItHasRun) {
    std::vector<std::string> logAtWork;
    Run([&](GivenJob&) { logAtWork = world.Log(); });
    EXPECT_THAT(logAtWork, IsEmpty());
    EXPECT_THAT(world.Log(), Contains("I/info: Done. Sending status to Client"));
}

TEST_F(JobRun, SendsTheReplyBeforeItSaysThatTheJobIsComplete) {
    std::vector<std::string> logAtReply;
    port.onReply = [&] { logAtReply = world.Log(); };
    Run([](GivenJob&) {});
    EXPECT_THAT(logAtReply, Contains("I/info: Done. Sending status to Client"));
    EXPECT_THAT(logAtReply, testing::Not(Contains("I/info: Job execution is complete")));
    EXPECT_THAT(world.Log(), Contains("I/info: Job execution is complete"));
}

TEST_F(JobRun, TurnsAnExceptionIntoAnUnknownErrorAndAnOrdinaryReply) {
    Run([](GivenJob&) {
        Na::SetResultCode(Na::ResultCode::Done);
        throw std::out_of_range("length cut short");
    });
    EXPECT_TRUE(Reply().statusOnly);
    EXPECT_THAT(Reply().result, ElementsAre(Pair("ReturnCode", ResultText::UnknownError)));
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "E Do: Job ended by an exception: length cut short", "D TaskComplete: ",
                                std::string("D Do: Job execution status: ") + ResultText::UnknownError));
}

TEST_F(JobRun, SendsTheMapAsFarAsAnExceptionLetItBeFilled) {
    Run([](GivenJob& running) {
        running.result["MemoryInfo"] = "7";
        throw std::runtime_error("no more");
    });
    EXPECT_THAT(
        Reply().result, ElementsAre(Pair("MemoryInfo", "7"), Pair("ReturnCode", ResultText::UnknownError)));
}

TEST_F(JobRun, EndsQuietlyWhenTheClientHasGoneMeanwhile) {
    Run([](GivenJob& running) { running.request->port = nullptr; });
    EXPECT_THAT(port.replies, IsEmpty());
    EXPECT_THAT(world.Log(), Contains("I/info: Job execution is complete"));
}

TEST_F(JobRun, NamesAJobThatIsToBeTerminatedAndLetsItRun) {
    const GivenJob running(RequestOf(&agent, &port));
    world.ForgetLog();
    Na::TerminateJob(&running);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D TerminateJob: Terminating currently running job"));
}

TEST_F(JobRun, SaysNothingWhenThereIsNoJobToTerminate) {
    world.ForgetLog();
    Na::TerminateJob(nullptr);
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(JobRun, LogsTheBeginningAndTheEndOfAJobObject) {
    world.ForgetLog();
    {
        const GivenJob other(RequestOf(&agent, &port));
    }
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D AgentJob: ", "D ~AgentJob: "));
    EXPECT_THAT(
        world.Log(),
        testing::Each(testing::ContainsRegex("^D/\\[/src/app/Agent\\.cpp:[0-9]+ ~?AgentJob\\] $")));
}
