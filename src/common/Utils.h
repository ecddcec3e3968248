// SPDX-License-Identifier: Apache-2.0
// Small shared facilities: a lock, a completion event, folders, and conversions of numbers and bytes.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/ThreadSafety.h"

namespace Na {

using Bytes = std::vector<std::uint8_t>;

// A plain, non-recursive lock.
class LOCK_TYPE Mutex {
public:
    explicit Mutex(bool acquired = false);
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Acquire() ACQUIRES();
    void Release() RELEASES();
    pthread_mutex_t* Native() { return mutex.get(); }

private:
    std::unique_ptr<pthread_mutex_t> mutex;
};

// Holds a lock for a scope.
class SCOPED_LOCK_TYPE Lock {
public:
    explicit Lock(Mutex& mutexToHold) ACQUIRES(mutexToHold) : mutex(mutexToHold) { mutex.Acquire(); }
    ~Lock() RELEASES() { mutex.Release(); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    Mutex& mutex;
};

// Lets one thread wait until another says that its work is done.
class CompletionEvent {
public:
    CompletionEvent();
    ~CompletionEvent();
    CompletionEvent(const CompletionEvent&) = delete;
    CompletionEvent& operator=(const CompletionEvent&) = delete;

    void Start();
    void Done();

    // Waits while work is in progress, at most `timeout` milliseconds (0: without limit). 0xFFFFFFFF when
    // the time ran out; `timeout` when nothing was in progress; 0 after a wake-up; 1 when the wait failed.
    unsigned Wait(unsigned timeout);

private:
    unsigned WaitUntil(unsigned timeout) REQUIRES_LOCK(mutex);
    unsigned WaitForEver() REQUIRES_LOCK(mutex);

    Mutex mutex;
    pthread_cond_t condition;
    std::uint8_t busy GUARDED_BY(mutex);
};

// Creates a folder and its missing parents with mode 0700. True when the path exists afterwards (whatever
// it is). Only absolute paths, and never a folder directly below the root.
bool SystemMkDir(std::string path);

// Base 10: plain; base 16: upper case, at least two digits. Any other base gives an empty text.
std::string IntToString(std::int32_t value, int base);
std::string UintToString(std::uint32_t value, int base);

// Two upper-case hexadecimal digits for each byte.
std::string BytesToHex(const std::uint8_t* data, std::size_t length);
std::string BytesToHex(const Bytes& bytes);

// Pairs of hexadecimal digits of either case. Nothing is validated; an odd text ends with a low nibble of 0.
Bytes HexToBytes(const std::string& text);

Bytes StringToBytes(const std::string& text);

// Leading digits in the given base, 0 when there are none; saturates.
long StringToLong(const std::string& text, int base);

// No part of the service has base64 to read or write yet; these are here for the first that does.
std::string Base64Encode(const std::string& text);
std::string Base64Decode(const std::string& text);  // up to the first zero byte

}  // namespace Na
