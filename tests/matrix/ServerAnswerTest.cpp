// SPDX-License-Identifier: Apache-2.0
// Answers of the key-management server, from every status class to hostile bodies, in place of the first
// message's answer and of a later one's.
#include <ostream>

#include "tests/matrix/MatrixWorld.h"

namespace Matrix {

namespace {

constexpr std::size_t Mebibyte = 1 << 20;
constexpr std::size_t LongestResult = 64UL * 1024;

// An answer, and the message that the client gets.
struct AnswerRow {
    std::string label;
    HttpReaction answer;
    std::string message;
};

// Jobs whose n-th message gets the answer. What comes before is in order.
std::vector<Case> CasesOf(const AnswerRow& row) {
    const std::string set = "/0180CA006600";
    const std::vector<std::string> sent = {"INITIALIZEAPDU", "NEXTAPDU /01ABCD9000", "NEXTAPDU /01ABCD9000"};
    std::vector<Case> cases;
    std::deque<HttpReaction> reactions;
    for (std::size_t message = 1; message <= sent.size(); ++message) {
        Case script = {
            row.label + " to message " + std::to_string(message), ScriptRequest(), Status(row.message)};
        script.reactions = reactions;
        script.reactions.push_back(row.answer);
        script.sent.emplace(sent.begin(), sent.begin() + static_cast<std::ptrdiff_t>(message));
        cases.push_back(script);
        reactions.push_back(CommandSet(set));
    }
    Case eligibility = {row.label + " to the eligibility query", Command("69"), Status(row.message)};
    eligibility.reactions = {row.answer};
    eligibility.sent = {"ELIGIBILITY"};
    cases.push_back(eligibility);
    return cases;
}

HttpReaction Raw(const std::string& bytes) {
    return {bytes};
}

// A status other than 200 is the result itself. Redirects without a place to go are such, too.
std::vector<AnswerRow> Statuses() {
    std::vector<AnswerRow> rows;
    for (const int status :
         {201, 202, 203, 204, 205, 206, 207, 226, 300, 301, 302, 303, 304, 305, 307, 308, 400, 401, 402,
          403, 404, 405, 406, 407, 408, 409, 410, 411, 412, 413, 414, 415, 416, 417, 418, 421, 422, 423,
          426, 428, 429, 431, 451, 499, 500, 501, 502, 503, 504, 505, 507, 508, 511, 599, 600, 700, 999}) {
        const std::string number = std::to_string(status);
        rows.push_back({"status " + number, Answer("", status), number});
        // Neither the body of an error nor the code that it holds counts.
        if (status != 204 && status != 304) {
            rows.push_back(
                {"status " + number + " with a success in its body",
                 Answer(R"({"resultCode":"00000001"})", status), number});
        }
    }
    return rows;
}

std::vector<AnswerRow> InterimAnswers() {
    const std::string done = Result("00000009").bytes;
    const std::string message = Retry;
    return {
        {"100 before the answer", Raw("HTTP/1.1 100 Continue\r\n\r\n" + done), message},
        {"102 twice before the answer",
         Raw("HTTP/1.1 102 Processing\r\n\r\nHTTP/1.1 102 Processing\r\n\r\n" + done), message},
        {"103 with a header before the answer", Raw("HTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n" + done),
         message},
        {"HTTP/1.0",
         Raw("HTTP/1.0 200 OK\r\nContent-Length: 25\r\n\r\n{\"resultCode\":\"00000009\"}").ThenClose(),
         message},
        {"no length but an end", Raw("HTTP/1.1 200 OK\r\n\r\n{\"resultCode\":\"00000009\"}").ThenClose(),
         message},
        {"chunks",
         Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n{\"res\r\n14\r\nultCode\":"
             "\"00000009\"}\r\n0\r\n\r\n"),
         message},
        {"a status without a reason",
         Raw("HTTP/1.1 200\r\nContent-Length: 25\r\n\r\n{\"resultCode\":\"00000009\"}"), message},
        {"a thousand headers",
         [] {
             std::string headers;
             for (int i = 0; i < 1000; ++i) {
                 headers += "X-Header-" + std::to_string(i) + ": value\r\n";
             }
             return Answer(R"({"resultCode":"00000009"})", 200, headers);
         }(),
         message}};
}

using NamedBodies = std::vector<std::pair<std::string, std::string>>;

NamedBodies SmallUnreadableBodies() {
    return {
        {"no JSON", "<html>Bad gateway</html>"},
        {"a blank", " "},
        {"half an object", R"({"resultCode":"000000)"},
        {"an array", R"(["00000009"])"},
        {"an array of objects", R"([{"resultCode":"00000009"}])"},
        {"a text", R"("00000009")"},
        {"a number", "9"},
        {"true", "true"},
        {"null", "null"},
        {"an empty object", "{}"},
        {"a number for the code", R"({"resultCode":9})"},
        {"true for the code", R"({"resultCode":true})"},
        {"null for the code", R"({"resultCode":null})"},
        {"an array for the code", R"({"resultCode":["00000009"]})"},
        {"an object for the code", R"({"resultCode":{"resultCode":"00000009"}})"},
        {"an empty code", R"({"resultCode":""})"},
        {"a set without a code", R"({"cApduSet":"/0180CA006600"})"},
        {"a code with other letters", R"({"resultcode":"00000009","ResultCode":"00000009"})"},
        {"a code in a nested object", R"({"answer":{"resultCode":"00000009"}})"},
        {"a zero byte before the object", std::string(1, '\0') + R"({"resultCode":"00000009"})"},
        {"a zero byte within the code", std::string(R"({"resultCode":"0000)") + '\0' + R"(0009"})"},
        {"zero bytes alone", std::string(64, '\0')},
        {"an escaped zero byte before the object", R"(%00{"resultCode":"00000009"})"},
        {"a byte that is no UTF-8", "{\"resultCode\":\"\xFF\"}"},
        {"a byte order mark of another encoding", std::string("\xFF\xFE{\0", 4)},
        {"nothing but percent signs", "%%%%%%%%%%%%%%%%"},
        {"a quotation mark that escapes end", R"({"resultCode":"0000%22"009"})"}};
}

NamedBodies LargeUnreadableBodies() {
    return {
        {"a mebibyte of blanks", std::string(Mebibyte, ' ')},
        {"a mebibyte of another text", R"({"text":")" + std::string(Mebibyte, 'x') + "\"}"}};
}

// Nobody reads these, so they are no answers.
NamedBodies BodiesThatAreTooDeep() {
    std::string objects;
    while (objects.size() < Mebibyte) {
        objects += R"({"a":)";
    }
    return {{"a mebibyte of brackets", std::string(Mebibyte, '[')}, {"a mebibyte of objects", objects}};
}

// What cannot be read as an object of texts leaves the result without a code, and that is a success.
std::vector<AnswerRow> UnreadableBodies() {
    std::vector<AnswerRow> rows = {
        {"an empty body", Answer(""), NoResponseFromServer},
        {"an escaped zero byte alone", Answer("%00"), Done}};
    for (const auto& body : BodiesThatAreTooDeep()) {
        rows.push_back({body.first, Answer(body.second), NoResponseFromServer});
    }
    for (const NamedBodies& bodies : {SmallUnreadableBodies(), LargeUnreadableBodies()}) {
        for (const auto& body : bodies) {
            rows.push_back({body.first, Answer(body.second), Done});
        }
    }
    return rows;
}

std::vector<AnswerRow> Codes() {
    std::vector<AnswerRow> rows = {
        {"an escaped code", Answer(R"({"resultCode":"%30%30%30%30%30%30%30%39"})"), Retry},
        {"a code in escapes of JSON", Answer(R"({"resultCode":"\u00300000009"})"), Retry},
        {"the last of two codes", Answer(R"({"resultCode":"00000001","resultCode":"00000009"})"), Retry},
        {"a plus sign in the code", Answer(R"({"resultCode":"0000+009"})"), "0000+009"},
        {"a single percent sign in the code", Answer(R"({"resultCode":"100%"})"), "100%"},
        {"formats in the code", Answer(R"({"resultCode":"%s%n%p%25s"})"), "%s%n%p%s"},
        {"a blank behind the code", Answer(R"({"resultCode":"00000001 "})"), "00000001 "},
        {"a line end in the code", Answer(R"({"resultCode":"0000\n0001"})"), "0000\n0001"},
        {"a code of one digit", Answer(R"({"resultCode":"1"})"), "1"},
        {"a code of seven zeros", Answer(R"({"resultCode":"0000000"})"), "0000000"},
        {"an instruction for a code", Answer(R"({"resultCode":"E2"})"), "E2_Change Info"},
        {"a code without a description", Answer(R"({"resultCode":"20100000"})"), "20100000_"},
        {"a code of another language", Answer("{\"resultCode\":\"\xC3\xA9\"}"), "\xC3\xA9"},
        {"a mebibyte of code", Answer(R"({"resultCode":")" + std::string(Mebibyte, '7') + "\"}"),
         std::string(LongestResult, '7')},
        {"a mebibyte beside the code",
         Answer(R"({"text":")" + std::string(Mebibyte, 'x') + R"(","resultCode":"00000009"})"), Retry},
        {"a content encoding that nobody asked for",
         Answer(R"({"resultCode":"00000009"})", 200, "Content-Encoding: gzip\r\n"), Retry}};
    for (const char* code :
         {"00000002", "10000000", "10100000", "10300014", "10400003", "10500001", "90202008"}) {
        std::string message;
        const Map descriptions = {
            {"00000002", "The job has done successfully. But, a timeout has occurred on NFC off"},
            {"10000000", "An unknown Error has occurred"},
            {"10100000", "Network is unavailable"},
            {"10300014", "A previous job is being executed"},
            {"10400003", "Not found eSE. This device isn't a target device"},
            {"10500001", "This device is not available"},
            {"90202008", "The version of NAVO Agent isn't the latest version"}};
        rows.push_back(
            {std::string("code ") + code, Result(code), std::string(code) + "_" + descriptions.at(code)});
    }
    return rows;
}

// A set that the relay does not run: what the server gets instead. Blanks do not reach it.
struct SetRow {
    std::string label;
    std::string set;
    std::string sent;
};

std::vector<SetRow> WrongSets() {
    const std::string malformed = "21_takenwrongadpu.";
    return {
        {"a slash", "/", malformed},
        {"a prefix alone", "/01", malformed},
        {"one digit", "/018", malformed},
        {"no slash and one digit", "0180", malformed},
        {"a good command and a prefix", "/0180CA006600/01", malformed},
        {"a good command and a slash", "/0180CA006600/", malformed},
        {"two slashes", "//0180CA006600", malformed},
        {"a slash before a good command's prefix", "/01/0180CA006600", malformed},
        {"a command of 65545 digits", "/01" + std::string(65545, '0'), malformed},
        {"a command of a mebibyte", "/01" + std::string(Mebibyte, '0'), malformed},
        {"another letter for the first slash", "x0180CA006600", "x01ABCD9000"}};
}

struct Group {
    const char* name;
    std::vector<AnswerRow> rows;
};

void PrintTo(const Group& group, std::ostream* stream) {
    *stream << group.name;
}

class ServerAnswer : public MatrixWorld, public testing::WithParamInterface<Group> {};

class ServerSet : public MatrixWorld {};

class EligibilityQuery : public MatrixWorld {};

}  // namespace

TEST_P(ServerAnswer, ToAnyMessageHasOneReplyAndLeavesNothingBehind) {
    std::vector<Case> cases;
    for (const AnswerRow& row : GetParam().rows) {
        const std::vector<Case> more = CasesOf(row);
        cases.insert(cases.end(), more.begin(), more.end());
    }
    CheckAll(cases);
}

INSTANTIATE_TEST_SUITE_P(
    Of, ServerAnswer,
    testing::Values(
        Group{"status", Statuses()}, Group{"form", InterimAnswers()},
        Group{"unreadable_body", UnreadableBodies()}, Group{"code", Codes()}),
    [](const testing::TestParamInfo<Group>& group) { return std::string(group.param.name); });

TEST_F(ServerSet, ThatCannotBeRunIsToldToTheServerWhoseNextCodeDecides) {
    std::vector<Case> cases;
    for (const SetRow& row : WrongSets()) {
        Case each = {row.label, ScriptRequest(), Status(CardJobFailed)};
        each.reactions = {CommandSet("/0180CA006600"), CommandSet(row.set), Result("90202001")};
        each.sent = {"INITIALIZEAPDU", "NEXTAPDU /01ABCD9000", "NEXTAPDU " + row.sent};
        cases.push_back(each);
    }
    CheckAll(cases);
}

TEST_F(ServerSet, ThatIsMissingOrEmptyEndsTheScript) {
    std::vector<Case> cases;
    for (const char* const answer :
         {R"({"resultCode":"00000000"})", R"({"resultCode":"00000000","cApduSet":""})",
          R"({"resultCode":"00000000","cApduSet":7})", R"({"resultCode":"00000000","cApduSet":null})",
          R"({"resultCode":"00000000","cApduSet":["/0180CA006600"]})"}) {
        Case first = {answer, ScriptRequest(), Status(NoApdu)};
        first.reactions = {Answer(answer)};
        first.sent = {"INITIALIZEAPDU"};
        cases.push_back(first);
        Case later = {std::string("later ") + answer, ScriptRequest(), Status(NoApdu)};
        later.reactions = {CommandSet("/0180CA006600"), Answer(answer)};
        later.sent = {"INITIALIZEAPDU", "NEXTAPDU /01ABCD9000"};
        cases.push_back(later);
    }
    CheckAll(cases);
}

TEST_F(EligibilityQuery, IsSentThreeTimesAtMostWhileTheServerAsksToWait) {
    const Map wait = Status(PleaseWait);
    Case thrice = {"wait three times", Command("69"), wait};
    thrice.reactions = {Result("10500006"), Result("10500006"), Result("10500006")};
    thrice.sent = {"ELIGIBILITY", "ELIGIBILITY", "ELIGIBILITY"};
    Case once = {"wait once", Command("69"), Status(Done)};
    once.reactions = {Result("10500006"), Result("00000001")};
    once.sent = {"ELIGIBILITY", "ELIGIBILITY"};
    Case broken = {"wait, then nothing", Command("69"), Status(NoResponseFromServer)};
    broken.reactions = {Result("10500006"), Answer("")};
    broken.sent = {"ELIGIBILITY", "ELIGIBILITY"};
    CheckAll({thrice, once, broken});
}

}  // namespace Matrix
