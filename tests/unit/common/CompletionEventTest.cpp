// SPDX-License-Identifier: Apache-2.0
// Waiting, step by step: what the system's own waits give and how the clock goes is up to the test. The link
// options --wrap lead the service's calls here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <deque>
#include <functional>

#include "common/Utils.h"

using Na::CompletionEvent;

namespace {

constexpr unsigned TimedOut = 0xFFFFFFFF;

// What a wait does while it holds nothing, and gives; without one, the system waits.
std::function<int(const timespec* deadline)> waiting;

// The next readings of the clock that never jumps; without any, the clock's own.
std::deque<timespec> readings;

int WaitAsTold(pthread_mutex_t* mutex, const timespec* deadline) {
    pthread_mutex_unlock(mutex);
    const int result = waiting(deadline);
    pthread_mutex_lock(mutex);
    return result;
}

std::int64_t NanosecondsOf(const timespec& time) {
    return std::int64_t{1000000000} * time.tv_sec + time.tv_nsec;
}

timespec WallClock() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

class Waiting : public testing::Test {
protected:
    Waiting() { event.Start(); }
    ~Waiting() override {
        waiting = nullptr;
        readings.clear();
    }

    CompletionEvent event;
    int waits = 0;
};

}  // namespace

extern "C" {

int __real_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __real_pthread_cond_timedwait(
    pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline);
int __wrap_pthread_cond_timedwait(
    pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline);
int __real_clock_gettime(clockid_t clock, timespec* time);
int __wrap_clock_gettime(clockid_t clock, timespec* time);

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    return waiting ? WaitAsTold(mutex, nullptr) : __real_pthread_cond_wait(condition, mutex);
}

int __wrap_pthread_cond_timedwait(
    pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    return waiting ? WaitAsTold(mutex, deadline) : __real_pthread_cond_timedwait(condition, mutex, deadline);
}

int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    if (clock != CLOCK_MONOTONIC || readings.empty()) {
        return __real_clock_gettime(clock, time);
    }
    *time = readings.front();
    readings.pop_front();
    return 0;
}

}  // extern "C"

TEST_F(Waiting, GivesZeroOnceItWasWoken) {
    waiting = [&](const timespec*) {
        event.Done();
        return 0;
    };
    EXPECT_EQ(event.Wait(60000), 0U);
    event.Start();
    EXPECT_EQ(event.Wait(0), 0U);
}

TEST_F(Waiting, GoesOnUntilTheSameDeadlineWhenItIsWokenWhileWorkIsInProgress) {
    std::vector<std::int64_t> deadlines;
    waiting = [&](const timespec* deadline) {
        deadlines.push_back(NanosecondsOf(*deadline));
        if (deadlines.size() == 3) {
            event.Done();
        }
        return 0;
    };
    EXPECT_EQ(event.Wait(60000), 0U);
    ASSERT_EQ(deadlines.size(), 3U);
    EXPECT_EQ(deadlines[1], deadlines[0]);
    EXPECT_EQ(deadlines[2], deadlines[0]);
}

TEST_F(Waiting, GoesOnWithoutATimeoutWhenItIsWokenWhileWorkIsInProgress) {
    waiting = [&](const timespec*) {
        if (++waits == 3) {
            event.Done();
        }
        return 0;
    };
    EXPECT_EQ(event.Wait(0), 0U);
    EXPECT_EQ(waits, 3);
}

TEST_F(Waiting, EndsTheTimeoutFromNowWithoutCarryingNanoseconds) {
    timespec deadline = {};
    waiting = [&](const timespec* given) {
        deadline = *given;
        return ETIMEDOUT;
    };
    const std::int64_t before = NanosecondsOf(WallClock());
    EXPECT_EQ(event.Wait(3999), TimedOut);
    const std::int64_t after = NanosecondsOf(WallClock());
    EXPECT_GE(NanosecondsOf(deadline), before + 3999000000);
    EXPECT_LE(NanosecondsOf(deadline), after + 3999000000);
    EXPECT_GE(deadline.tv_nsec, 999000000);
}

TEST_F(Waiting, HasRunOutOfTimeAlsoAfterItWasWoken) {
    waiting = [&](const timespec*) { return ++waits == 1 ? 0 : ETIMEDOUT; };
    EXPECT_EQ(event.Wait(60000), TimedOut);
}

TEST_F(Waiting, GivesWhatIsLeftInWholeMillisecondsWhenItCannotGoOn) {
    waiting = [](const timespec*) { return EINVAL; };
    readings = {{10, 999600000}, {11, 100000}};  // half a millisecond
    EXPECT_EQ(event.Wait(60000), 60000U);
    readings = {{10, 999600000}, {12, 1600000}};  // 1002 of them
    EXPECT_EQ(event.Wait(60000), 58998U);
    readings = {{10, 0}, {70, 0}};
    EXPECT_EQ(event.Wait(60000), 0U);
}

TEST_F(Waiting, GivesOneWhenItCannotGoOnAndTheTimeHasPassed) {
    waiting = [](const timespec*) { return EINVAL; };
    readings = {{10, 0}, {70, 1000000}};
    EXPECT_EQ(event.Wait(60000), 1U);
}

TEST_F(Waiting, GivesOneWhenItCannotGoOnWithoutATimeout) {
    waiting = [](const timespec*) { return EINVAL; };
    EXPECT_EQ(event.Wait(0), 1U);
}
