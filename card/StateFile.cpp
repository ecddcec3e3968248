// SPDX-License-Identifier: Apache-2.0
#include "card/StateFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace Card {

namespace {

// A card of some megabytes is far below.
constexpr std::size_t MostCharacters = 256U << 20;

// A service that ends gives its bus name back first and its card last, and the next one may begin in between.
constexpr std::chrono::seconds LongestHandover(3);
constexpr std::chrono::milliseconds BetweenAttempts(10);

// The keys of the card stand in it.
constexpr mode_t OwnerOnly = S_IRUSR | S_IWUSR;

std::string Cause() {
    return std::generic_category().message(errno);
}

int Open(const std::string& path, int flags) {
    return ::open(path.c_str(), flags | O_CLOEXEC, OwnerOnly);
}

bool WriteWhole(int descriptor, const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const ssize_t written = ::write(descriptor, text.data() + at, text.size() - at);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        at += written < 0 ? 0 : static_cast<std::size_t>(written);
    }
    return ::fsync(descriptor) == 0;
}

// False, with the cause in errno, when it stays in other hands.
bool LockSoon(int descriptor) {
    const auto latest = std::chrono::steady_clock::now() + LongestHandover;
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        const int cause = errno;
        if ((cause != EWOULDBLOCK && cause != EINTR) || std::chrono::steady_clock::now() > latest) {
            errno = cause;
            return false;
        }
        std::this_thread::sleep_for(BetweenAttempts);
    }
    return true;
}

[[noreturn]] void FailAt(const std::string& path, const std::string& what) {
    throw std::runtime_error("state file " + path + ": " + what);
}

// A renamed file lasts only when its folder is on the disk too.
bool SyncFolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const FileDescriptor opened(Open(folder, O_RDONLY | O_DIRECTORY));
    // Not every file system can do it, and one that cannot has no need.
    return opened.Valid() && (::fsync(opened.Get()) == 0 || errno == EINVAL);
}

}  // namespace

FileDescriptor::~FileDescriptor() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

std::optional<std::string> ReadStateText(const std::string& path) {
    const FileDescriptor opened(Open(path, O_RDONLY));
    if (!opened.Valid()) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        FailAt(path, "it cannot be opened: " + Cause());
    }
    std::string text;
    char piece[16384];
    ssize_t length = 0;
    do {
        length = ::read(opened.Get(), piece, sizeof piece);
        if (length < 0 && errno != EINTR) {
            FailAt(path, "it cannot be read: " + Cause());
        }
        if (length > 0) {
            text.append(piece, static_cast<std::size_t>(length));
        }
        if (text.size() > MostCharacters) {
            FailAt(path, "it is longer than any card's");
        }
    } while (length != 0);
    return text;
}

StateFile::StateFile(std::string filePath)
    : path(std::move(filePath)), lock(Open(path + ".lock", O_RDWR | O_CREAT)) {
    if (!lock.Valid()) {
        Fail("its lock file " + path + ".lock cannot be written: " + Cause());
    }
    if (!LockSoon(lock.Get())) {
        Fail(errno == EWOULDBLOCK ? "another card uses it" : "it cannot be locked: " + Cause());
    }
}

void StateFile::Fail(const std::string& what) const {
    FailAt(path, what);
}

void StateFile::Write(const std::string& text) const {
    const std::string temporary = path + ".new";
    {
        const FileDescriptor opened(Open(temporary, O_WRONLY | O_CREAT | O_TRUNC));
        if (!opened.Valid() || !WriteWhole(opened.Get(), text)) {
            Fail(temporary + " cannot be written: " + Cause());
        }
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        Fail("it cannot be replaced: " + Cause());
    }
    if (!SyncFolderOf(path)) {
        Fail("its folder cannot be written to the disk: " + Cause());
    }
}

}  // namespace Card
