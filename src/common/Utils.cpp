// SPDX-License-Identifier: Apache-2.0
#include "common/Utils.h"

#include <glib.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/Debug.h"
#include "common/Owned.h"

namespace Na {

Mutex::Mutex(bool acquired) : mutex(std::make_unique<pthread_mutex_t>()) {
    pthread_mutex_init(mutex.get(), nullptr);
    if (acquired) {
        Acquire();
    }
}

Mutex::~Mutex() {
    // It is released whoever holds it. A free one is taken first: to release a free lock is undefined.
    static_cast<void>(pthread_mutex_trylock(mutex.get()));
    Release();
    pthread_mutex_destroy(mutex.get());
}

void Mutex::Acquire() {
    pthread_mutex_lock(mutex.get());
}

void Mutex::Release() {
    if (pthread_mutex_unlock(mutex.get()) == EPERM) {
        LogPrint(LogDebug, LOCATED("Incorrect behaviour: current thread does not own mutex"));
    }
}

CompletionEvent::CompletionEvent() : busy(0) {
    pthread_cond_init(&condition, nullptr);
}

CompletionEvent::~CompletionEvent() {
    pthread_cond_destroy(&condition);
}

void CompletionEvent::Start() {
    LogPrint(LogTrace, LOCATED("Start %p"), static_cast<void*>(this));
    const Lock lock(mutex);
    busy = 1;
    pthread_cond_signal(&condition);
}

void CompletionEvent::Done() {
    LogPrint(LogTrace, LOCATED("Up %p"), static_cast<void*>(this));
    const Lock lock(mutex);
    if (busy != 0) {
        busy = 0;
        pthread_cond_signal(&condition);
    }
}

unsigned CompletionEvent::Wait(unsigned timeout) {
    LogPrint(LogTrace, LOCATED("%p"), static_cast<void*>(this));
    const Lock lock(mutex);
    LogPrint(LogTrace, LOCATED("Wait %p"), static_cast<void*>(this));
    const unsigned result = timeout != 0 ? WaitUntil(timeout) : WaitForEver();
    LogPrint(LogTrace, LOCATED("Finished %p"), static_cast<void*>(this));
    return result;
}

namespace {

constexpr unsigned TimedOut = 0xFFFFFFFF;
constexpr long NanosecondsPerMillisecond = 1000000;
constexpr std::int64_t NanosecondsPerSecond = 1000000000;

timespec Now(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return now;
}

// The nanoseconds are not carried into the seconds: past a full second the wait refuses the deadline.
timespec Deadline(unsigned timeout) {
    timespec deadline = Now(CLOCK_REALTIME);
    deadline.tv_sec += timeout / 1000;
    deadline.tv_nsec += static_cast<long>(timeout % 1000) * NanosecondsPerMillisecond;
    return deadline;
}

std::int64_t MillisecondsSince(const timespec& start) {
    const timespec now = Now(CLOCK_MONOTONIC);
    const std::int64_t seconds = now.tv_sec - start.tv_sec;
    return (seconds * NanosecondsPerSecond + now.tv_nsec - start.tv_nsec) / NanosecondsPerMillisecond;
}

unsigned RemainingTime(unsigned timeout, const timespec& start) {
    const std::int64_t elapsed = MillisecondsSince(start);
    return elapsed > timeout ? 1 : static_cast<unsigned>(timeout - elapsed);
}

}  // namespace

unsigned CompletionEvent::WaitUntil(unsigned timeout) {
    const timespec start = Now(CLOCK_MONOTONIC);
    const timespec deadline = Deadline(timeout);
    LogPrint(LogTrace, LOCATED_IN("Wait", "Waiting for Done"));
    unsigned result = timeout;
    while (busy != 0) {
        const int failure = pthread_cond_timedwait(&condition, mutex.Native(), &deadline);
        if (failure == ETIMEDOUT) {
            return TimedOut;
        }
        if (failure != 0) {
            return RemainingTime(timeout, start);
        }
        result = 0;
    }
    return result;
}

unsigned CompletionEvent::WaitForEver() {
    while (busy != 0) {
        LogPrint(LogTrace, LOCATED_IN("Wait", "Waiting for Done"));
        const int failure = pthread_cond_wait(&condition, mutex.Native());
        if (failure != 0) {
            LogPrint(LogTrace, LOCATED_IN("Wait", "cond_wait aborted: %d"), failure);
            return 1;
        }
    }
    return 0;
}

namespace {

// Tells in the log why a folder could not be had; a missing parent goes without a line.
void ReportFolderError(const std::string& path, int error) {
    switch (error) {
        case EACCES:
            LogPrint(
                LogDebug, LOCATED_IN("SystemMkDir", "Can't create folder '%s': not permitted"), path.c_str());
            break;
        case ENOTDIR:
            LogPrint(LogDebug, LOCATED_IN("SystemMkDir", "Path '%s' is not a dir"), path.c_str());
            break;
        case ENOENT:
            break;
        default:
            LogPrint(LogDebug, LOCATED_IN("SystemMkDir", "Error creating dir '%s'"), path.c_str());
            break;
    }
}

bool MakeFolderBelow(const std::string& parent, const std::string& path) {
    LogPrint(LogTrace, LOCATED_IN("SystemMkDir", "Creating parent folder: %s"), parent.c_str());
    if (!SystemMkDir(parent)) {
        return false;
    }
    LogPrint(LogTrace, LOCATED_IN("SystemMkDir", "mkdir %s"), path.c_str());
    if (mkdir(path.c_str(), S_IRWXU) != 0) {
        ReportFolderError(path, errno);
        return false;
    }
    return true;
}

}  // namespace

// The recursion is bounded: the system refuses to look at a path of more than PATH_MAX characters.
bool SystemMkDir(std::string path) {
    if (path.empty()) {
        LogPrint(LogDebug, LOCATED("Empty path"));
        return false;
    }
    if (path.front() != '/') {
        LogPrint(LogDebug, LOCATED("Only absolute path is supported: %s"), path.c_str());
        return false;
    }
    path.resize(path.find_last_not_of('/') + 1);

    struct stat status = {};
    if (stat(path.c_str(), &status) == 0) {
        LogPrint(LogTrace, LOCATED("Path '%s' already exists"), path.c_str());
        return true;
    }
    const int error = errno;
    if (error != ENOENT) {
        LogPrint(
            LogTrace, LOCATED("Error obtaining info for path %s: %s"), path.c_str(), std::strerror(error));
        ReportFolderError(path, error);
        return false;
    }
    const std::string::size_type lastSlash = path.rfind('/');
    if (lastSlash == std::string::npos || lastSlash == 0) {
        LogPrint(LogDebug, LOCATED("Internal error"));
        LogPrint(LogTrace, LOCATED("Can't determine parent folder path"));
        return false;
    }
    return MakeFolderBelow(path.substr(0, lastSlash), path);
}

namespace {

std::string Hexadecimal(std::uint32_t value) {
    char text[sizeof "FFFFFFFF"];
    std::snprintf(text, sizeof text, "%02X", static_cast<unsigned>(value));
    return text;
}

}  // namespace

std::string IntToString(std::int32_t value, int base) {
    switch (base) {
        case 10:
            return std::to_string(value);
        case 16:
            return Hexadecimal(static_cast<std::uint32_t>(value));
        default:
            LogPrint(LogError, LOCATED("Sorry. Base other than 10 or 16 are not supported"));
            return {};
    }
}

std::string UintToString(std::uint32_t value, int base) {
    switch (base) {
        case 10:
            return std::to_string(value);
        case 16:
            return Hexadecimal(value);
        default:
            LogPrint(LogError, LOCATED("Sorry. Base other than 10 or 16 are not supported"));
            return {};
    }
}

namespace {

constexpr std::size_t ByteValues = 256;
constexpr std::size_t DigitsOfAll = 512;

using DigitPairs = std::array<char, DigitsOfAll>;

// Both digits of each byte, one behind the other.
DigitPairs WriteDigitPairs() {
    static const char digits[] = "0123456789ABCDEF";
    DigitPairs pairs = {};
    for (std::size_t byte = 0; byte < ByteValues; ++byte) {
        pairs[2 * byte] = digits[byte >> 4];
        pairs[2 * byte + 1] = digits[byte & 0x0F];
    }
    return pairs;
}

}  // namespace

std::string BytesToHex(const std::uint8_t* data, std::size_t length) {
    static const DigitPairs pairs = WriteDigitPairs();
    std::string text(length * 2, '0');
    char* digit = &text[0];
    for (const std::uint8_t* const end = data + length; data != end; ++data, digit += 2) {
        std::memcpy(digit, &pairs[std::size_t{2} * *data], 2);
    }
    return text;
}

std::string BytesToHex(const Bytes& bytes) {
    return BytesToHex(bytes.data(), bytes.size());
}

namespace {

using Nibbles = std::array<std::uint8_t, ByteValues>;

// Not masked: a character that is no digit can give up to 24, whose carry goes into the high digit.
Nibbles ReadNibbles() {
    Nibbles nibbles = {};
    for (std::size_t code = 0; code < ByteValues; ++code) {
        nibbles[code] = static_cast<std::uint8_t>((code < 'A' ? 0 : 9) + (code & 0x0F));
    }
    return nibbles;
}

std::size_t CodeOf(char character) {
    return static_cast<unsigned char>(character);
}

}  // namespace

Bytes HexToBytes(const std::string& text) {
    static const Nibbles nibbles = ReadNibbles();
    Bytes bytes((text.size() + 1) / 2);
    // Behind the last character of an odd count stands the text's own zero.
    const char* digit = text.c_str();
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(nibbles[CodeOf(digit[0])] * 16U + nibbles[CodeOf(digit[1])]);
        digit += 2;
    }
    return bytes;
}

Bytes StringToBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

long StringToLong(const std::string& text, int base) {
    return std::strtol(text.c_str(), nullptr, base);
}

std::string Base64Encode(const std::string& text) {
    const auto* const bytes = reinterpret_cast<const guchar*>(text.data());
    return OwnedGlibMemory<gchar>(g_base64_encode(bytes, text.size())).get();
}

std::string Base64Decode(const std::string& text) {
    gsize length = 0;
    const OwnedGlibMemory<guchar> bytes(g_base64_decode(text.c_str(), &length));
    return std::string(bytes.get(), std::find(bytes.get(), bytes.get() + length, guchar{0}));
}

}  // namespace Na
