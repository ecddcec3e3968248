// SPDX-License-Identifier: Apache-2.0
// What a process holds of the system at one moment.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "tests/support/world/World.h"

struct Holdings : World::Holdings {
    std::uint64_t privateDirty = 0;  // KiB
    std::uint64_t resident = 0;      // KiB
    std::uint64_t peak = 0;          // KiB, the most that was resident so far beside the pages of files
    unsigned threads = 0;
};

// Throws std::runtime_error when the process is gone.
Holdings HoldingsOf(pid_t process);
