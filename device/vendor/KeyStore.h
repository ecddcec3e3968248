// SPDX-License-Identifier: Apache-2.0
// The keys of the virtual device, in a file that a person can read.
#pragma once

#include <string>
#include <vector>

#include "device/configuration/KeyFile.h"
#include "device/names/Bytes.h"

namespace Vendor {

using Device::Bytes;

constexpr std::size_t LongestName = 128;
constexpr std::size_t LongestValue = 10000;

struct Key {
    std::string name;
    int type;           // 1 or 2
    int injectionType;  // 1, 2 or 4
    Bytes value;

    // 16 upper-case hexadecimal digits that follow from all of the above.
    std::string Uid() const;
};

[[nodiscard]] bool IsKeyType(int type);
[[nodiscard]] bool IsInjectionType(int type);

// Whether the key file can hold the name: 1 to LongestName bytes, no control characters, no blank at an end.
[[nodiscard]] bool IsKeyName(const std::string& name);

// The file as it was when this was made. A section of the file:
//
//   [key NAME]
//   type=1
//   injection=2
//   uid=52A0F6B1C33D9E08
//   value=000102
class KeyStore {
public:
    // A file that is not there holds no keys. Throws std::runtime_error with place and reason for a file that
    // cannot be read or is damaged.
    explicit KeyStore(const std::string& path);

    // Null when there is none.
    const Key* Find(const std::string& name) const;

    // Replaces the file by one with this key, atomically. The name is not there yet. Throws
    // std::runtime_error.
    void Add(const Key& key);

private:
    Key ReadKey(const Device::Section& section) const;
    std::string Text() const;
    [[noreturn]] void Damaged(unsigned line, const std::string& problem) const;

    std::string path;
    std::vector<Key> keys;
};

}  // namespace Vendor
