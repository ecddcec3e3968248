// SPDX-License-Identifier: Apache-2.0
// JSON as a plain tree, so that the rest of the server needs no JSON library.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace KeyServer {

struct JsonValue {
    enum class Kind { Null, Boolean, Number, Text, List, Object };
    using Member = std::pair<std::string, JsonValue>;

    Kind kind = Kind::Null;
    unsigned line = 0;  // where it begins in the text that it was read from; 0 for one that was made
    bool boolean = false;
    double number = 0;
    std::string text;
    std::vector<JsonValue> items;
    std::vector<Member> members;  // in the order of the text

    static JsonValue Boolean(bool value);
    static JsonValue Text(std::string value);
    static JsonValue Number(double value);
    static JsonValue List(const std::vector<std::string>& texts = {});
    static JsonValue Object();

    [[nodiscard]] const JsonValue* Find(const std::string& name) const;
    JsonValue& Add(const std::string& name, JsonValue value);
};

// What stands in a text where JSON was expected; names line and column where the text is malformed.
class JsonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Accepts any JSON value in valid UTF-8. Throws JsonError for malformed text, for a member that an object
// names twice, and for values nested deeper than 32.
JsonValue ParseJson(const std::string& text);

// Compact text on one line; bytes that are no UTF-8 become the replacement character.
[[nodiscard]] std::string ToJson(const JsonValue& value);

// "a text", "a number", ...: for messages to people.
[[nodiscard]] const char* KindName(JsonValue::Kind kind);

}  // namespace KeyServer
