// SPDX-License-Identifier: Apache-2.0
// A clock that a test sets. It stands in for time() and gettimeofday() in the whole test program.
#pragma once

#include <sys/time.h>

// The clock stands still for as long as it lives. One at a time.
class StoppedClock {
public:
    StoppedClock(time_t seconds, suseconds_t microseconds);
    ~StoppedClock();
    StoppedClock(const StoppedClock&) = delete;
    StoppedClock& operator=(const StoppedClock&) = delete;

    // From now on gettimeofday() fails.
    void Break();
};
