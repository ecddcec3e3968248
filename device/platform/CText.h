// SPDX-License-Identifier: Apache-2.0
// Memory that a platform function hands to its caller.
#pragma once

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "device/names/Bytes.h"

namespace Device {

// A copy that the caller releases with free(). Cut at a zero byte, as C has it.
[[nodiscard]] inline char* NewText(const std::string& text) {
    char* copy = strdup(text.c_str());
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return copy;
}

// The same for bytes. Null for none at all.
[[nodiscard]] inline unsigned char* NewBytes(const Bytes& bytes) {
    if (bytes.empty()) {
        return nullptr;
    }
    auto* copy = static_cast<unsigned char*>(std::malloc(bytes.size()));
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(copy, bytes.data(), bytes.size());
    return copy;
}

}  // namespace Device
