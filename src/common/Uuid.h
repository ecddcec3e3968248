// SPDX-License-Identifier: Apache-2.0
// Identifiers of sessions and messages towards the server.
#pragma once

#include <memory>
#include <string>

namespace Na {

// A 128-bit identifier (RFC 4122), or none. Making random ones belongs to the main-loop thread: they take
// the standard library's one generator of random numbers and seed it anew.
class Uuid {
public:
    Uuid();  // empty: no identifier at all
    static Uuid Nil();
    static Uuid Random();

    Uuid(const Uuid& other);
    Uuid& operator=(Uuid other);
    ~Uuid();

    // 36 characters in upper case; the empty text for an empty one.
    std::string ToString() const;

private:
    struct Record;
    std::unique_ptr<Record> record;  // null when empty
};

}  // namespace Na
