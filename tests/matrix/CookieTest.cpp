// SPDX-License-Identifier: Apache-2.0
// Cookies of a server that means no good: whatever it sets, the client's file stays one that can be read, and
// the cookie that is in it stays there.
#include "tests/matrix/MatrixWorld.h"

namespace Matrix {

namespace {

std::vector<std::string> HostileCookies() {
    std::string many;
    for (int i = 0; i < 300; ++i) {
        many += "Set-Cookie: cookie" + std::to_string(i) + "=" + std::string(50, 'v') + "; Max-Age=600\r\n";
    }
    const auto set = [](const std::string& cookie) { return "Set-Cookie: " + cookie + "\r\n"; };
    return {
        many,
        set(""),
        set("="),
        set("=value"),
        set("name"),
        set(";;;;"),
        set("a=b; Max-Age=-1"),
        set("a=b; Max-Age=99999999999999999999"),
        set("a=b; Expires=never"),
        set("a=b; Expires=Thu, 01 Jan 1970 00:00:00 GMT"),
        set("a=b; Path="),
        set("a=b; Path=/\tother"),
        set("a=b; Domain=.example; Max-Age=600"),
        set("a=b; Domain=127.0.0.1; Path=/; Secure; HttpOnly; Max-Age=600"),
        set("a=b; Domain=0.0.1; Max-Age=600"),
        set("a\tb=c\td; Max-Age=600"),
        set("a=\x01\x02\x7F; Max-Age=600"),
        set("a=\xFF\xFE; Max-Age=600"),
        set("a=%0A%0D; Max-Age=600"),
        set("#a=b; Max-Age=600"),
        set("#HttpOnly_a=b; Max-Age=600"),
        set("a=b # comment; Max-Age=600"),
        set("__Secure-a=b; Max-Age=600"),
        set("__Host-a=b; Max-Age=600"),
        set("a=" + std::string(4000, 'x') + "; Max-Age=600"),
        set("a=" + std::string(90000, 'x') + "; Max-Age=600"),
        set(std::string(5000, 'n') + "=b; Max-Age=600"),
        set("session=other; Path=/IssueCard.do/deeper; Max-Age=600")};
}

class CookieOfTheServer : public MatrixWorld {};

}  // namespace

TEST_F(CookieOfTheServer, LeavesTheOtherCookiesAndTheFileAlone) {
    std::vector<Case> cases;
    for (const std::string& headers : HostileCookies()) {
        for (const int status : {200, 503}) {
            Case row = {
                headers.substr(0, 80) + " with " + std::to_string(status), Command("69"),
                Status(status == 200 ? Done : "503")};
            row.reactions = {Answer(R"({"resultCode":"00000001"})", status, headers)};
            row.sent = {"ELIGIBILITY"};
            cases.push_back(row);
        }
    }
    CheckAll(cases);
}

}  // namespace Matrix
