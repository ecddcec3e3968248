// SPDX-License-Identifier: Apache-2.0
// Text with sections and keys that remembers where each stands.
#pragma once

#include <string>
#include <vector>

namespace Device {

// Something in the configuration that the device cannot follow. `place` is the section and the key.
struct Mistake {
    unsigned line;
    std::string place;
    std::string problem;    // what is wrong and what would be right
    std::string file = {};  // that the configuration names; empty: the configuration's own
};

struct Entry {
    std::string key;
    std::string value;
    unsigned line;
};

// A heading "[kind name]" and what follows it; the name is empty in "[kind]".
struct Section {
    std::string kind;
    std::string name;
    unsigned line;
    std::vector<Entry> entries;

    std::string Heading() const;
};

struct KeyFile {
    std::vector<Section> sections;
    std::vector<Mistake> mistakes;
};

// Blanks around headings, keys and values do not count; a line that begins with '#' is a comment. Values are
// taken as they stand, whatever bytes they hold. A line that is none of these, a second section of the same
// heading and a second key of the same name in a section are mistakes.
[[nodiscard]] KeyFile ParseKeyFile(const std::string& text);

[[nodiscard]] std::string Trim(const std::string& text);

// "path:line: [section] key: problem"; the path is that of the mistake, if it has one.
[[nodiscard]] std::string Describe(const std::string& path, const Mistake& mistake);

}  // namespace Device
