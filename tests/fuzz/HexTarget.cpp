// SPDX-License-Identifier: Apache-2.0
// Conversions between bytes, hexadecimal text and numbers.
#include <cctype>

#include "common/Utils.h"
#include "tests/fuzz/FuzzTarget.h"

namespace {

bool IsHex(const std::string& text) {
    for (const char character : text) {
        if (std::isxdigit(static_cast<unsigned char>(character)) == 0) {
            return false;
        }
    }
    return true;
}

std::string UpperCase(std::string text) {
    for (char& character : text) {
        character = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const Na::Bytes bytes = Na::HexToBytes(text);
    Require(bytes.size() == (size + 1) / 2, "two characters make one byte");
    if (size % 2 == 0 && IsHex(text)) {
        Require(Na::BytesToHex(bytes) == UpperCase(text), "hexadecimal text comes back in upper case");
    }
    const std::string hex = Na::BytesToHex(data, size);
    Require(Na::HexToBytes(hex) == Na::Bytes(data, data + size), "bytes come back as they were");
    Na::StringToLong(text, 10);
    Na::StringToLong(text, 16);
    const std::string decoded = Na::Base64Decode(text);
    Require(Na::Base64Decode(Na::Base64Encode(decoded)) == decoded, "Base64 comes back up to a zero byte");
    return 0;
}
