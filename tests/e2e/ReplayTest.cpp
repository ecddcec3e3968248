// SPDX-License-Identifier: Apache-2.0
// Sessions that are recorded on one back-end and answered from the recording afterwards.
#include <gtest/gtest.h>

#include "tests/e2e/ReaderWorld.h"

namespace {

namespace fs = std::filesystem;

using Commands = std::vector<std::vector<std::string>>;

const Commands& PlainScript() {
    static const Commands script = {{"00A4040000", "80CA9F7F00"}, {"80CA006600"}, {"80CA00E000"}};
    return script;
}

class Replay : public ::testing::Test {
protected:
    // Runs the script with this secure element; what the server was told.
    std::string Run(const Commands& script, const std::map<std::string, std::string>& card) {
        world.Device().SetCard(card);
        KeyServerProcess& server =
            world.StartKeyServer({"--script", world.Write("script.json", ScriptOf(script))});
        returnCode = world.RunScript("test.service").returnCode;
        std::string told;
        for (const KeyServerProcess::Message& message : server.Messages()) {
            const auto responses = message.fields.find("rApduSet");
            told += responses == message.fields.end() ? "" : responses->second + "\n";
        }
        server.Stop();
        return told;
    }

    std::string Record(const Commands& script, std::map<std::string, std::string> card) {
        card["record"] = recording;
        return Run(script, card);
    }
    std::string Again(const Commands& script) {
        return Run(script, {{"back-end", "replay"}, {"recording", recording}});
    }

    // Number of the line of the recording with this text, counted from 1, as the device's log has it.
    std::string PlaceOf(const std::string& text) const {
        const std::vector<std::string> lines = LinesOf(TextOf(recording));
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (lines[i].find(text) != std::string::npos) {
                return recording + ":" + std::to_string(i + 1) + ": ";
            }
        }
        ADD_FAILURE() << text << " is not in the recording";
        return {};
    }

    World world;
    std::string recording = world.Folder() / "session.jsonl";
    std::string returnCode;
};

TEST_F(Replay, AnswersAsTheSoftwareCardDid) {
    const std::string told = Record(PlainScript(), {{"back-end", "software"}});
    EXPECT_EQ(returnCode, Done);
    EXPECT_EQ(Again(PlainScript()), told);
    EXPECT_EQ(returnCode, Done);
    EXPECT_FALSE(world.LogHas("not asked for"));
}

TEST_F(Replay, AnswersAsTheCardInTheReaderDid) {
    if (!PrivatePcscd::Impediment().empty()) {
        GTEST_SKIP() << "no pcscd here: " << PrivatePcscd::Impediment();
    }
    std::string told;
    {
        PrivatePcscd service(world.Folder());
        const CardInReader card(service);
        told = Record(PlainScript(), {{"back-end", "pcsc"}});
        EXPECT_EQ(returnCode, Done);
    }
    EXPECT_EQ(Again(PlainScript()), told);
    EXPECT_EQ(returnCode, Done);
}

TEST_F(Replay, FailsAsTheCardInTheReaderDid) {
    if (!PrivatePcscd::Impediment().empty()) {
        GTEST_SKIP() << "no pcscd here: " << PrivatePcscd::Impediment();
    }
    std::string told;
    {
        PrivatePcscd service(world.Folder());
        CardInReader card(service);
        card.At(4, [] {});
        told = Record(PlainScript(), {{"back-end", "pcsc"}});
    }
    const std::string recorded = returnCode;
    EXPECT_EQ(told.rfind("21_SDAPIException."), 0U) << told;
    EXPECT_EQ(Again(PlainScript()), told);
    EXPECT_EQ(returnCode, recorded);
    EXPECT_EQ(world.LogCount("APDU send error: NFC is already deactivated"), 2U);
    EXPECT_TRUE(world.LogHas(PlaceOf("Card was removed") + "SCardTransmit"));
}

TEST_F(Replay, NamesTheLineOfTheFirstCommandThatDiffers) {
    Record(PlainScript(), {});
    const std::string told = Again({{"00A4040000", "80CA9F7F00"}, {"80CA004200"}, {"80CA00E000"}});
    EXPECT_NE(returnCode, Done);
    EXPECT_NE(told.find("21_SDAPIException."), std::string::npos);
    EXPECT_TRUE(
        world.LogHas(PlaceOf("80CA006600") + "the command differs: recorded 80CA006600, sent 80CA004200"));
}

TEST_F(Replay, FailsWhereTheRecordedSessionEnds) {
    Record(PlainScript(), {});
    Commands longer = PlainScript();
    longer.push_back({"80CA9F7F00"});
    Again(longer);
    EXPECT_NE(returnCode, Done);
    EXPECT_TRUE(world.LogHas("the recorded session ends here, before command 80CA9F7F00"));
}

TEST_F(Replay, SaysWhatWasNotAskedFor) {
    Record(PlainScript(), {});
    Again({{"00A4040000"}});
    EXPECT_EQ(returnCode, Done);
    EXPECT_TRUE(world.LogHas("3 recorded exchanges of the session were not asked for"));
}

TEST_F(Replay, FailsWhenTheRecordingHasNoFurtherSession) {
    world.Device().SetCard({{"record", recording}});
    EXPECT_EQ(world.Ask({{"Cmd", "67"}}).at("ReturnCode").size(), 84U);
    world.Device().SetCard({{"back-end", "replay"}, {"recording", recording}});
    Navo::Session session(world.Options());
    EXPECT_EQ(session.Call({{"Cmd", "67"}}).at("ReturnCode").size(), 84U);
    EXPECT_EQ(session.Call({{"Cmd", "67"}}).at("ReturnCode"), UnknownError);
    EXPECT_TRUE(world.LogHas("the recording has ended with line"));
}

TEST_F(Replay, ARecordingThatCannotBeWrittenIsAFailureThatIsTold) {
    world.Device().SetCard({{"record", "/dev/full"}});
    EXPECT_EQ(world.Ask({{"Cmd", "67"}}).at("ReturnCode"), UnknownError);
    EXPECT_TRUE(world.LogHas("/dev/full: the recording cannot be written: No space left on device"));
    world.Device().SetCard({{"record", "/nowhere/session.jsonl"}});
    EXPECT_EQ(world.Ask({{"Cmd", "67"}}).at("ReturnCode"), UnknownError);
    EXPECT_TRUE(world.LogHas("/nowhere/session.jsonl: the recording cannot be written: No such file"));
}

TEST_F(Replay, ADamagedRecordingIsAMistakeOfTheDevice) {
    world.Device().SetCard({{"record", recording}});
    EXPECT_EQ(world.Ask({{"Cmd", "67"}}).at("ReturnCode").size(), 84U);
    const std::string text = TextOf(recording);
    world.Write("session.jsonl", text.substr(0, text.size() - 10));
    world.Device().SetCard({{"back-end", "replay"}, {"recording", recording}});
    EXPECT_NE(world.Ask({{"Cmd", "67"}}).at("ReturnCode").size(), 84U);
    EXPECT_TRUE(
        world.LogHas(recording + ":" + std::to_string(LinesOf(text).size()) + ": this is no JSON object"));
}

}  // namespace
