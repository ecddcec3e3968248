// SPDX-License-Identifier: Apache-2.0
// A card whose every response the fuzzer chooses. It stands in front of the device's: the program has to be
// linked with --wrap=nfc_se_send_apdu_internal.
#pragma once

#include <cstddef>
#include <deque>
#include <string>

struct PlayedCard {
    std::deque<std::string> responses;  // the next ones, then 9000 for ever
    std::size_t commands = 0;           // received so far
};

PlayedCard& Card();
