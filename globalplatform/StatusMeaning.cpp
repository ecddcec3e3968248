// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/StatusMeaning.h"

#include <algorithm>
#include <array>

namespace GlobalPlatform {

namespace {

struct Row {
    std::string_view statusWord;  // or its beginning
    std::string_view meaning;
};

// The first that fits counts.
constexpr std::array<Row, 29> Rows{{
    {"9000", "success"},
    {"6200", "a warning without further information"},
    {"6283", "the card is locked"},
    {"6300", "the authentication of the host cryptogram failed"},
    {"6310", "more data is available"},
    {"63C", "a check failed, the last digit tells how many tries are left"},
    {"6400", "an execution error"},
    {"6581", "a memory failure"},
    {"6700", "wrong length"},
    {"6881", "the logical channel is not supported or not active"},
    {"6882", "secure messaging is not supported"},
    {"6982", "the security status is not satisfied"},
    {"6983", "the authentication method is blocked"},
    {"6984", "the referenced data cannot be used"},
    {"6985", "the conditions of use are not satisfied"},
    {"6987", "a secure messaging data object is missing"},
    {"6988", "a secure messaging data object is incorrect"},
    {"6A80", "wrong data"},
    {"6A81", "the function is not supported, for example because the card is locked"},
    {"6A82", "the application or file was not found"},
    {"6A84", "not enough memory space"},
    {"6A86", "wrong P1 or P2"},
    {"6A88", "the referenced data was not found"},
    {"6C", "wrong expected length"},
    {"6D", "the instruction is not supported"},
    {"6E", "the class is not supported"},
    {"6F", "no precise diagnosis"},
    {"9484", "the algorithm is not supported"},
    {"9485", "the key check value is wrong"},
}};

}  // namespace

std::string_view StatusMeaning(std::string_view statusWord) {
    const auto* const found = std::find_if(Rows.begin(), Rows.end(), [&](const Row& row) {
        return statusWord.substr(0, row.statusWord.size()) == row.statusWord;
    });
    return found == Rows.end() ? "an unknown status word" : found->meaning;
}

}  // namespace GlobalPlatform
