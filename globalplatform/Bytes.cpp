// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Bytes.h"

#include <algorithm>

namespace GlobalPlatform {

namespace {

int DigitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return digit >= 'a' && digit <= 'f' ? digit - 'a' + 10 : -1;
}

}  // namespace

std::string HexText(const Bytes& bytes) {
    constexpr char Digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::uint8_t byte : bytes) {
        text += Digits[byte >> 4];
        text += Digits[byte & 0x0F];
    }
    return text;
}

std::optional<Bytes> FromHexText(const std::string& text) {
    Bytes bytes;
    bytes.reserve(text.size() / 2);
    int high = -1;
    for (const char character : text) {
        if (character == ' ') {
            continue;
        }
        const int value = DigitValue(character);
        if (value < 0) {
            return std::nullopt;
        }
        if (high < 0) {
            high = value;
        } else {
            bytes.push_back(static_cast<std::uint8_t>(high * 16 + value));
            high = -1;
        }
    }
    return high < 0 ? std::optional<Bytes>(std::move(bytes)) : std::nullopt;
}

void Append(Bytes& target, const Bytes& tail) {
    target.insert(target.end(), tail.begin(), tail.end());
}

Bytes BigEndian(std::uint64_t number, std::size_t width) {
    Bytes bytes(width);
    for (std::size_t at = width; at > 0; --at) {
        bytes[at - 1] = static_cast<std::uint8_t>(number);
        number >>= 8;
    }
    return bytes;
}

std::uint64_t FromBigEndian(const Bytes& bytes) {
    std::uint64_t number = 0;
    for (const std::uint8_t byte : bytes) {
        number = number << 8 | byte;
    }
    return number;
}

Bytes First(const Bytes& bytes, std::size_t count) {
    return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(count, bytes.size())));
}

Bytes Last(const Bytes& bytes, std::size_t count) {
    return Bytes(bytes.end() - static_cast<std::ptrdiff_t>(std::min(count, bytes.size())), bytes.end());
}

bool BeginsWith(const Bytes& bytes, const Bytes& beginning) {
    return bytes.size() >= beginning.size() && std::equal(beginning.begin(), beginning.end(), bytes.begin());
}

}  // namespace GlobalPlatform
