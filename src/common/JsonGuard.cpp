// SPDX-License-Identifier: Apache-2.0
#include "common/JsonGuard.h"

#include <cctype>
#include <cstddef>
#include <cstdlib>

namespace {

// So many objects within each other take 87 KB of the parser's stack (64 bits, json-glib 1.6); it has 8 MB.
constexpr unsigned MaximumDepth = 512;

// An answer has about ten. Each takes 80 bytes and more of the parser's, so that 16 MiB of small ones would
// take more memory than the service may have, and GLib ends a process that gets none.
constexpr unsigned MostValues = 65536;

constexpr char Blanks[] = " \t\r\n";

// Walks over a text once, by the lexical rules of json-glib: beside JSON it takes comments and texts in
// single quotes, and knows no escapes in the latter.
class Walk {
public:
    explicit Walk(const std::string& input) : text(input) {}

    const char* ReasonToRefuse() {
        if (Na::IsBlank(text)) {
            return "the text is empty";
        }
        // The library itself refuses a page of markup, at its first character.
        if (text[text.find_first_not_of(Blanks)] == '<') {
            return nullptr;
        }
        while (reason == nullptr && position < text.size()) {
            Step();
        }
        return reason;
    }

private:
    void Step() {
        switch (text[position++]) {
            case '[':
            case '{':
                Descend();
                CountValue();
                break;
            case ',':
                CountValue();
                break;
            case ']':
            case '}':
                depth -= depth > 0 ? 1 : 0;
                break;
            case '"':
                SkipDoubleQuoted();
                break;
            case '\'':
                SkipSingleQuoted();
                break;
            case '/':
                SkipComment();
                break;
            default:
                break;
        }
    }

    void Descend() {
        if (++depth > MaximumDepth) {
            reason = "nested deeper than 512 levels";
        }
    }

    // Every value but an only one is behind a bracket or a comma.
    void CountValue() {
        if (++values > MostValues) {
            reason = "more than 65536 values";
        }
    }

    void SkipDoubleQuoted() {
        while (reason == nullptr && position < text.size()) {
            const char character = text[position++];
            if (character == '"') {
                return;
            }
            if (character == '\\') {
                SkipEscape();
            }
        }
    }

    void SkipEscape() {
        if (position >= text.size() || text[position++] != 'u') {
            return;
        }
        const long unit = CodeUnit();
        if (unit >= 0xDC00 && unit <= 0xDFFF) {
            reason = "low surrogate without a high one";
        } else if (unit >= 0xD800 && unit <= 0xDBFF) {
            SkipLowSurrogate();
        }
    }

    void SkipLowSurrogate() {
        const bool escaped = text.compare(position, 2, "\\u") == 0;
        position += 2;
        const long unit = escaped ? CodeUnit() : 0;
        if (unit < 0xDC00 || unit > 0xDFFF) {
            reason = "high surrogate without a low one";
        }
    }

    // Value of the four hexadecimal digits of a \u escape.
    long CodeUnit() {
        const std::string digits = text.substr(position, 4);
        position += digits.size();
        if (digits.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos || digits.size() < 4) {
            reason = "malformed \\u escape";
            return 0;
        }
        return std::strtol(digits.c_str(), nullptr, 16);
    }

    void SkipSingleQuoted() {
        const std::size_t end = text.find('\'', position);
        position = end == std::string::npos ? text.size() : end + 1;
    }

    // Only one that ends with the first slash inside of it: releases of json-glib differ on the others.
    void SkipComment() {
        const std::size_t end = text.find('/', position);
        const bool plain = text.compare(position, 1, "*") == 0 && end != position + 1 &&
                           (end == std::string::npos || text[end - 1] == '*');
        if (!plain) {
            reason = "a slash outside of a text";
            return;
        }
        position = end == std::string::npos ? text.size() : end + 1;
    }

    const std::string& text;
    std::size_t position = 0;
    unsigned depth = 0;
    unsigned values = 0;
    const char* reason = nullptr;
};

}  // namespace

const char* Na::ReasonToRefuseJson(const std::string& text) {
    return Walk(text).ReasonToRefuse();
}

bool Na::IsBlank(const std::string& text) {
    return text.find_first_not_of(Blanks) == std::string::npos;
}
