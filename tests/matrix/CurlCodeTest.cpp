// SPDX-License-Identifier: Apache-2.0
// Every code with which libcurl can end an exchange, also those that no HTTP peer can bring about.
#include <algorithm>
#include <ostream>

#include "tests/matrix/MatrixWorld.h"

namespace Matrix {

namespace {

constexpr std::size_t Attempts = 4;

struct CodeRow {
    CURLcode code;
    const char* message;
    bool retried;
};

// All others are one failure that is not tried again.
constexpr CodeRow KnownCodes[] = {
    {CURLE_URL_MALFORMAT, MalformedUrl, false},
    {CURLE_COULDNT_RESOLVE_PROXY, HostUnreachable, true},
    {CURLE_COULDNT_RESOLVE_HOST, HostUnreachable, true},
    {CURLE_COULDNT_CONNECT, HostUnreachable, true},
    {CURLE_REMOTE_ACCESS_DENIED, ConnectionRefused, false},
    {CURLE_HTTP_RETURNED_ERROR, ProtocolError, true},
    {CURLE_OPERATION_TIMEDOUT, TimedOut, true},
    {CURLE_HTTP_POST_ERROR, NoResponseFromServer, true},
    {CURLE_SSL_CONNECT_ERROR, HostUnreachable, true},
    {CURLE_GOT_NOTHING, NoResponseFromServer, true},
    {CURLE_RECV_ERROR, NoResponseFromServer, true},
    {CURLE_BAD_CONTENT_ENCODING, BadContentEncoding, false},
    {CURLE_AGAIN, TemporarilyUnavailable, true}};

std::vector<CodeRow> AllCodes() {
    std::vector<CodeRow> rows(std::begin(KnownCodes), std::end(KnownCodes));
    // Up to one that this libcurl does not know.
    for (int number = 1; number <= CURL_LAST; ++number) {
        const auto code = static_cast<CURLcode>(number);
        if (std::none_of(std::begin(KnownCodes), std::end(KnownCodes), [&](const CodeRow& known) {
                return known.code == code;
            })) {
            rows.push_back({code, ProtocolError, false});
        }
    }
    return rows;
}

// The exchange that ends so.
struct Place {
    const char* name;
    Map request;
    std::vector<std::string> before;  // messages that are in order
    std::string message;
};

void PrintTo(const Place& place, std::ostream* stream) {
    *stream << place.name;
}

std::vector<Place> Places() {
    const std::string next = "NEXTAPDU /01ABCD9000";
    return {
        {"first_message", ScriptRequest(), {}, "INITIALIZEAPDU"},
        {"second_message", ScriptRequest(), {"INITIALIZEAPDU"}, next},
        {"third_message", ScriptRequest(), {"INITIALIZEAPDU", next}, next},
        {"eligibility", Command("69"), {}, "ELIGIBILITY"}};
}

// The exchange ends so at every attempt, with part of an answer received that must not count.
Case Fails(const CodeRow& row, const Place& place) {
    Case each = {"code " + std::to_string(row.code) + ", " + place.name, place.request, Status(row.message)};
    const std::size_t attempts = row.retried ? Attempts : 1;
    each.reactions.assign(place.before.size(), CommandSet("/0180CA006600"));
    each.passing = static_cast<int>(place.before.size());
    each.ends.assign(attempts, {row.code, R"({"resultCode":"00000001"})"});
    each.sent = place.before;
    each.failedAttempts = static_cast<int>(attempts);
    return each;
}

// It ends so at all attempts but the last, which the peer answers.
Case Passes(const CodeRow& row, const Place& place) {
    Case each = Fails(row, place);
    each.label += " and passes";
    each.ends.resize(Attempts - 1);
    each.failedAttempts = static_cast<int>(Attempts - 1);
    each.reply = Status(Done);
    each.reactions.push_back(Result("00000001"));
    each.sent->push_back(place.message);
    return each;
}

class CurlCode : public MatrixWorld, public testing::WithParamInterface<Place> {};

}  // namespace

TEST_P(CurlCode, EndsTheJobWithItsResultAfterItsAttempts) {
    std::vector<Case> cases;
    for (const CodeRow& row : AllCodes()) {
        cases.push_back(Fails(row, GetParam()));
        if (row.retried) {
            cases.push_back(Passes(row, GetParam()));
        }
    }
    CheckAll(cases);
}

INSTANTIATE_TEST_SUITE_P(
    Of, CurlCode, testing::ValuesIn(Places()),
    [](const testing::TestParamInfo<Place>& place) { return std::string(place.param.name); });

}  // namespace Matrix
