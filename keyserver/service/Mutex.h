// SPDX-License-Identifier: Apache-2.0
// A lock that says what it guards, for Clang's -Wthread-safety to check. Other compilers see nothing of it.
#pragma once

#include <mutex>

#if defined(__clang__)
#define NAVO_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define NAVO_THREAD_SAFETY(attribute)
#endif

// Members that are touched under a lock alone, and functions that want it held.
#define GUARDED_BY(lock) NAVO_THREAD_SAFETY(guarded_by(lock))
#define REQUIRES_LOCK(...) NAVO_THREAD_SAFETY(requires_capability(__VA_ARGS__))

namespace KeyServer {

class NAVO_THREAD_SAFETY(capability("mutex")) Mutex {
public:
    void Acquire() NAVO_THREAD_SAFETY(acquire_capability()) { mutex.lock(); }
    void Release() NAVO_THREAD_SAFETY(release_capability()) { mutex.unlock(); }

private:
    std::mutex mutex;
};

// Holds a lock for a scope.
class NAVO_THREAD_SAFETY(scoped_lockable) Lock {
public:
    explicit Lock(Mutex& mutexToHold) NAVO_THREAD_SAFETY(acquire_capability(mutexToHold))
        : mutex(mutexToHold) {
        mutex.Acquire();
    }
    ~Lock() NAVO_THREAD_SAFETY(release_capability()) { mutex.Release(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    Mutex& mutex;
};

}  // namespace KeyServer
