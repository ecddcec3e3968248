// SPDX-License-Identifier: Apache-2.0
// Command line of navo-card.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "card/Options.h"

namespace NavoCard {

struct Options {
    std::string host = "127.0.0.1";
    std::uint16_t port = 35963;  // where vpcd waits unless its reader is set up otherwise
    bool once = false;           // ends with the first reader, and when there is none
    std::string recordFile;
    bool list = false;  // tells what is on the card, and ends
    Card::Options card;
};

constexpr int ExitSuccess = 0;
constexpr int ExitFailure = 1;
constexpr int ExitUsage = 2;

// Nothing when the program has to end at once, with `status`: help and version have been shown then, or what
// is wrong with the command line.
[[nodiscard]] std::optional<Options> ParseCommandLine(int count, char** arguments, int& status);

}  // namespace NavoCard
