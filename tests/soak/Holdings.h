// What a process holds of the system at one moment.
#pragma once

#include <sys/types.h>

#include <cstdint>

struct Holdings {
    std::uint64_t privateDirty = 0;  // KiB
    std::uint64_t resident = 0;      // KiB
    unsigned descriptors = 0;
    unsigned threads = 0;
    unsigned watches = 0;  // of files, by inotify
};

// Throws std::runtime_error when the process is gone.
Holdings HoldingsOf(pid_t process);
