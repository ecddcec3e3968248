// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/crypto.h>
#include <pthread.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

#include "platform/tizen/utils.h"

using testing::ElementsAre;
using Tizen::OpenSslLocking;

namespace {

constexpr int Unlock = 2;
constexpr int Read = 4;

// What this thread does with mutexes while it lives. One at a time. The link options --wrap lead the calls
// here.
class MutexWatch {
public:
    MutexWatch() { active = this; }
    ~MutexWatch() { active = nullptr; }
    MutexWatch(const MutexWatch&) = delete;
    MutexWatch& operator=(const MutexWatch&) = delete;

    static void Note(const char* step) {
        if (active != nullptr) {
            active->steps.emplace_back(step);
        }
    }

    std::vector<std::string> steps;

private:
    static thread_local MutexWatch* active;
};

thread_local MutexWatch* MutexWatch::active = nullptr;

}  // namespace

extern "C" {

int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);
int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex);

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    MutexWatch::Note(attributes == nullptr ? "make" : "make with attributes");
    return __real_pthread_mutex_init(mutex, attributes);
}

int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
    MutexWatch::Note("destroy");
    return __real_pthread_mutex_destroy(mutex);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    MutexWatch::Note("lock");
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    MutexWatch::Note("unlock");
    return __real_pthread_mutex_unlock(mutex);
}

}  // extern "C"

namespace {

// The release of OpenSSL that the tests are built with asks for a single one.
TEST(OpenSslLocking, MakesAndDestroysEachOfItsLocks) {
    const MutexWatch watch;
    {
        const OpenSslLocking locking;
        EXPECT_EQ(watch.steps, std::vector<std::string>(CRYPTO_num_locks(), "make"));
    }
    std::vector<std::string> expected(CRYPTO_num_locks(), "make");
    expected.insert(expected.end(), CRYPTO_num_locks(), "destroy");
    EXPECT_EQ(watch.steps, expected);
}

TEST(OpenSslLocking, LocksWithTheBitForItAndUnlocksWithout) {
    const OpenSslLocking locking;
    const MutexWatch watch;
    for (const int mode : {CRYPTO_LOCK | Read, Unlock | Read, CRYPTO_LOCK | 8, 0}) {
        OpenSslLocking::Lock(mode, 0, __FILE__, __LINE__);
    }
    EXPECT_THAT(watch.steps, ElementsAre("lock", "unlock", "lock", "unlock"));
}

TEST(OpenSslLocking, KnowsThreadsByTheirId) {
    EXPECT_EQ(OpenSslLocking::ThreadId(), OpenSslLocking::ThreadId());
    const unsigned long other = std::async(std::launch::async, OpenSslLocking::ThreadId).get();
    EXPECT_NE(OpenSslLocking::ThreadId(), other);
}

TEST(OpenSslLocking, KeepsAnotherThreadOutUntilTheLockIsReleased) {
    const OpenSslLocking locking;
    int value = 0;
    OpenSslLocking::Lock(CRYPTO_LOCK | Read, 0, __FILE__, __LINE__);
    std::thread other([&] {
        OpenSslLocking::Lock(CRYPTO_LOCK, 0, __FILE__, __LINE__);
        EXPECT_EQ(value, 1);
        OpenSslLocking::Lock(Unlock, 0, __FILE__, __LINE__);
    });
    value = 1;
    OpenSslLocking::Lock(Unlock | Read, 0, __FILE__, __LINE__);
    other.join();
}

TEST(OpenSslLocking, HasNoLocksOnceItIsGone) {
    {
        const OpenSslLocking locking;
    }
    const MutexWatch watch;
    OpenSslLocking::Lock(CRYPTO_LOCK, 0, __FILE__, __LINE__);
    OpenSslLocking::Lock(Unlock, 0, __FILE__, __LINE__);
    EXPECT_THAT(watch.steps, testing::IsEmpty());
}

}  // namespace
