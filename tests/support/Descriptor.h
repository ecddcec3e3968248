// SPDX-License-Identifier: Apache-2.0
// Owners of file descriptors.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

class Descriptor {
public:
    explicit Descriptor(int number = -1) : value(number) {}
    ~Descriptor() { Close(); }
    Descriptor(Descriptor&& other) noexcept : value(std::exchange(other.value, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(value, other.value);
        return *this;
    }

    int Get() const { return value; }
    void Close() {
        if (value >= 0) {
            close(value);
        }
        value = -1;
    }

private:
    int value;
};

// What is written to the second is read from the first.
using DescriptorPair = std::pair<Descriptor, Descriptor>;

// Throws std::system_error, as does what follows.
inline DescriptorPair NewPipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// A file to write into; `flags` beside those that make it.
inline Descriptor OpenToWrite(const std::filesystem::path& file, int flags) {
    Descriptor descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600));
    if (descriptor.Get() < 0) {
        throw std::system_error(errno, std::generic_category(), file.string());
    }
    return descriptor;
}
