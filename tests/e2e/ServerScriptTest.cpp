// SPDX-License-Identifier: Apache-2.0
// Scripts that the key server runs on the secure element through the service.
#include <gtest/gtest.h>

#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

namespace {

constexpr char CardScript[] = NAVO_SCRIPTS_DIR "/card.json";
constexpr char TestService[] = "test.service";
constexpr char Select[] = "00A4040000";

class ServerScript : public ::testing::Test {
protected:
    KeyServerProcess& Serve(const std::string& script, std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"--script", world.Write("script.json", script)});
        return world.StartKeyServer(options);
    }

    // Result of the shipped script with a server that misbehaves.
    std::string ResultWith(const std::string& misbehaviour) {
        world.StartKeyServer({"--misbehave", misbehaviour});
        return world.RunScript().returnCode;
    }

    World world;
};

TEST_F(ServerScript, TheShippedScriptRunsOverVerifiedHttpsWithOneHandshake) {
    KeyServerProcess& server = world.StartKeyServer();
    const World::Job job = world.RunScript();
    EXPECT_EQ(job.returnCode, Done);

    const std::vector<std::string> commands = CommandsOf(CardScript);
    EXPECT_GE(commands.size(), 10U);
    EXPECT_EQ(job.progress, ProgressOf(commands));

    EXPECT_EQ(server.Count("INITIALIZEAPDU"), 1U);
    EXPECT_GE(server.Count("NEXTAPDU"), 5U);
    const KeyServerProcess::Counts counts = server.Stop();
    EXPECT_EQ(counts.handshakes, 1U);
    EXPECT_EQ(counts.connections, 1U);
    EXPECT_EQ(counts.sessions, 1U);
    EXPECT_FALSE(world.LogHas("Error sending request"));
}

TEST_F(ServerScript, ItsMessagesCarryTheSessionTheCardAndTheDevice) {
    KeyServerProcess& server = world.StartKeyServer();
    EXPECT_EQ(world.RunScript().returnCode, Done);
    const auto messages = server.Messages();
    auto opening = messages.front().fields;
    const std::string uuid = opening["UUID"];
    EXPECT_EQ(uuid.size(), 36U);
    EXPECT_EQ(opening["sessionKey"].size(), 64U);
    EXPECT_EQ(opening["cplc"].size(), 84U);
    EXPECT_EQ(opening["seId"], opening["cplc"].substr(0, 36));
    EXPECT_EQ(opening["serviceId"], "demo.card");
    EXPECT_EQ(opening["pushReq"], "pushrequest") << "no blank is sent";
    EXPECT_EQ(opening["location"], "GB");
    EXPECT_EQ(opening.size(), 15U);
    for (std::size_t i = 1; i < messages.size(); ++i) {
        auto fields = messages[i].fields;
        EXPECT_EQ(fields["UUID"], uuid);
        EXPECT_EQ(fields["seId"], opening["seId"]);
        EXPECT_EQ(fields["rApduSet"].rfind("/01", 0), 0U);
        EXPECT_EQ(fields.size(), 5U);
    }
}

TEST_F(ServerScript, MissingFieldsAreSentEmptyAndGiveNoSessionKey) {
    KeyServerProcess& server = world.StartKeyServer();
    EXPECT_EQ(world.Ask({{"Cmd", "65"}}).at("ReturnCode"), ResultText::NoServiceId);
    auto fields = server.Messages().front().fields;
    EXPECT_EQ(fields["serviceId"], "");
    EXPECT_EQ(fields["pushReq"], "");
    EXPECT_EQ(fields["sessionKey"], "");
}

TEST_F(ServerScript, TwoJobsShareTheirConnectionAndNoSession) {
    KeyServerProcess& server = world.StartKeyServer();
    {
        Navo::Session session(world.Options());
        const Navo::Map request = {{"Cmd", "65"}, {"ServiceId", "demo.card"}, {"FcId", "A"}};
        EXPECT_EQ(session.Call(request).at("ReturnCode"), Done);
        EXPECT_EQ(session.Call(request).at("ReturnCode"), Done);
    }
    const auto messages = server.Messages();
    EXPECT_NE(messages.front().fields.at("UUID"), messages.back().fields.at("UUID"));
    const KeyServerProcess::Counts counts = server.Stop();
    EXPECT_EQ(counts.handshakes, 1U);
    EXPECT_EQ(counts.connections, 1U);
}

TEST_F(ServerScript, AnyFirstAnswerButCommandsEndsItWithoutTouchingTheCard) {
    KeyServerProcess& server = world.StartKeyServer({"--misbehave", "code=00000001"});
    const World::Job job = world.RunScript();
    EXPECT_EQ(job.returnCode, Done);
    EXPECT_TRUE(job.progress.empty());
    EXPECT_EQ(server.Stop().messages, 1U);
    EXPECT_FALSE(world.LogHas("CAPDU: "));
}

TEST_F(ServerScript, TheServersFinalCodeIsTheResult) {
    EXPECT_EQ(ResultWith("code=00000002@3"), ResultText::DoneButNfcOff);
    EXPECT_EQ(ResultWith("code=00000009@3"), ResultText::Retry);
    EXPECT_EQ(ResultWith("code=10600001@3"), ResultText::AddressChanged);
    EXPECT_EQ(ResultWith("code=20100000@3"), "20100000_");
    EXPECT_EQ(ResultWith("code=77777777@3"), "77777777");
    EXPECT_EQ(ResultWith("code=0000000@3"), "0000000");
}

TEST_F(ServerScript, AnswersWithoutAResultCodeEndItAsDone) {
    for (const char* misbehaviour :
         {"no-code@2", "numeric-code@2", "not-json=text@2", "not-json=html@2", "not-json=list@2",
          "not-json=number@2", "not-json=null@2", "not-json=truncated@2", "not-json=blank@2",
          "not-json=binary@2"}) {
        EXPECT_EQ(ResultWith(misbehaviour), Done) << misbehaviour;
    }
    EXPECT_EQ(ResultWith("not-json=nested@2"), ResultText::NoResponseFromServer)
        << "a text that nobody may read can say anything";
}

TEST_F(ServerScript, AnEmptyAnswerIsNoResponse) {
    EXPECT_EQ(ResultWith("empty@2"), ResultText::NoResponseFromServer);
}

TEST_F(ServerScript, AnHttpStatusIsItsOwnResult) {
    EXPECT_EQ(ResultWith("status=404@2"), "404");
    EXPECT_EQ(ResultWith("status=503@2"), "503");
    EXPECT_EQ(ResultWith("status=201@2"), "201");
}

TEST_F(ServerScript, TheContentTypeDoesNotMatter) {
    EXPECT_EQ(ResultWith("content-type=text/html"), Done);
}

TEST_F(ServerScript, CommandsThatAreMissingEndItInsteadOfSpinning) {
    KeyServerProcess& server = world.StartKeyServer({"--misbehave", "no-commands@2"});
    EXPECT_EQ(world.RunScript().returnCode, ResultText::NoApdu);
    EXPECT_EQ(server.Stop().messages, 2U);
}

TEST_F(ServerScript, AMalformedCommandIsReportedToTheServerWhichEndsIt) {
    KeyServerProcess& server = Serve(ScriptOf({{Select, "raw 9", Select}, {Select}}));
    const World::Job job = world.RunScript(TestService);
    EXPECT_EQ(job.returnCode.substr(0, 8), "90202004");
    EXPECT_EQ(job.progress, std::vector<std::string>{"A4_Select Service"});
    EXPECT_EQ(server.Messages().back().fields.at("rApduSet"), "21_takenwrongadpu.");
}

TEST_F(ServerScript, AServerMayGoOnAfterAMalformedCommand) {
    KeyServerProcess& server =
        Serve(ScriptOf({{"raw 9"}, {Select}}, R"({"onRelayFailure": {"do": "continue"}})"));
    EXPECT_EQ(world.RunScript(TestService).returnCode, Done);
    EXPECT_EQ(server.Count("NEXTAPDU"), 2U);
}

TEST_F(ServerScript, AServerMayRetryWhatTheCardDidNotAnswer) {
    KeyServerProcess& server = Serve(ScriptOf({{"80CA006600"}}, R"({"onRelayFailure": {"do": "retry"}})"));
    world.Device().LetCardAnswer("80CA006600", "empty*2, 9000");
    EXPECT_EQ(world.RunScript(TestService).returnCode, Done);
    EXPECT_EQ(server.Count("NEXTAPDU"), 3U);
    EXPECT_EQ(server.Messages()[1].fields.at("rApduSet"), "21_SDAPIException.");
}

TEST_F(ServerScript, AStatusWordThatTheServerDoesNotExpectEndsIt) {
    world.StartKeyServer();
    world.Device().LetCardAnswer("80CA00E000", "6985");
    const World::Job job = world.RunScript();
    EXPECT_EQ(job.returnCode, ResultText::CardJobFailed);
    EXPECT_EQ(job.progress.size(), 4U) << "the set of the refused command is the last";
}

TEST_F(ServerScript, FollowUpsOfTheCardStayBetweenServiceAndCard) {
    KeyServerProcess& server = Serve(ScriptOf({{"80CA006600"}}));
    world.Device().LetCardAnswer("80CA006600", "6102");
    world.Device().LetCardAnswer("000C000000", "ABCD9000");
    const World::Job job = world.RunScript(TestService);
    EXPECT_EQ(job.returnCode, Done);
    EXPECT_EQ(job.progress, std::vector<std::string>{"CA_Research"});
    EXPECT_EQ(server.Messages().back().fields.at("rApduSet"), "/01ABCD9000");
}

TEST_F(ServerScript, AResponseSetThatIsTooLongIsNotSentAndEndsItAsDone) {
    KeyServerProcess& server = Serve(ScriptOf({{"80CA006600"}, {Select}}));
    world.Device().LetCardAnswer("80CA006600", "AB{32766}9000");
    EXPECT_EQ(world.RunScript(TestService).returnCode, Done);
    EXPECT_EQ(server.Count("NEXTAPDU"), 0U);
}

TEST_F(ServerScript, TheLongestResponseSetIsSent) {
    KeyServerProcess& server = Serve(ScriptOf({{"80CA006600"}, {Select}}));
    world.Device().LetCardAnswer("80CA006600", "AB{32765}9000");
    EXPECT_EQ(world.RunScript(TestService).returnCode, Done);
    ASSERT_EQ(server.Count("NEXTAPDU"), 2U);
    EXPECT_EQ(server.Messages()[1].fields.at("rApduSet").size(), 65537U);
}

TEST_F(ServerScript, ACardThatCannotBeClosedReplacesTheServersCode) {
    world.StartKeyServer();
    world.Device().Break("nfc_se_close_secure_element", "NFC_ERROR_OPERATION_FAILED", 2);
    EXPECT_EQ(world.RunScript().returnCode, ResultText::ElementNotClosed);
}

TEST_F(ServerScript, ACardThatRefusesItsCplcEndsItAsDoneBeforeTheServerIsAsked) {
    KeyServerProcess& server = world.StartKeyServer();
    world.Device().LetCardAnswer("80CA9F7F00", "6A82");
    EXPECT_EQ(world.RunScript().returnCode, Done);
    EXPECT_EQ(server.Stop().messages, 0U);
}

TEST_F(ServerScript, WithoutANetworkNothingIsSent) {
    KeyServerProcess& server = world.StartKeyServer();
    world.Device().UnplugNetwork();
    EXPECT_EQ(world.RunScript().returnCode, ResultText::NetworkUnavailable);
    EXPECT_EQ(server.Stop().connections, 0U);
}

TEST_F(ServerScript, ANetworkThatGoesAwayInTheMiddleEndsIt) {
    KeyServerProcess& server = world.StartKeyServer();
    // Asked for before each message.
    world.Device().Break("connection_create", "CONNECTION_ERROR_OPERATION_FAILED", 4);
    EXPECT_EQ(world.RunScript().returnCode, ResultText::NetworkUnavailable);
    EXPECT_EQ(server.Stop().messages, 3U);
}

TEST_F(ServerScript, AScriptOfManyCommandsReportsEachOfThem) {
    std::vector<std::vector<std::string>> steps(60, std::vector<std::string>(10, "80CA006600"));
    KeyServerProcess& server = Serve(ScriptOf(steps));
    const World::Job job = world.RunScript(TestService);
    EXPECT_EQ(job.returnCode, Done);
    EXPECT_EQ(job.progress.size(), 600U);
    EXPECT_EQ(server.Stop().handshakes, 1U);
}

}  // namespace
