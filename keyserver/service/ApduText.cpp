// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/ApduText.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace KeyServer {

namespace {

constexpr std::size_t HeaderBytes = 4;
constexpr char RelayFailurePrefix[] = "21_";

unsigned ByteAt(const std::string& apdu, std::size_t index) {
    return static_cast<unsigned>(std::stoul(apdu.substr(2 * index, 2), nullptr, 16));
}

std::string DataMistake(std::size_t announced, std::size_t present, std::size_t lengthOfLe) {
    if (present == announced || present == announced + lengthOfLe) {
        return {};
    }
    return "Lc announces " + std::to_string(announced) + " bytes of data, but " + std::to_string(present) +
           " bytes follow";
}

std::string ExtendedMistake(const std::string& apdu, std::size_t bytes) {
    constexpr std::size_t LengthField = 3;
    if (bytes < HeaderBytes + LengthField) {
        return "an extended length has three bytes";
    }
    if (bytes == HeaderBytes + LengthField) {
        return {};
    }
    const std::size_t announced = ByteAt(apdu, 5) * 256U + ByteAt(apdu, 6);
    if (announced == 0) {
        return "an extended Lc of 0 announces no data";
    }
    return DataMistake(announced, bytes - HeaderBytes - LengthField, 2);
}

std::string ResponseAt(const std::string& item, std::size_t number) {
    const std::string place = "response " + std::to_string(number);
    if (item.size() < 2 || item.compare(0, 2, "01") != 0) {
        throw std::invalid_argument(place + " does not begin with \"01\"");
    }
    const std::string response = item.substr(2);
    if (response.empty() || !IsHexadecimal(response)) {
        throw std::invalid_argument(place + " is no hexadecimal text");
    }
    return UpperCase(response);
}

}  // namespace

std::string JoinCommandSet(const std::vector<std::string>& commands) {
    std::string set;
    for (const std::string& command : commands) {
        set += "/01" + command;
    }
    return set;
}

ResponseSet ParseResponseSet(const std::string& text) {
    ResponseSet set;
    if (text.compare(0, sizeof(RelayFailurePrefix) - 1, RelayFailurePrefix) == 0) {
        set.relayFailure = text.substr(sizeof(RelayFailurePrefix) - 1);
        if (set.relayFailure.empty()) {
            set.relayFailure = "(no words)";
        }
        return set;
    }
    if (text.empty() || text.front() != '/') {
        throw std::invalid_argument("a response set begins with \"/\" or \"21_\"");
    }
    std::size_t begin = 1;
    while (begin != std::string::npos) {
        const std::size_t slash = text.find('/', begin);
        const bool last = slash == std::string::npos;
        set.responses.push_back(
            ResponseAt(text.substr(begin, last ? slash : slash - begin), set.responses.size() + 1));
        begin = last ? slash : slash + 1;
    }
    return set;
}

std::string StatusWord(const std::string& response) {
    return response.size() < 4 ? std::string() : response.substr(response.size() - 4);
}

bool IsStatusWordPattern(const std::string& pattern) {
    return pattern.size() == 4 && std::all_of(pattern.begin(), pattern.end(), [](unsigned char character) {
               return std::isxdigit(character) != 0 || character == 'x' || character == 'X';
           });
}

bool MatchesStatusWord(const std::string& pattern, const std::string& statusWord) {
    return std::equal(
        pattern.begin(), pattern.end(), statusWord.begin(), statusWord.end(),
        [](unsigned char wanted, unsigned char found) {
            return wanted == 'x' || wanted == 'X' || std::toupper(wanted) == std::toupper(found);
        });
}

bool IsHexadecimal(const std::string& text) {
    return std::all_of(
        text.begin(), text.end(), [](unsigned char character) { return std::isxdigit(character) != 0; });
}

std::string UpperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char character) {
        return static_cast<char>(std::toupper(character));
    });
    return text;
}

std::string ApduMistake(const std::string& apdu) {
    if (!IsHexadecimal(apdu)) {
        return "holds a character that is no hexadecimal digit";
    }
    if (apdu.size() % 2 != 0) {
        return "has an odd number of hexadecimal digits";
    }
    const std::size_t bytes = apdu.size() / 2;
    if (bytes < HeaderBytes) {
        return "is shorter than the four bytes CLA INS P1 P2";
    }
    if (bytes <= HeaderBytes + 1) {
        return {};
    }
    const std::size_t announced = ByteAt(apdu, HeaderBytes);
    if (announced == 0) {
        return ExtendedMistake(apdu, bytes);
    }
    return DataMistake(announced, bytes - HeaderBytes - 1, 1);
}

}  // namespace KeyServer
