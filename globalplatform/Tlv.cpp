// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Tlv.h"

namespace GlobalPlatform {

namespace {

constexpr std::size_t MostTagBytes = 3;
constexpr std::size_t MostLengthBytes = 3;

class TlvReader {
public:
    explicit TlvReader(const Bytes& data) : fields(data) {}

    bool AtEnd() const { return fields.AtEnd(); }
    std::optional<TlvObject> Next();

private:
    std::optional<std::uint32_t> Number(std::size_t width);
    std::optional<std::uint32_t> Tag();
    std::optional<std::uint32_t> Length();

    LengthValueReader fields;
};

std::optional<std::uint32_t> TlvReader::Number(std::size_t width) {
    const std::optional<Bytes> bytes = fields.Take(width);
    if (!bytes) {
        return std::nullopt;
    }
    std::uint32_t number = 0;
    for (const std::uint8_t byte : *bytes) {
        number = number << 8 | byte;
    }
    return number;
}

std::optional<std::uint32_t> TlvReader::Tag() {
    std::optional<std::uint32_t> tag = Number(1);
    if (!tag || (*tag & 0x1F) != 0x1F) {
        return tag;
    }
    for (std::size_t width = 1; width < MostTagBytes; ++width) {
        const std::optional<std::uint32_t> more = Number(1);
        if (!more) {
            return std::nullopt;
        }
        tag = *tag << 8 | *more;
        if ((*more & 0x80) == 0) {
            return tag;
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> TlvReader::Length() {
    const std::optional<std::uint32_t> first = Number(1);
    if (!first || *first < 0x80) {
        return first;
    }
    const std::size_t width = *first & 0x7F;
    return width == 0 || width > MostLengthBytes ? std::nullopt : Number(width);
}

std::optional<TlvObject> TlvReader::Next() {
    const std::optional<std::uint32_t> tag = Tag();
    const std::optional<std::uint32_t> length = tag ? Length() : std::nullopt;
    std::optional<Bytes> value = length ? fields.Take(*length) : std::nullopt;
    return value ? std::optional<TlvObject>(TlvObject{*tag, std::move(*value)}) : std::nullopt;
}

std::size_t WidthOf(std::uint64_t number) {
    std::size_t width = 1;
    while (number > 0xFF) {
        number >>= 8;
        ++width;
    }
    return width;
}

void AppendNumber(Bytes& target, std::uint64_t number, std::size_t width) {
    while (width > 0) {
        --width;
        target.push_back(static_cast<std::uint8_t>(number >> (8 * width)));
    }
}

void AppendLengthValue(Bytes& target, const Bytes& value) {
    const std::size_t width = WidthOf(value.size());
    if (value.size() >= 0x80) {
        target.push_back(static_cast<std::uint8_t>(0x80 | width));
    }
    AppendNumber(target, value.size(), width);
    Append(target, value);
}

}  // namespace

std::optional<std::vector<TlvObject>> ParseTlv(const Bytes& data) {
    std::vector<TlvObject> objects;
    TlvReader reader(data);
    while (!reader.AtEnd()) {
        std::optional<TlvObject> object = reader.Next();
        if (!object) {
            return std::nullopt;
        }
        objects.push_back(std::move(*object));
    }
    return objects;
}

Bytes MakeTlv(std::uint32_t tag, const Bytes& value) {
    Bytes object;
    object.reserve(MostTagBytes + 1 + MostLengthBytes + value.size());
    AppendNumber(object, tag, WidthOf(tag));
    AppendLengthValue(object, value);
    return object;
}

Bytes MakeLengthValue(const Bytes& value) {
    Bytes field;
    field.reserve(1 + MostLengthBytes + value.size());
    AppendLengthValue(field, value);
    return field;
}

std::optional<Bytes> LengthValueReader::Take(std::size_t length) {
    if (data.size() - at < length) {
        return std::nullopt;
    }
    const auto first = data.begin() + static_cast<std::ptrdiff_t>(at);
    at += length;
    return Bytes(first, first + static_cast<std::ptrdiff_t>(length));
}

std::optional<Bytes> LengthValueReader::Next() {
    const std::optional<Bytes> length = Take(1);
    return length ? Take(length->front()) : std::nullopt;
}

std::optional<std::size_t> LengthValueReader::LongLength() {
    constexpr std::uint8_t OneMore = 0x81;
    constexpr std::uint8_t TwoMore = 0x82;
    const std::optional<Bytes> first = Take(1);
    if (!first || first->front() > TwoMore) {
        return std::nullopt;
    }
    if (first->front() < OneMore) {
        return first->front();
    }
    const bool two = first->front() == TwoMore;
    const std::optional<Bytes> bytes = Take(two ? 2 : 1);
    if (!bytes || bytes->front() < (two ? 0x01 : 0x80)) {
        return std::nullopt;
    }
    return two ? std::size_t{bytes->front()} << 8 | bytes->back() : bytes->front();
}

std::optional<Bytes> LengthValueReader::NextLong() {
    const std::optional<std::size_t> length = LongLength();
    return length ? Take(*length) : std::nullopt;
}

}  // namespace GlobalPlatform
