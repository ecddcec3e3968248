// SPDX-License-Identifier: Apache-2.0
// What a process has in memory.
#pragma once

#include <sys/types.h>

namespace Bench {

// In bytes.
struct Memory {
    double privateDirty = 0;
    double proportional = 0;
    double peak = 0;  // the most that was resident so far
};

Memory MemoryOf(pid_t process);

}  // namespace Bench
