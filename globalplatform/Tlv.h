// SPDX-License-Identifier: Apache-2.0
// BER-TLV objects and length-value fields, read with every length checked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

struct TlvObject {
    std::uint32_t tag;
    Bytes value;
};

// The objects that follow each other in `data`, without their contents being looked into. Nothing when they
// do not fill it exactly. Tags of at most 3 bytes, lengths of at most 3 bytes behind their marker.
[[nodiscard]] std::optional<std::vector<TlvObject>> ParseTlv(const Bytes& data);

// One object in its shortest form.
[[nodiscard]] Bytes MakeTlv(std::uint32_t tag, const Bytes& value);

// A value behind its length, as objects have it: up to 7F in one byte.
[[nodiscard]] Bytes MakeLengthValue(const Bytes& value);

// Reads fields of one length byte and that many value bytes, one after the other.
class LengthValueReader {
public:
    explicit LengthValueReader(const Bytes& fields) : data(fields) {}

    // Nothing when the field reaches past the end.
    [[nodiscard]] std::optional<Bytes> Next();

    // A length of one to three bytes: 00 to 80, 81 80 to 81 FF, 82 0100 to 82 FFFF; GlobalPlatform
    // Card 2.3.1, 11.5.2.3 and 11.8.2.3. Nothing also when a shorter one would do.
    [[nodiscard]] std::optional<std::size_t> LongLength();

    // As Next, behind such a length.
    [[nodiscard]] std::optional<Bytes> NextLong();

    // Nothing when fewer are left.
    [[nodiscard]] std::optional<Bytes> Take(std::size_t length);

    [[nodiscard]] std::size_t Left() const { return data.size() - at; }
    [[nodiscard]] bool AtEnd() const { return Left() == 0; }

private:
    const Bytes& data;
    std::size_t at = 0;
};

}  // namespace GlobalPlatform
