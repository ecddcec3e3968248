// SPDX-License-Identifier: Apache-2.0
// Where the standards leave cards a choice, and cards differ.
#pragma once

#include <chrono>
#include <cstddef>

namespace Card {

// What a command gets whose expected length is too short for the answer.
enum class ShortLength {
    Told,     // 6Cxx with the right one
    Refused,  // 6700
    Cut,      // as much as it expects, and the rest behind 61xx
};

constexpr std::chrono::milliseconds LongestAnswerTime{10000};

struct Manners {
    // Every answer with data waits behind 61xx, whatever the protocol.
    bool announcesAnswers = false;

    ShortLength shortLength = ShortLength::Told;

    // 6A88 for a name that nothing on the card has, in place of 6A82.
    bool absentIsData = false;

    // Entries of GET STATUS in one answer, the others behind 6310; 0: as many as an answer holds.
    std::size_t listedAtOnce = 0;

    // How long the card thinks about each command.
    std::chrono::milliseconds answerTime{0};
};

}  // namespace Card
