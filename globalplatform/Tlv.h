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

// Reads fields of one length byte and that many value bytes, one after the other.
class LengthValueReader {
public:
    explicit LengthValueReader(const Bytes& fields) : data(fields) {}

    // Nothing when the field reaches past the end.
    [[nodiscard]] std::optional<Bytes> Next();

    // Nothing when fewer are left.
    [[nodiscard]] std::optional<Bytes> Take(std::size_t length);

    [[nodiscard]] bool AtEnd() const { return at == data.size(); }

private:
    const Bytes& data;
    std::size_t at = 0;
};

}  // namespace GlobalPlatform
