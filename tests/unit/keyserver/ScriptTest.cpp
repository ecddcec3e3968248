// SPDX-License-Identifier: Apache-2.0
#include "keyserver/scripted/Script.h"

#include <gmock/gmock.h>

#include <set>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/keyserver/Samples.h"

using namespace KeyServer;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string MistakeIn(const std::string& script) {
    try {
        ParseScript(script, "file.json");
    } catch (const ScriptError& error) {
        return error.what();
    }
    return {};
}

// Where there is more than one.
std::string FirstMistakeIn(const std::string& script) {
    const std::string mistakes = MistakeIn(script);
    return mistakes.substr(0, mistakes.find('\n'));
}

std::string WithCommand(const std::string& command) {
    return R"({"serviceId":"s","steps":[{"commands":[")" + std::string("00A40400") + R"(",)" + command +
           "]}]}";
}

std::string WithStep(const std::string& step) {
    return R"({"serviceId":"s","steps":[)" + step + "]}";
}

std::string With(const std::string& members) {
    return R"({"serviceId":"s","steps":[{"commands":["00A40400"]}],)" + members + "}";
}

ResponseSet Responses(const std::string& text) {
    return ParseResponseSet(text);
}

const Message& AnyOpening() {
    static const Message opening("data={}");
    return opening;
}

}  // namespace

TEST(ScriptReader, NamesAllMistakesWithTheirLines) {
    EXPECT_EQ(
        MistakeIn("{\n"
                  "  \"serviceId\": 7,\n"
                  "  \"colour\": \"red\", \"form\": 1,\n"
                  "  \"finalCode\":\n"
                  "    12,\n"
                  "  \"steps\": [\n"
                  "    {\"commands\": [\"00\", \"00A40400\", {\"apdu\": \"00A40400\", \"expect\": \"9\"}]},\n"
                  "    {}\n"
                  "  ]\n"
                  "}\n"),
        "file.json:3: /colour: there is no such member; it can be one of $schema, name, serviceId, "
        "finalCode, "
        "failureCode, onRelayFailure, eligibility, misbehaviours, steps\n"
        "file.json:3: /form: there is no such member; it can be one of $schema, name, serviceId, finalCode, "
        "failureCode, onRelayFailure, eligibility, misbehaviours, steps\n"
        "file.json:2: /serviceId: must be a text, not a number\n"
        "file.json:5: /finalCode: must be a text, not a number\n"
        "file.json:7: /steps/0/commands/0: the command is shorter than the four bytes CLA INS P1 P2 (\"raw\" "
        "in place of \"apdu\" sends any text)\n"
        "file.json:7: /steps/0/commands/2/expect: \"9\" is no status word; it has four hexadecimal digits, "
        "or x for any digit, for example 61xx\n"
        "file.json:8: /steps/1: a step has either \"commands\" or \"commandSet\"");
}

TEST(ScriptReader, SaysFilePlaceAndWhatWouldBeRight) {
    EXPECT_THAT(MistakeIn("{"), StartsWith("file.json: parse error at line 1"));
    EXPECT_EQ(MistakeIn("[]"), "file.json:1: the whole text: must be an object, not a list");
    EXPECT_EQ(FirstMistakeIn("{}"), "file.json:1: the whole text: the member \"serviceId\" is missing");
    EXPECT_THAT(
        MistakeIn(With(R"("a/b~c":1)")),
        AllOf(StartsWith("file.json:1: /a~1b~0c: "), HasSubstr("finalCode")));
    EXPECT_EQ(
        MistakeIn(R"({"serviceId":"s","steps":[]})"), "file.json:1: /steps: must hold at least one member");
    EXPECT_EQ(
        FirstMistakeIn(R"({"serviceId":7,"steps":[]})"),
        "file.json:1: /serviceId: must be a text, not a number");
    EXPECT_THAT(
        MistakeIn(R"({"serviceId":["a","b c"],"steps":[]})"), StartsWith("file.json:1: /serviceId/1: "));
    EXPECT_EQ(FirstMistakeIn(R"({"serviceId":"","steps":[]})"), "file.json:1: /serviceId: must not be empty");
}

TEST(ScriptReader, ChecksCodes) {
    EXPECT_THAT(
        MistakeIn(With(R"("finalCode":"1")")),
        AllOf(StartsWith("file.json:1: /finalCode: "), HasSubstr("eight digits")));
    EXPECT_THAT(MistakeIn(With(R"("finalCode":"00000000")")), HasSubstr("cannot end a session"));
    EXPECT_THAT(MistakeIn(With(R"("failureCode":"9020200X")")), StartsWith("file.json:1: /failureCode: "));
    EXPECT_THAT(
        MistakeIn(With(R"("eligibility":["00000001",5])")), StartsWith("file.json:1: /eligibility/1: "));
    EXPECT_EQ(MistakeIn(With(R"("finalCode":"00000002","eligibility":["10500006"])")), "");
}

TEST(ScriptReader, ChecksCommands) {
    EXPECT_THAT(
        MistakeIn(WithCommand(R"("00A4")")),
        StartsWith("file.json:1: /steps/0/commands/1: the command is shorter"));
    EXPECT_THAT(
        MistakeIn(WithCommand(R"({"apdu":"00A4040003A000"})")),
        StartsWith("file.json:1: /steps/0/commands/1/apdu: "));
    EXPECT_THAT(
        MistakeIn(WithCommand(R"({"apdu":"00A40400","expect":"90"})")),
        HasSubstr("/expect: \"90\" is no status word"));
    EXPECT_THAT(
        MistakeIn(WithCommand(R"({"apdu":"00A40400","expect":["9000","61yy"]})")),
        StartsWith("file.json:1: /steps/0/commands/1/expect/1: "));
    EXPECT_THAT(MistakeIn(WithCommand(R"({"expect":"9000"})")), HasSubstr("either \"apdu\" or \"raw\""));
    EXPECT_THAT(MistakeIn(WithCommand(R"({"apdu":"00A40400","raw":"00"})")), HasSubstr("either"));
    EXPECT_THAT(MistakeIn(WithCommand(R"({"raw":"a/b"})")), HasSubstr("separates commands"));
    EXPECT_THAT(
        MistakeIn(WithCommand(R"({"apdu":"00A40400","sw":"9000"})")),
        HasSubstr("/sw: there is no such member"));
    EXPECT_THAT(
        MistakeIn(WithCommand("\"00D60000" + std::string(65540, '0') + "\"")), HasSubstr("at most 65544"));
    EXPECT_EQ(MistakeIn(WithCommand(R"({"raw":"not hexadecimal"})")), "");
    EXPECT_EQ(MistakeIn(WithStep(R"({"commandSet":"anything/at all"})")), "");
    EXPECT_THAT(
        MistakeIn(WithStep(R"({"comment":"nothing"})")), HasSubstr("either \"commands\" or \"commandSet\""));
}

TEST(ScriptReader, ChecksRules) {
    EXPECT_THAT(
        MistakeIn(With(R"("onRelayFailure":{"do":"panic"})")),
        HasSubstr("\"end\", \"continue\" or \"retry\""));
    EXPECT_THAT(MistakeIn(With(R"("onRelayFailure":{"do":"retry","times":0})")), HasSubstr("from 1 to 1000"));
    EXPECT_THAT(MistakeIn(With(R"("onRelayFailure":{"do":"retry","times":1.5})")), HasSubstr("whole number"));
    EXPECT_THAT(MistakeIn(With(R"("onRelayFailure":{})")), HasSubstr("\"do\" is missing"));
    EXPECT_THAT(
        MistakeIn(With(R"("misbehaviours":[{"kind":"status","value":"1"}])")),
        StartsWith("file.json:1: /misbehaviours/0: status takes"));
    EXPECT_THAT(
        MistakeIn(With(R"("misbehaviours":[{"kind":"empty","from":0}])")),
        StartsWith("file.json:1: /misbehaviours/0/from: "));
}

TEST(ScriptDialogue, PlaysItsStepsInOrder) {
    const Script script = ParseScript(TwoSteps, "sample");
    const auto dialogue = script.Open(AnyOpening());
    Turn turn = dialogue->Begin();
    EXPECT_EQ(turn.resultCode, "00000000");
    EXPECT_EQ(turn.commandSet, "/0100A4040000");
    EXPECT_EQ(turn.description, "step 1 of 2: select");
    turn = dialogue->Continue(Responses("/016F009000"));
    EXPECT_EQ(turn.commandSet, "/0180CA00E000/0180E40000054F03A0000000");
    ASSERT_EQ(turn.verdicts.size(), 1U);
    EXPECT_TRUE(turn.verdicts[0].accepted);
    turn = dialogue->Continue(Responses("/01E0009000/016A88"));
    EXPECT_EQ(turn.resultCode, "00000001");
    EXPECT_EQ(turn.commandSet, "");
    EXPECT_TRUE(turn.completed);
}

TEST(ScriptDialogue, EndsAtAnUnexpectedStatusWord) {
    const Script script = ParseScript(TwoSteps, "sample");
    const auto dialogue = script.Open(AnyOpening());
    static_cast<void>(dialogue->Begin());
    const Turn turn = dialogue->Continue(Responses("/016A82"));
    EXPECT_EQ(turn.resultCode, "90202001");
    EXPECT_EQ(turn.description, "status word 6A82 where 9000 or 61xx was expected");
    EXPECT_FALSE(turn.completed);
    ASSERT_EQ(turn.verdicts.size(), 1U);
    EXPECT_FALSE(turn.verdicts[0].accepted);
}

TEST(ScriptDialogue, EndsWhenResponsesAreMissingOrTooMany) {
    const Script script = ParseScript(TwoSteps, "sample");
    for (const char* responses : {"/019000", "/019000/019000/019000"}) {
        const auto dialogue = script.Open(AnyOpening());
        static_cast<void>(dialogue->Begin());
        static_cast<void>(dialogue->Continue(Responses("/019000")));
        EXPECT_EQ(dialogue->Continue(Responses(responses)).resultCode, "90202002") << responses;
    }
}

TEST(ScriptDialogue, DoesAsToldWhenTheAgentRelayedNothing) {
    const auto played = [](const std::string& rule) {
        return ParseScript(
            R"({"serviceId":"s","onRelayFailure":)" + rule +
                R"(,"steps":[{"commands":["00A40400"]},{"commands":["00A40401"]}]})",
            "sample");
    };
    const ResponseSet failure = Responses("21_SDAPIException.");

    const Script ending = played(R"({"do":"end","code":"10000003"})");
    auto dialogue = ending.Open(AnyOpening());
    static_cast<void>(dialogue->Begin());
    EXPECT_EQ(dialogue->Continue(failure).resultCode, "10000003");

    const Script continuing = played(R"({"do":"continue"})");
    dialogue = continuing.Open(AnyOpening());
    static_cast<void>(dialogue->Begin());
    EXPECT_EQ(dialogue->Continue(failure).commandSet, "/0100A40401");
    EXPECT_EQ(dialogue->Continue(failure).resultCode, "00000001");

    const Script retrying = played(R"({"do":"retry","times":2,"code":"10000004"})");
    dialogue = retrying.Open(AnyOpening());
    static_cast<void>(dialogue->Begin());
    EXPECT_EQ(dialogue->Continue(failure).commandSet, "/0100A40400");
    EXPECT_EQ(dialogue->Continue(failure).commandSet, "/0100A40400");
    EXPECT_EQ(dialogue->Continue(failure).resultCode, "10000004");
}

TEST(ScriptDialogue, SendsARawCommandSetAndAcceptsWhatComesBack) {
    const Script script = ParseScript(WithStep(R"({"commandSet":"/0"})"), "sample");
    const auto dialogue = script.Open(AnyOpening());
    EXPECT_EQ(dialogue->Begin().commandSet, "/0");
    EXPECT_EQ(dialogue->Continue(Responses("/019000/016A88")).resultCode, "00000001");
}

TEST(Catalogue, FindsServicesByEachOfTheirIds) {
    const Catalogue catalogue = CatalogueOf(R"({"serviceId":["a","b"],"steps":[{"commands":["00A40400"]}]})");
    ASSERT_NE(catalogue.Find("b"), nullptr);
    EXPECT_EQ(catalogue.Find("b")->Name(), "a");
    EXPECT_EQ(catalogue.Find("c"), nullptr);
}

TEST(Catalogue, ReadsFoldersAndRefusesAServiceThatTwoScriptsServe) {
    const TemporaryFolder folder;
    folder.Write("1.json", TwoSteps);
    folder.Write("notes.txt", "no script");
    EXPECT_NE(ReadCatalogue({}, {folder.Path().string()}).Find("two.steps"), nullptr);
    const std::string second = folder.Write("2.json", TwoSteps).string();
    try {
        ReadCatalogue({}, {folder.Path().string()});
        FAIL();
    } catch (const ScriptError& error) {
        EXPECT_THAT(error.what(), StartsWith(second + ": /serviceId: "));
    }
}

TEST(Catalogue, NamesWhatCannotBeRead) {
    const TemporaryFolder folder;
    EXPECT_THROW(ReadCatalogue({(folder.Path() / "absent.json").string()}, {}), ScriptError);
    EXPECT_THROW(ReadCatalogue({folder.Path().string()}, {}), ScriptError) << "a folder is no file";
    EXPECT_THROW(ReadCatalogue({}, {folder.Path().string()}), ScriptError) << "an empty folder";
    EXPECT_THROW(ReadCatalogue({}, {(folder.Path() / "absent").string()}), ScriptError);
}

TEST(Catalogue, RefusesEligibilityAnswersOfTwoScripts) {
    const TemporaryFolder folder;
    for (const char* name : {"a", "b"}) {
        folder.Write(
            std::string(name) + ".json",
            R"({"serviceId":")" + std::string(name) +
                R"(","eligibility":["00000001"],"steps":[{"commands":["00A40400"]}]})");
    }
    EXPECT_THROW(ReadCatalogue({}, {folder.Path().string()}), ScriptError);
}

TEST(ShippedScript, ReadsTheCardInManyStepsAndNeedsNoChannel) {
    const Catalogue catalogue = ReadCatalogue({}, {SCRIPT_FOLDER});
    const auto service = catalogue.Find("demo.card");
    const auto* script = dynamic_cast<const Script*>(service.get());
    ASSERT_NE(script, nullptr);
    std::set<std::string> instructions;
    for (const ScriptStep& step : script->steps) {
        for (const ScriptCommand& command : step.commands) {
            EXPECT_FALSE(command.expected.empty()) << command.apdu;
            instructions.insert(command.apdu.substr(2, 2));
        }
    }
    EXPECT_GE(script->steps.size(), 5U);
    EXPECT_EQ(instructions, (std::set<std::string>{"A4", "CA"}));
}
