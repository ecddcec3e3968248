// SPDX-License-Identifier: Apache-2.0
#include "tests/support/service/StoppedClock.h"

#include <atomic>
#include <cerrno>
#include <ctime>

namespace {

enum class State { Running, Stopped, Broken };

std::atomic<State> state{State::Running};
timeval stoppedAt = {};  // written while the clock runs

timeval RunningTime() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return {now.tv_sec, static_cast<suseconds_t>(now.tv_nsec / 1000)};
}

timeval Now() {
    return state == State::Running ? RunningTime() : stoppedAt;
}

}  // namespace

StoppedClock::StoppedClock(time_t seconds, suseconds_t microseconds) {
    stoppedAt = {seconds, microseconds};
    state = State::Stopped;
}

StoppedClock::~StoppedClock() {
    state = State::Running;
}

void StoppedClock::Break() {
    state = State::Broken;
}

extern "C" {

time_t time(time_t* result) noexcept {
    const time_t seconds = Now().tv_sec;
    if (result != nullptr) {
        *result = seconds;
    }
    return seconds;
}

int gettimeofday(timeval* result, void*) noexcept {
    if (state == State::Broken) {
        errno = EFAULT;
        return -1;
    }
    *result = Now();
    return 0;
}

}  // extern "C"
