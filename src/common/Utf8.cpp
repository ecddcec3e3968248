// SPDX-License-Identifier: Apache-2.0
#include "common/Utf8.h"

#include <glib.h>

#include <cstdint>
#include <cstring>

namespace {

// Whether none of eight bytes is zero or beyond ASCII.
bool ArePlain(const char* bytes) {
    constexpr std::uint64_t Ones = 0x0101010101010101;
    constexpr std::uint64_t HighBits = 0x8080808080808080;
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return (((word - Ones) | word) & HighBits) == 0;
}

}  // namespace

// Nearly every text is hexadecimal digits, at which GLib would look one by one.
bool Na::IsUtf8(const std::string& text) {
    const char* rest = text.data();
    const char* const textEnd = rest + text.size();
    while (textEnd - rest >= 8 && ArePlain(rest)) {
        rest += 8;
    }
    return g_utf8_validate(rest, textEnd - rest, nullptr) != FALSE;
}

std::string Na::ToValidUtf8(const std::string& text) {
    std::string valid;
    const char* rest = text.data();
    const char* const textEnd = rest + text.size();
    const char* validEnd = nullptr;
    while (!g_utf8_validate(rest, textEnd - rest, &validEnd)) {
        valid.append(rest, validEnd).append("\xEF\xBF\xBD");
        rest = validEnd + 1;
    }
    return valid.append(rest, textEnd);
}

std::size_t Na::WholeCharacters(const std::string& text, std::size_t most) {
    if (text.size() <= most) {
        return text.size();
    }
    const gchar* const border = g_utf8_find_prev_char(text.c_str(), text.c_str() + most + 1);
    return static_cast<std::size_t>(border - text.c_str());
}
