// SPDX-License-Identifier: Apache-2.0
// Command and response APDUs as the agent carries them: hexadecimal text, several of them in one set.
//
// A command set is a run of items, each "/", two characters and one command APDU. The agent answers with a
// set of the same shape in which the two characters are "01", or, when it could not run the set, with a text
// that begins "21_" and says why. Blanks never survive the way from the agent to the server.
#pragma once

#include <string>
#include <vector>

namespace KeyServer {

[[nodiscard]] std::string JoinCommandSet(const std::vector<std::string>& commands);

struct ResponseSet {
    std::string relayFailure;            // the words behind "21_" when the agent relayed nothing
    std::vector<std::string> responses;  // upper-case hexadecimal, status word last

    bool Relayed() const { return relayFailure.empty(); }
};

// Throws std::invalid_argument that says what is wrong and where.
ResponseSet ParseResponseSet(const std::string& text);

// The last four digits; empty when the response has fewer.
[[nodiscard]] std::string StatusWord(const std::string& response);

// A pattern is four characters, each a hexadecimal digit or "x" for any digit, such as 9000 or 61xx.
[[nodiscard]] bool IsStatusWordPattern(const std::string& pattern);
[[nodiscard]] bool MatchesStatusWord(const std::string& pattern, const std::string& statusWord);

[[nodiscard]] bool IsHexadecimal(const std::string& text);
[[nodiscard]] std::string UpperCase(std::string text);

// What is wrong with a command APDU by the cases 1 to 4 of ISO 7816-4, short and extended; empty when it is
// well formed.
[[nodiscard]] std::string ApduMistake(const std::string& apdu);

}  // namespace KeyServer
