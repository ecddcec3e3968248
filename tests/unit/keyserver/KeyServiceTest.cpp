// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/KeyService.h"

#include <gmock/gmock.h>

#include "keyserver/service/Json.h"
#include "tests/support/keyserver/Samples.h"

using namespace KeyServer;
using testing::HasSubstr;

namespace {

class KeyServiceTest : public testing::Test {
protected:
    Reply Send(const std::string& body) { return service.Answer(body, 1); }

    std::string Code(const std::string& body) { return ParseJson(Send(body).body).Find("resultCode")->text; }

    std::vector<std::string> lines;
    Journal journal{[this](const std::string& line) { lines.push_back(line); }, ""};
    KeyService service{CatalogueOf(TwoSteps), {4, std::chrono::minutes(1)}, journal};
};

}  // namespace

TEST_F(KeyServiceTest, PlaysAScript) {
    EXPECT_EQ(Send(Opening("A")).body, FirstAnswer);
    EXPECT_EQ(Send(Responding("A", "/016F009000")).body, SecondAnswer);
    EXPECT_EQ(Send(Responding("A", "/019000/016A88")).body, FinalAnswer);
    EXPECT_EQ(service.Sessions(), 1U);
    EXPECT_EQ(service.Messages(), 3U);
}

TEST_F(KeyServiceTest, KeepsSessionsApart) {
    Send(Opening("A"));
    Send(Opening("B"));
    EXPECT_EQ(Send(Responding("A", "/019000")).body, SecondAnswer);
    EXPECT_EQ(Send(Responding("B", "/019000")).body, SecondAnswer);
    EXPECT_EQ(Code(Responding("A", "/016A82/019000")), "90202001");
    EXPECT_EQ(Send(Responding("B", "/019000/019000")).body, FinalAnswer);
}

TEST_F(KeyServiceTest, ExplainsWhatIsWrongWithAnOpening) {
    const auto opening = [](const std::string& members) {
        return "data={\"msgCd\":\"INITIALIZEAPDU\",\"UUID\":\"A\"," + members + "}";
    };
    EXPECT_EQ(Code(opening(R"("cplc":"1","serviceId":"two.steps")")), "10300006");
    EXPECT_THAT(lines.back(), HasSubstr("\"seId\" is missing"));
    EXPECT_EQ(Code(opening(R"("seId":"1","serviceId":"two.steps")")), "10300007");
    EXPECT_EQ(Code(opening(R"("seId":"1","cplc":"12","serviceId":"two.steps")")), "10300009");
    EXPECT_EQ(Code(opening(R"("seId":"13","cplc":"12","serviceId":"two.steps")")), "10300012");
    EXPECT_EQ(Code(opening(R"("seId":"12","cplc":"12")")), "10300008");
    EXPECT_EQ(Code(Opening("A", "unknown")), "10300004");
    EXPECT_THAT(lines.back(), HasSubstr("there is no service \"unknown\""));
    EXPECT_EQ(service.Sessions(), 0U);
}

TEST_F(KeyServiceTest, ExplainsWhatIsNoMessageOfThisProtocol) {
    EXPECT_EQ(Code(R"(data={"UUID":"A"})"), "10300004");
    EXPECT_EQ(Code(R"(data={"UUID":"A","msgCd":"HELLO"})"), "10300004");
    EXPECT_THAT(lines.back(), HasSubstr("there is no message \"HELLO\""));
    EXPECT_EQ(Code(R"(data={"msgCd":"NEXTAPDU"})"), "10300004");
    EXPECT_THAT(lines.back(), HasSubstr("\"UUID\" is missing"));
    EXPECT_EQ(Code(R"(data={"UUID":5,"msgCd":"NEXTAPDU"})"), "10300004") << "a number is no text";
    EXPECT_EQ(Code("data=[]"), "10300004");
    EXPECT_EQ(Code("data=%7B%7D"), "10300004") << "the body is not form-decoded";
    EXPECT_EQ(Code("data="), "10300004");
    for (const char* body : {"", "data", "DATA={}", "{}", " data={}"}) {
        EXPECT_EQ(Send(body).status, 400) << body;
    }
}

TEST_F(KeyServiceTest, ReadsTheBodyAsItStands) {
    EXPECT_EQ(Send(Opening("A+B&c=%41")).body, FirstAnswer);
    EXPECT_EQ(Send(Responding("A+B&c=%41", "/019000")).body, SecondAnswer);
}

TEST_F(KeyServiceTest, ExplainsWhatIsWrongWithAContinuation) {
    Send(Opening("A"));
    EXPECT_EQ(Code(Responding("B", "/019000")), "00000009");
    EXPECT_EQ(Code(Responding("A", "")), "10300004");
    EXPECT_EQ(Code(R"(data={"msgCd":"NEXTAPDU","UUID":"A","rApduSet":"/019000"})"), "10300006");
    EXPECT_EQ(Code(R"(data={"msgCd":"NEXTAPDU","UUID":"A","rApduSet":"/019000","seId":"FF"})"), "10300012");
    EXPECT_EQ(Send(Responding("A", "/019000")).body, SecondAnswer) << "none of these touched the session";
    EXPECT_EQ(Code(Responding("A", "90009000")), "90202003");
    EXPECT_EQ(Code(Responding("A", "/019000/019000")), "10100017") << "the session is over";
}

TEST_F(KeyServiceTest, UndoesNoEscapeButWritesPercentSignsEscaped) {
    service.Misbehave({ParseMisbehaviour("code=1%2")});
    EXPECT_EQ(Send(Opening("A")).body, R"({"cApduSet":"/0100A4040000","resultCode":"1%252"})");
}

TEST_F(KeyServiceTest, RepeatsTheAnswerToAnOpeningThatComesAgain) {
    Send(Opening("A"));
    EXPECT_EQ(Send(Opening("A")).body, FirstAnswer);
    EXPECT_EQ(service.Sessions(), 1U);
    EXPECT_EQ(Send(Responding("A", "/019000")).body, SecondAnswer);
}

TEST_F(KeyServiceTest, BeginsAnotherSessionWhenAnOpeningDiffers) {
    Send(Opening("A"));
    Send(Responding("A", "/019000"));
    EXPECT_EQ(Send(Opening("A", "two.steps", ",\"pushReq\":\"x\"")).body, FirstAnswer);
    EXPECT_EQ(service.Sessions(), 2U);
}

TEST_F(KeyServiceTest, RepeatsAnAnswerThatCouldNotBeHandedOver) {
    Send(Opening("A"));
    const Reply lost = Send(Responding("A", "/019000"));
    lost.undelivered();
    EXPECT_EQ(Send(Responding("A", "/019000")).body, SecondAnswer);
    EXPECT_THAT(lines.end()[-2], HasSubstr("repeated"));
    EXPECT_EQ(Send(Responding("A", "/019000/019000")).body, FinalAnswer);
}

TEST_F(KeyServiceTest, TakesALikeMessageForTheNextOneWhenNothingWasLost) {
    Send(Opening("A"));
    Send(Responding("A", "/019000"));
    EXPECT_EQ(Code(Responding("A", "/019000")), "90202002");
}

TEST_F(KeyServiceTest, HearsOfALossTooLateToMatter) {
    Send(Opening("A"));
    const Reply first = Send(Responding("A", "/019000"));
    Send(Responding("A", "/019000/019000"));
    first.undelivered();
    EXPECT_EQ(Code(Responding("A", "/019000/019000")), "10100017");
}

TEST_F(KeyServiceTest, ServesBesideAFloodOfOpenings) {
    Send(Opening("A"));
    Send(Responding("A", "/019000"));
    Send(Opening("forgotten"));
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(Send(Opening("flood " + std::to_string(i))).body, FirstAnswer);
    }
    EXPECT_EQ(Code(Responding("forgotten", "/019000")), "00000009");
    EXPECT_EQ(Send(Opening("B")).body, FirstAnswer);
    EXPECT_EQ(Send(Responding("B", "/019000")).body, SecondAnswer);
    EXPECT_EQ(Send(Responding("A", "/019000/019000")).body, FinalAnswer) << "a session in use is kept";
}

TEST_F(KeyServiceTest, AnswersEligibilityInTurn) {
    KeyService other(
        CatalogueOf(
            R"({"serviceId":"s","eligibility":["10500006","00000001"],"steps":[{"commands":["00A40400"]}]})"),
        {}, journal);
    EXPECT_EQ(other.Answer(Asking(), 1).body, R"({"resultCode":"10500006"})");
    EXPECT_EQ(other.Answer(Asking(), 1).body, R"({"resultCode":"00000001"})");
    EXPECT_EQ(other.Answer(Asking(), 1).body, R"({"resultCode":"10500006"})");
    EXPECT_EQ(Send(Asking()).body, R"({"resultCode":"00000001"})") << "eligible unless told otherwise";
}

TEST_F(KeyServiceTest, NeverEndsAScriptWhenToldSo) {
    service.Misbehave({ParseMisbehaviour("endless")});
    Send(Opening("A"));
    for (int round = 0; round < 50; ++round) {
        ASSERT_EQ(Send(Responding("A", "/019000")).body, SecondAnswer);
        ASSERT_EQ(Send(Responding("A", "/019000/019000")).body, FirstAnswer);
    }
    EXPECT_EQ(Code(Responding("A", "/016A82")), "90202001") << "a refused status word ends it all the same";
}

TEST_F(KeyServiceTest, CountsMessagesFromTheOrderOn) {
    Send(Opening("A"));
    service.Misbehave({ParseMisbehaviour("status=500@2x1")});
    EXPECT_EQ(Send(Opening("B")).status, 200);
    EXPECT_EQ(Send(Opening("C")).status, 500);
    EXPECT_EQ(Send(Opening("C")).status, 200);
}

TEST_F(KeyServiceTest, CountsAScriptsOwnFaultsWithinEachSession) {
    KeyService other(
        CatalogueOf(R"({"serviceId":"two.steps","steps":[{"commands":["00A40400"]}],
                        "misbehaviours":[{"kind":"status","value":"502","from":2,"times":1}]})"),
        {}, journal);
    for (const char* session : {"A", "B"}) {
        EXPECT_EQ(other.Answer(Opening(session), 1).status, 200);
        EXPECT_EQ(other.Answer(Responding(session, "/019000"), 1).status, 502);
        EXPECT_EQ(other.Answer(Responding(session, "/019000"), 1).body, FinalAnswer)
            << "the message came again";
    }
}

TEST_F(KeyServiceTest, SpoilsMembersAndBodies) {
    const auto spoiled = [this](const std::string& fault) {
        service.Misbehave({ParseMisbehaviour(fault)});
        return Send(Opening("A")).body;
    };
    EXPECT_EQ(spoiled("no-code"), R"({"cApduSet":"/0100A4040000"})");
    EXPECT_EQ(spoiled("no-commands"), R"({"resultCode":"00000000"})");
    EXPECT_EQ(spoiled("numeric-code"), R"({"cApduSet":"/0100A4040000","resultCode":1})");
    EXPECT_EQ(spoiled("code=77777777"), R"({"cApduSet":"/0100A4040000","resultCode":"77777777"})");
    EXPECT_EQ(spoiled("empty"), "");
    EXPECT_EQ(spoiled("not-json=list"), std::string("[") + FirstAnswer + "]");
    EXPECT_EQ(spoiled("not-json=truncated"), std::string(FirstAnswer).substr(0, sizeof(FirstAnswer) / 2));
    EXPECT_EQ(spoiled("not-json=blank"), " \n");
    EXPECT_EQ(spoiled("not-json=nested").size(), 100000U);
    for (const char* variant : {"not-json", "not-json=text", "not-json=html", "not-json=binary"}) {
        EXPECT_THROW(ParseJson(spoiled(variant)), JsonError) << variant;
    }
    EXPECT_EQ(spoiled("not-json=number"), "1");
    EXPECT_EQ(spoiled("not-json=null"), "null");
}
