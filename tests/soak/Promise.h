// SPDX-License-Identifier: Apache-2.0
// What a long run holds its victims to.
#pragma once

#include <stdexcept>
#include <string>

inline void Require(bool holds, const std::string& promise) {
    if (!holds) {
        throw std::runtime_error("broken promise: " + promise);
    }
}
