// SPDX-License-Identifier: Apache-2.0
// Waiting for something that another process does.
#pragma once

#include <chrono>
#include <thread>

// Long enough for a loaded machine and a sanitizer; nothing that goes well takes as long.
constexpr std::chrono::seconds Patience{40};

// True as soon as `condition` holds; false when it did not within the limit.
template <typename Condition>
bool Eventually(Condition&& condition, std::chrono::milliseconds limit = Patience) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}
