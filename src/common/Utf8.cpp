// SPDX-License-Identifier: Apache-2.0
#include "common/Utf8.h"

#include <glib.h>

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
