// SPDX-License-Identifier: Apache-2.0
// Flat JSON objects whose members are all texts.
#pragma once

#include <map>
#include <string>

namespace Na {

class Json {
public:
    Json() = default;

    // Reads `text`. When that fails, the log says so and the object stays empty.
    explicit Json(const std::string& text);

    void Set(const std::string& key, const std::string& value);

    // Empty when the key is absent.
    const std::string& Get(const std::string& key) const;

    // Compact JSON text (RFC 8259), members in byte order of their keys. Bytes that are no UTF-8 are replaced
    // by U+FFFD.
    std::string Construct() const;

    // Adds the members of the JSON object in `text`; one that holds no text is stored empty. False when
    // `text` is no JSON object, is blank, or was refused. All that is stored is UTF-8.
    bool Parse(const std::string& text);

    // Whether the text that was read last was kept from the JSON library, which would crash on it or misread
    // it: what it says is unknown then.
    bool WasRefused() const { return refused; }

private:
    bool refused = false;
    std::map<std::string, std::string> members;
};

}  // namespace Na
