// SPDX-License-Identifier: Apache-2.0
// From a request map to a job, or to the reason why there is none.
#include "app/Agent.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "app/ResultCode.h"
#include "app/jobs/CcmData.h"
#include "app/jobs/Dalm.h"
#include "app/jobs/DeviceQueries.h"
#include "app/jobs/ServerScript.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/RecordingPort.h"
#include "tests/support/service/ResultCodePrinter.h"
#include "tests/support/service/ResultTexts.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

class AgentOfAClient : public testing::Test {
protected:
    AgentOfAClient() {
        Na::SetResultCodeText("left behind");
        world.ForgetLog();
    }

    void Send(const Na::RequestMap& data) { agent.Trigger_ClientData(&port, ClientId, data); }

    // The one reply, which has to be a bare status.
    std::string Status() {
        EXPECT_EQ(port.replies.size(), 1U);
        if (port.replies.size() != 1) {
            return "";
        }
        const RecordingPort::Reply& reply = port.replies.front();
        EXPECT_EQ(reply.clientId, ClientId);
        EXPECT_TRUE(reply.statusOnly);
        EXPECT_EQ(reply.result.size(), 1U);
        return reply.result.count("ReturnCode") != 0 ? reply.result.at("ReturnCode") : "";
    }

    std::unique_ptr<Na::AgentJob> Construct(const std::string& command) {
        return agent.ConstructJob(RequestOf(&agent, &port, {{"Cmd", command}}));
    }

    DeviceWorld world;
    RecordingPort port;
    Na::Agent agent;
};

template <typename Job>
bool Is(const std::unique_ptr<Na::AgentJob>& job) {
    return dynamic_cast<const Job*>(job.get()) != nullptr;
}

}  // namespace

TEST_F(AgentOfAClient, SaysThatTheDataIsMissingWhenTheRequestIsEmpty) {
    Send({});
    EXPECT_EQ(Status(), ResultText::RequestEmpty);
    EXPECT_THAT(world.Log(), Contains("I/info: Request from Client arrived"));
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D Trigger_ClientData: Client ID: dbus;com.example.wallet_2817",
                                "E Trigger_ClientData: Empty request from client application"));
}

TEST_F(AgentOfAClient, SaysThatTheCommandIsMissingWhenTheRequestHasNone) {
    Send({{"cmd", "67"}, {"hostAddr", "kms.example"}});
    EXPECT_EQ(Status(), ResultText::CommandMissing);
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D Trigger_ClientData: Client ID: dbus;com.example.wallet_2817", "D ConstructJob: data : 0",
            std::string("E Trigger_ClientData: Error starting a new job: ") + ResultText::CommandMissing));
}

TEST_F(AgentOfAClient, TakesACommandWithoutDigitsForTheWrongCommandZero) {
    for (const std::string command : {"ZZ", "", " ", "-", "0x", "G67"}) {
        port.replies.clear();
        world.ForgetLog();
        Send({{"Cmd", command}});
        EXPECT_EQ(Status(), ResultText::WrongCommand) << command;
        EXPECT_THAT(
            world.LocatedLog(),
            ElementsAre(
                StartsWith("D Trigger_ClientData: Client ID: "), "D ConstructJob: data : 1",
                "D ConstructJob: cmd: 0", "D ConstructJob: Wrong command: 0",
                std::string("E Trigger_ClientData: Error starting a new job: ") + ResultText::WrongCommand))
            << command;
    }
}

TEST_F(AgentOfAClient, SaysThatTheDataIsInvalidWhenTheCommandOverflows) {
    for (const std::string command : {"10000000000000000", "-FFFFFFFFFFFFFFFFF", "0x8000000000000000"}) {
        port.replies.clear();
        world.ForgetLog();
        Send({{"Cmd", command}});
        EXPECT_EQ(Status(), ResultText::CommandUnreadable) << command;
        EXPECT_THAT(
            world.LocatedLog(), ElementsAre(
                                    StartsWith("D Trigger_ClientData: Client ID: "),
                                    "D ConstructJob: data : 1", "D ConstructJob: Wrong parameter",
                                    std::string("E Trigger_ClientData: Error starting a new job: ") +
                                        ResultText::CommandUnreadable))
            << command;
    }
}

TEST_F(AgentOfAClient, ReadsACommandAnewWhateverErrorWentBefore) {
    errno = ERANGE;
    EXPECT_TRUE(Is<Na::Job_GET_CPLC>(Construct("67")));
    EXPECT_EQ(Construct("10000000000000000"), nullptr);
    EXPECT_TRUE(Is<Na::Job_GET_CPLC>(Construct("67")));
}

TEST_F(AgentOfAClient, NeverNarrowsTheNumberOfACommand) {
    for (const std::string command : {"100000067", "1000001F4", "FFFFFFFF00000066", "7FFFFFFF00000067"}) {
        EXPECT_EQ(Construct(command), nullptr) << command;
    }
    EXPECT_THAT(port.askedAbout, IsEmpty());
}

TEST_F(AgentOfAClient, ReadsACommandAsALenientHexadecimalNumber) {
    for (const std::string command :
         {"1f4", "1F4", " 1F4", "\t\n1F4", "0x1F4", "0X1f4", "1F4Z", "1F4 67", "+1F4", "0001F4"}) {
        EXPECT_TRUE(Is<Na::Job_GET_PHONEINFO>(Construct(command))) << command;
    }
}

TEST_F(AgentOfAClient, ChoosesTheJobByTheCommand) {
    EXPECT_TRUE(Is<Na::Job_SET_JOB_EXECUTOR>(Construct("65")));
    EXPECT_TRUE(Is<Na::Job_GET_SE_STATUS>(Construct("66")));
    EXPECT_TRUE(Is<Na::Job_GET_CPLC>(Construct("67")));
    EXPECT_TRUE(Is<Na::Job_GET_MEMORY>(Construct("68")));
    EXPECT_TRUE(Is<Na::Job_CHECK_ELIGIBILITY>(Construct("69")));
    EXPECT_TRUE(Is<Na::Job_HANDLE_CCM_DATA>(Construct("90")));
    EXPECT_TRUE(Is<Na::Job_GET_PHONEINFO>(Construct("1F4")));
    for (const std::string command : {"3F0", "3F1", "3F2", "3F3", "3F4", "3FF"}) {
        EXPECT_TRUE(Is<Na::Job_DALM>(Construct(command))) << command;
    }
    EXPECT_TRUE(Is<Na::Job_SET_ADDRESS>(Construct("1F5")));
}

TEST_F(AgentOfAClient, RefusesEveryOtherNumber) {
    for (const std::string command :
         {"1", "64", "6A", "8F", "91", "1F3", "1F6", "3EF", "3F5", "3FD", "400", "167", "-67", "101"}) {
        Na::SetResultCodeText("left behind");
        EXPECT_EQ(Construct(command), nullptr) << command;
        EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::WrongCommand) << command;
    }
    EXPECT_THAT(world.LocatedLog(), Contains("D ConstructJob: Wrong command: 106"));
    EXPECT_THAT(world.LocatedLog(), Contains("D ConstructJob: Wrong command: -103"));
    EXPECT_THAT(world.LocatedLog(), Contains("D ConstructJob: cmd: 6a"));
}

TEST_F(AgentOfAClient, GivesTheJobItsRequestAndNoResult) {
    const auto job = Construct("67");
    ASSERT_NE(job, nullptr);
    ASSERT_NE(job->request, nullptr);
    EXPECT_TRUE(job->result.empty());
    EXPECT_EQ(job->request->agent, &agent);
    EXPECT_EQ(job->request->port, &port);
    EXPECT_EQ(job->request->clientId, ClientId);
    EXPECT_EQ(job->request->readerKind, 0);
    EXPECT_EQ(job->request->cplc, "");
    EXPECT_EQ(job->request->seId, "");
}

TEST_F(AgentOfAClient, RefusesPrivilegedCommandsOfARegularClient) {
    port.trusted = false;
    for (const std::string command : {"1F4", "1F5", "3FE"}) {
        port.replies.clear();
        world.ForgetLog();
        Send({{"Cmd", command}, {"hostAddr", "kms.example"}});
        EXPECT_EQ(Status(), ResultText::WrongCommand) << command;
        EXPECT_THAT(
            world.LocatedLog(),
            ElementsAre(
                StartsWith("D Trigger_ClientData: Client ID: "), "D ConstructJob: data : 1",
                StartsWith("D ConstructJob: cmd: "),
                "D ConstructJob: Privileged command from dbus;com.example.wallet_2817",
                "D ConstructJob: Not authorized", "D ConstructJob: Wrong command: -1",
                std::string("E Trigger_ClientData: Error starting a new job: ") + ResultText::WrongCommand))
            << command;
    }
    EXPECT_THAT(port.askedAbout, ElementsAre(ClientId, ClientId, ClientId));
}

TEST_F(AgentOfAClient, RefusesTheReservedCommandOfAPrivilegedClientToo) {
    Send({{"Cmd", "3FE"}});
    EXPECT_EQ(Status(), ResultText::WrongCommand);
    EXPECT_THAT(port.askedAbout, ElementsAre(ClientId));
    EXPECT_THAT(
        world.LocatedLog(), IsSupersetOf(
                                {"D ConstructJob: cmd: 3fe",
                                 "D ConstructJob: Privileged command from dbus;com.example.wallet_2817",
                                 "D ConstructJob: Wrong command: 1022"}));
    EXPECT_THAT(world.LocatedLog(), Not(Contains("D ConstructJob: Not authorized")));
}

TEST_F(AgentOfAClient, LetsARegularClientUseEveryOtherCommandUnasked) {
    port.trusted = false;
    for (const std::string command : {"65", "66", "67", "68", "69", "90", "3F0", "3FF"}) {
        EXPECT_NE(Construct(command), nullptr) << command;
    }
    EXPECT_THAT(port.askedAbout, IsEmpty());
    EXPECT_THAT(world.LocatedLog(), Not(Contains(StartsWith("D ConstructJob: Privileged"))));
}

TEST_F(AgentOfAClient, StartsTheJobOfAnAcceptedRequest) {
    Send({{"Cmd", "66"}});
    EXPECT_EQ(Status(), ResultText::WrongCommand);
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D Trigger_ClientData: Client ID: dbus;com.example.wallet_2817", "D ConstructJob: data : 1",
            "D ConstructJob: cmd: 66", "D AgentJob: ", "D Trigger_ClientData: Starting Job",
            "D TaskComplete: ", std::string("D Do: Job execution status: ") + ResultText::WrongCommand));
    const std::vector<std::string> log = world.Log();
    ASSERT_EQ(log.size(), 10U);
    EXPECT_EQ(log.front(), "I/info: Request from Client arrived");
    EXPECT_THAT(log[5], EndsWith(" Starting Job"));
    EXPECT_EQ(log[6], "I/info: Done. Sending status to Client");
    EXPECT_EQ(log.back(), "I/info: Job execution is complete");
}

TEST_F(AgentOfAClient, KeepsAJobAfterItsReply) {
    Send({{"Cmd", "66"}});
    EXPECT_THAT(world.LocatedLog(), Contains("D AgentJob: "));
    EXPECT_THAT(world.LocatedLog(), Not(Contains("D ~AgentJob: ")));
}

TEST_F(AgentOfAClient, AnswersEachOfManyRequestsOnce) {
    for (int i = 0; i < 50; ++i) {
        Send({{"Cmd", i % 2 == 0 ? "66" : "nonsense"}});
    }
    EXPECT_EQ(port.replies.size(), 50U);
}

TEST_F(AgentOfAClient, LeavesTheClientsOwnMapAlone) {
    const Na::RequestMap data = {{"Cmd", "1F5"}};
    Send(data);
    EXPECT_EQ(data.size(), 1U);
}

TEST_F(AgentOfAClient, AnswersNothingWhenItIsUninitialised) {
    Na::Agent moved(std::move(agent));
    world.ForgetLog();
    agent.Trigger_ClientData(&port, ClientId, {{"Cmd", "66"}});
    agent.Trigger_ClientData(&port, ClientId, {});
    EXPECT_THAT(port.replies, IsEmpty());
    EXPECT_EQ(Na::GetResultCodeText(), "left behind");
    EXPECT_THAT(world.Log(), Contains("I/info: Request from Client arrived"));
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D Trigger_ClientData: Client ID: dbus;com.example.wallet_2817",
                                "E Trigger_ClientData: Fatal: use of uninitialized object",
                                "D Trigger_ClientData: Client ID: dbus;com.example.wallet_2817",
                                "E Trigger_ClientData: Fatal: use of uninitialized object"));
    moved.Trigger_ClientData(&port, ClientId, {{"Cmd", "66"}});
    EXPECT_EQ(port.replies.size(), 1U);
}

TEST_F(AgentOfAClient, ShutsDownWhenItGoes) {
    world.ForgetLog();
    {
        const Na::Agent other;
    }
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(StartsWith("D Agent: 0x"), StartsWith("D ~Agent: 0x"), "D Trigger_Shutdown: "));
}

TEST_F(AgentOfAClient, DoesNotShutDownTwiceWhenItHasMoved) {
    world.ForgetLog();
    {
        Na::Agent first;
        const Na::Agent second(std::move(first));
    }
    const std::vector<std::string> log = world.LocatedLog();
    EXPECT_EQ(std::count(log.begin(), log.end(), "D Trigger_Shutdown: "), 1);
}
