// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/AddressCheck.h"

#include <algorithm>
#include <cctype>

namespace {

bool IsPort(const std::string& text) {
    const bool isNumber =
        !text.empty() && text.size() <= 5 &&
        std::all_of(text.begin(), text.end(), [](unsigned char each) { return std::isdigit(each); });
    return isNumber && std::stoi(text) > 0 && std::stoi(text) < 65536;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char each) {
        return static_cast<char>(std::tolower(each));
    });
    return text;
}

}  // namespace

ServerAddress TakeApart(const std::string& address) {
    ServerAddress parts;
    const std::size_t mark = address.find("://");
    parts.scheme = mark == std::string::npos ? "https" : Lower(address.substr(0, mark));
    std::string rest = mark == std::string::npos ? address : address.substr(mark + 3);
    const std::size_t end = std::min(rest.find_first_of("/?#"), rest.size());
    parts.path = rest.substr(end);
    rest.resize(end);
    const std::size_t at = rest.rfind('@');
    if (at != std::string::npos) {
        parts.user = rest.substr(0, at);
        rest.erase(0, at + 1);
    }
    const std::size_t bracket = rest.find(']');
    const bool isSixth = !rest.empty() && rest.front() == '[' && bracket != std::string::npos;
    const std::size_t colon = rest.find(':', isSixth ? bracket : 0);
    parts.host = isSixth ? rest.substr(1, bracket - 1) : rest.substr(0, colon);
    if (colon != std::string::npos) {
        // A colon without a port behind it is none.
        parts.port = colon + 1 < rest.size() ? rest.substr(colon + 1) : std::string(1, ':');
    }
    return parts;
}

std::vector<std::string> MistakesOf(const std::string& address) {
    const ServerAddress parts = TakeApart(address);
    std::vector<std::string> mistakes;
    const bool hasBlank = std::any_of(
        address.begin(), address.end(), [](unsigned char each) { return std::isspace(each) != 0; });
    if (hasBlank) {
        mistakes.emplace_back("the address has a blank, which no address has");
    }
    if (parts.scheme != "https" && parts.scheme != "http") {
        mistakes.push_back(
            "the scheme '" + parts.scheme + "' is none that the service speaks; write https://");
    }
    if (parts.scheme == "http") {
        mistakes.emplace_back("http sends card data and keys in the clear; write https:// but for tests");
    }
    if (parts.host.empty()) {
        mistakes.emplace_back("the address has no host; write https://HOST[:PORT]");
    }
    if (!parts.port.empty() && !IsPort(parts.port)) {
        mistakes.push_back(
            "the port '" + parts.port + "' is no number from 1 to 65535; write https://HOST[:PORT]");
    }
    if (!parts.path.empty()) {
        mistakes.push_back(
            "the service puts /IssueCard.do behind '" + parts.path + "'; write https://HOST[:PORT] alone");
    }
    if (!parts.user.empty()) {
        mistakes.emplace_back("a name before '@' is stored in the clear, and a key server asks for none");
    }
    return mistakes;
}
