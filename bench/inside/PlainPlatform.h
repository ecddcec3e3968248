// SPDX-License-Identifier: Apache-2.0
// The platform's log and card for what is measured within one process. Both cost as little as they can, so
// that they do not hide what stands above them: a line is formatted once and written once, and the card
// answers at once with as many bytes as it got. They stand in front of the virtual device through the
// linker's --wrap.
#pragma once

#include <cstddef>

namespace Inside {

// What the log took since the process began.
struct Logged {
    std::size_t lines = 0;
    std::size_t characters = 0;
};

const Logged& WrittenToLog();

}  // namespace Inside
