// SPDX-License-Identifier: Apache-2.0
// Which members of two sequences are the same happening, told by what they are. Both keep their order.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Trace {

constexpr std::size_t NoPartner = static_cast<std::size_t>(-1);

struct Sequences {
    std::size_t left = 0;  // how many there are
    std::size_t right = 0;
    std::function<bool(std::size_t left, std::size_t right)> same;

    // By what a member is found again far away; an empty text for one that nobody would know again.
    std::function<std::string(std::size_t left)> leftKey;
    std::function<std::string(std::size_t right)> rightKey;
};

// For each left one its partner on the right, or NoPartner. Where the sequences part, they meet again at the
// nearest members that are the same, or far ahead where two in a row are.
[[nodiscard]] std::vector<std::size_t> Align(const Sequences& sequences);

}  // namespace Trace
