// SPDX-License-Identifier: Apache-2.0
// Answers of the card that no command expects, at each command of a script.
#include "tests/matrix/MatrixWorld.h"

namespace Matrix {

namespace {

constexpr char NoAnswer[] = "21_SDAPIException.";

// How a card answers, in the words of the device's configuration, and what the server is told of it; nothing
// for what takes too many characters to be told at all.
struct CardAnswer {
    std::string answer;
    std::string told;
};

std::vector<CardAnswer> CardAnswers() {
    return {
        {"empty", NoAnswer},
        {"90", NoAnswer},
        {"00{65537}9000", NoAnswer},
        {"9000", "/019000"},
        {"0000", "/010000"},
        {"6A82", "/016A82"},
        {"6F00", "/016F00"},
        {"FFFF", "/01FFFF"},
        {"AB{32000}9000", "/01" +
                              [] {
                                  std::string text;
                                  for (int i = 0; i < 32000; ++i) {
                                      text += "AB";
                                  }
                                  return text;
                              }() +
                              "9000"},
        {"AB{32766}9000", ""},
        {"AB{65536}9000", ""}};
}

// A single set of this command: what is told is the one message after the first.
Case ScriptOf(const std::string& command, const CardAnswer& answer) {
    Case row = {command + " answered by " + answer.answer, ScriptRequest(), Status(CardJobFailed)};
    row.cardAnswers = {{command, answer.answer}};
    row.reactions = {CommandSet("/01" + command), Result("90202001")};
    row.sent = {"INITIALIZEAPDU"};
    if (answer.told.empty()) {
        row.reply = Status(Done);  // of the transmission, since nobody says anything else
    } else {
        row.sent->push_back("NEXTAPDU " + answer.told);
    }
    return row;
}

// A job that ends for want of a CPLC before any message.
Case WithoutCplc(const Map& request, const std::string& command, const std::string& answer) {
    // The eligibility query says that it could not be made; the others keep what their exchange with the card
    // left.
    const char* const expected = request.at("Cmd") == "69" ? UnknownError : Done;
    Case row = {
        "Cmd " + request.at("Cmd") + ", " + command + " answered by " + answer, request, Status(expected)};
    row.cardAnswers = {{command, answer}};
    row.sent.emplace();
    return row;
}

class AnswerOfTheCard : public MatrixWorld {};

}  // namespace

TEST_F(AnswerOfTheCard, ToACommandOfTheServerIsToldToTheServer) {
    std::vector<Case> cases;
    for (const char* command : {"80E2000001AA", "80CA006600", "80F0000000"}) {
        for (const CardAnswer& answer : CardAnswers()) {
            cases.push_back(ScriptOf(command, answer));
        }
    }
    CheckAll(cases);
}

TEST_F(AnswerOfTheCard, WithoutACplcEndsEveryJobThatNeedsIt) {
    std::vector<Case> cases;
    for (const Map& request : {ScriptRequest(), Command("67"), Command("69")}) {
        for (const char* answer :
             {"empty", "90", "9000", "009000", "9F7F009000", "6A82", "6A88", "00{65537}9000"}) {
            cases.push_back(WithoutCplc(request, "80CA9F7F00", answer));
        }
        for (const char* answer : {"empty", "90"}) {
            cases.push_back(WithoutCplc(request, "00A4040000", answer));
        }
    }
    CheckAll(cases);
}

TEST_F(AnswerOfTheCard, ToTheSelectionMayBeAnyStatusWord) {
    std::vector<Case> cases;
    for (const char* answer : {"6A82", "6283", "0000", "6F108408A000000151000000A5049F6501FF9000"}) {
        Case row = {answer, Command("67"), Status(Cplc)};
        row.cardAnswers = {{"00A4040000", answer}};
        cases.push_back(row);
    }
    CheckAll(cases);
}

// Tags and lengths that end too early are found by their reader; the reply is an unknown error then.
TEST_F(AnswerOfTheCard, WithoutAFreeMemoryGivesNone) {
    std::vector<Case> cases;
    for (const char* answer :
         {"empty", "90", "9000", "6A88", "FF2100", "FF21009000", "FF9000", "FF210281009000",
          "FF21038201009000", "FF2185FFFFFFFF9000", "FF21068204000000009000", "FF210682040000000A6A88",
          "00{65537}9000"}) {
        Case row = {answer, Command("68"), Status("0")};
        row.cardAnswers = {{"80CAFF2100", answer}};
        cases.push_back(row);
    }
    Case most = {"all bits", Command("68"), {{"MemoryInfo", "2147483647"}, {"ReturnCode", "2147483647"}}};
    most.cardAnswers = {{"80CAFF2100", "FF21068204FFFFFFFF9000"}};
    cases.push_back(most);
    for (const char* answer : {"FF219000", "FF2101829000"}) {
        Case broken = {answer, Command("68"), Status("0")};
        broken.cardAnswers = {{"80CAFF2100", answer}};
        broken.endsByException = true;
        cases.push_back(broken);
    }
    CheckAll(cases);
}

}  // namespace Matrix
