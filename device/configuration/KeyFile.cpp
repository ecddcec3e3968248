// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/KeyFile.h"

#include <algorithm>

namespace Device {

namespace {

constexpr char Blanks[] = " \t\r";

class Parser {
public:
    void Line(const std::string& text, unsigned number);

    KeyFile file;

private:
    void Heading(const std::string& text, unsigned number);
    void KeyAndValue(const std::string& text, unsigned number);

    // False below a heading that cannot be followed: its keys are skipped, the heading's mistake says enough.
    bool inSection = false;
    bool skipping = false;
};

void Parser::Line(const std::string& text, unsigned number) {
    const std::string line = Trim(text);
    if (line.empty() || line.front() == '#') {
        return;
    }
    if (line.find('\0') != std::string::npos) {
        file.mistakes.push_back({number, "", "a zero byte stands in this line; write plain text"});
    } else if (line.front() == '[') {
        Heading(line, number);
    } else if (!skipping) {
        KeyAndValue(line, number);
    }
}

void Parser::Heading(const std::string& text, unsigned number) {
    inSection = false;
    skipping = true;
    if (text.back() != ']' || Trim(text.substr(1, text.size() - 2)).empty()) {
        file.mistakes.push_back({number, text, "a heading is written [section] or [section name]"});
        return;
    }
    const std::string inner = Trim(text.substr(1, text.size() - 2));
    const std::size_t blank = inner.find_first_of(Blanks);
    Section section;
    section.kind = inner.substr(0, blank);
    section.name = blank == std::string::npos ? "" : Trim(inner.substr(blank));
    section.line = number;
    for (const Section& other : file.sections) {
        if (other.Heading() == section.Heading()) {
            file.mistakes.push_back(
                {number, section.Heading(),
                 "this section stands already at line " + std::to_string(other.line) +
                     "; write its keys there"});
            return;
        }
    }
    file.sections.push_back(std::move(section));
    inSection = true;
    skipping = false;
}

void Parser::KeyAndValue(const std::string& text, unsigned number) {
    const std::size_t sign = text.find('=');
    const std::string key = Trim(text.substr(0, sign));
    if (sign == std::string::npos || key.empty()) {
        file.mistakes.push_back({number, key, "neither key=value nor [section] nor a comment with #"});
        return;
    }
    if (!inSection) {
        file.mistakes.push_back({number, key, "a key before the first section; write a heading above it"});
        return;
    }
    Section& section = file.sections.back();
    for (const Entry& other : section.entries) {
        if (other.key == key) {
            file.mistakes.push_back(
                {number, section.Heading() + " " + key,
                 "this key stands already at line " + std::to_string(other.line) + "; keep one of them"});
            return;
        }
    }
    section.entries.push_back({key, Trim(text.substr(sign + 1)), number});
}

}  // namespace

std::string Section::Heading() const {
    return name.empty() ? "[" + kind + "]" : "[" + kind + " " + name + "]";
}

std::string Trim(const std::string& text) {
    const std::size_t first = text.find_first_not_of(Blanks);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(Blanks) - first + 1);
}

std::string Describe(const std::string& path, const Mistake& mistake) {
    std::string text = (mistake.file.empty() ? path : mistake.file) + ":";
    if (mistake.line > 0) {
        text += std::to_string(mistake.line) + ":";
    }
    return text + " " + (mistake.place.empty() ? "" : mistake.place + ": ") + mistake.problem;
}

KeyFile ParseKeyFile(const std::string& text) {
    Parser parser;
    unsigned number = 0;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        parser.Line(text.substr(start, end - start), ++number);
        start = end + 1;
    }
    return std::move(parser.file);
}

}  // namespace Device
