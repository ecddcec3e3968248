// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Token.h"

#include "globalplatform/Tlv.h"

namespace GlobalPlatform {

namespace {

constexpr std::size_t CounterLength = 2;

// A field behind a length as objects have it; the receipt of a long RSA key needs two bytes and more for it.
std::optional<Bytes> NextField(LengthValueReader& reader) {
    const std::optional<Bytes> first = reader.Take(1);
    if (!first || first->front() < 0x80) {
        return first ? reader.Take(first->front()) : std::nullopt;
    }
    const std::size_t width = first->front() & 0x7F;
    const std::optional<Bytes> length = width == 1 || width == 2 ? reader.Take(width) : std::nullopt;
    return length ? reader.Take(FromBigEndian(*length)) : std::nullopt;
}

}  // namespace

Bytes TokenText(std::uint8_t p1, std::uint8_t p2, const Bytes& fields) {
    Bytes text = {p1, p2};
    Append(text, BigEndian(fields.size(), fields.size() > 0xFF ? 3 : 1));
    Append(text, fields);
    return text;
}

std::optional<Confirmation> ParseConfirmation(const Bytes& answer) {
    LengthValueReader whole(answer);
    const std::optional<Bytes> inner = NextField(whole);
    if (!inner || !whole.AtEnd()) {
        return std::nullopt;
    }
    LengthValueReader reader(*inner);
    const std::optional<Bytes> receipt = NextField(reader);
    if (!receipt || receipt->empty()) {
        return std::nullopt;
    }
    Confirmation confirmation{*receipt, Last(*inner, reader.Left())};
    const std::optional<Bytes> counter = reader.Next();
    if (!counter || counter->size() != CounterLength || !reader.Next()) {
        return std::nullopt;
    }
    confirmation.counter = static_cast<std::uint16_t>(FromBigEndian(*counter));
    return confirmation;
}

Bytes ReceiptText(const Bytes& confirmationData, const std::vector<Bytes>& fields) {
    Bytes text = confirmationData;
    for (const Bytes& field : fields) {
        Append(text, MakeLengthValue(field));
    }
    return text;
}

}  // namespace GlobalPlatform
