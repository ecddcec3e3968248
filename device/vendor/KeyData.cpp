// SPDX-License-Identifier: Apache-2.0
#include "device/vendor/KeyData.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <stdexcept>

#include "device/vendor/KeyResult.h"

namespace Vendor {

namespace {

constexpr std::size_t RandomKeySize = 32;

[[noreturn]] void RefuseEncoding(int encoding) {
    throw Refusal(BadData, "there is no encoding " + std::to_string(encoding) + "; there are 1, 2 and 4");
}

// The library's decoder takes blanks around the text and padding anywhere.
Bytes FromBase64(const Bytes& text) {
    const auto isDigit = [](std::uint8_t c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
               c == '/';
    };
    const auto digitsEnd = std::find_if_not(text.begin(), text.end(), isDigit);
    const auto padding = text.end() - digitsEnd;
    if (text.size() % 4 != 0 || padding > 2 ||
        std::any_of(digitsEnd, text.end(), [](std::uint8_t c) { return c != '='; })) {
        throw Refusal(BadData, "the data is not base64");
    }
    Bytes value(text.size() / 4 * 3 + 1);
    const int size = EVP_DecodeBlock(value.data(), text.data(), static_cast<int>(text.size()));
    if (size < padding) {
        throw Refusal(BadData, "the data is not base64");
    }
    value.resize(static_cast<std::size_t>(size - padding));
    return value;
}

Bytes ToBase64(const Bytes& value) {
    Bytes text((value.size() + 2) / 3 * 4 + 1);
    const int size = EVP_EncodeBlock(text.data(), value.data(), static_cast<int>(value.size()));
    text.resize(static_cast<std::size_t>(size));
    return text;
}

}  // namespace

Bytes Decode(const Bytes& data, int encoding) {
    switch (encoding) {
        case HexadecimalEncoding:
        case PlainEncoding:
            return data;
        case Base64Encoding:
            return data.empty() ? data : FromBase64(data);
        default:
            RefuseEncoding(encoding);
    }
}

Bytes Encode(const Bytes& value, int encoding) {
    switch (encoding) {
        case HexadecimalEncoding:
        case PlainEncoding:
            return value;
        case Base64Encoding:
            return ToBase64(value);
        default:
            RefuseEncoding(encoding);
    }
}

Bytes RandomKey() {
    Bytes key(RandomKeySize);
    if (RAND_bytes(key.data(), static_cast<int>(key.size())) != 1) {
        throw std::runtime_error("there are no random bytes");
    }
    return key;
}

}  // namespace Vendor
