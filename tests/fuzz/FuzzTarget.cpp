// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

void Require(bool holds, const char* promise) {
    if (!holds) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

std::uint8_t FuzzInput::Byte() {
    if (left == 0) {
        return 0;
    }
    --left;
    return static_cast<std::uint8_t>(*at++);
}

std::uint32_t FuzzInput::Number(std::size_t bytes) {
    std::uint32_t number = 0;
    for (; bytes > 0; --bytes) {
        number = number << 8 | Byte();
    }
    return number;
}

std::string FuzzInput::Line() {
    if (left == 0) {
        return {};
    }
    const void* const end = std::memchr(at, '\n', left);
    const std::size_t length =
        end == nullptr ? left : static_cast<std::size_t>(static_cast<const char*>(end) - at);
    const std::string line(at, length);
    const std::size_t taken = std::min(left, length + 1);
    at += taken;
    left -= taken;
    return line;
}

std::string FuzzInput::Rest() {
    const std::string rest(at, left);
    at += left;
    left = 0;
    return rest;
}
