// SPDX-License-Identifier: Apache-2.0
// Memory that may hold secrets.
#pragma once

#include <map>
#include <string>

#include "common/Utils.h"

namespace Na {

// No core file is written of this process from here on, and nobody else of its user reads its memory.
void KeepMemoryPrivate() noexcept;

// Overwrites the content in a way that no compiler leaves out, and gives the memory back.
void Cleanse(std::string& text) noexcept;
void Cleanse(Bytes& bytes) noexcept;

// The values; keys are no secret.
void Cleanse(std::map<std::string, std::string>& map) noexcept;

// Cleanses a value on every way out of a scope. The value outlives it.
template <typename Value>
class CleansedAtEnd {
public:
    explicit CleansedAtEnd(Value& secret) : value(secret) {}
    ~CleansedAtEnd() { Cleanse(value); }
    CleansedAtEnd(const CleansedAtEnd&) = delete;
    CleansedAtEnd& operator=(const CleansedAtEnd&) = delete;

private:
    Value& value;
};

}  // namespace Na
