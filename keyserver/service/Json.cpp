// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Json.h"

#include <cmath>
#include <cstddef>
#include <iterator>
#include <nlohmann/json.hpp>

namespace KeyServer {

namespace {

constexpr std::size_t MaximumDepth = 32;

// Where the library reads. An event comes when the last character of its token was read, or the one behind a
// number, so the line of the last character is the token's.
struct Position {
    unsigned line = 1;
    bool ended = false;  // the line, by the last character

    void Pass(char character) {
        line += ended ? 1 : 0;
        ended = character == '\n';
    }
};

// Goes through a text once and keeps count.
class CountingIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* where, Position* counted) : at(where), position(counted) {}

    reference operator*() const { return *at; }
    CountingIterator& operator++() {
        position->Pass(*at);
        ++at;
        return *this;
    }
    CountingIterator operator++(int) {
        const CountingIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const CountingIterator& other) const { return at == other.at; }
    bool operator!=(const CountingIterator& other) const { return at != other.at; }

private:
    const char* at;
    Position* position;
};

// Receives the library's parse events and grows the tree. The innermost open value is the last of `open`;
// pointers stay valid because a value gets no further sibling while it is open.
class TreeBuilder final : public nlohmann::json_sax<nlohmann::json> {
public:
    explicit TreeBuilder(const Position& reading) : position(reading) {}

    JsonValue root;

    bool null() override {
        Place({});
        return true;
    }
    bool boolean(bool value) override {
        Place(JsonValue::Boolean(value));
        return true;
    }
    bool number_integer(number_integer_t value) override {
        Place(JsonValue::Number(static_cast<double>(value)));
        return true;
    }
    bool number_unsigned(number_unsigned_t value) override {
        Place(JsonValue::Number(static_cast<double>(value)));
        return true;
    }
    bool number_float(number_float_t value, const string_t&) override {
        Place(JsonValue::Number(value));
        return true;
    }
    bool string(string_t& value) override {
        Place(JsonValue::Text(value));
        return true;
    }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override {
        Open(JsonValue::Kind::Object);
        return true;
    }
    bool end_object() override {
        open.pop_back();
        return true;
    }
    bool start_array(std::size_t) override {
        Open(JsonValue::Kind::List);
        return true;
    }
    bool end_array() override {
        open.pop_back();
        return true;
    }
    bool key(string_t& name) override {
        if (open.back()->Find(name) != nullptr) {
            throw JsonError("the member \"" + name + "\" stands twice in one object");
        }
        pendingKey = name;
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) override {
        const std::string what = error.what();
        const auto end = what.find("] ");
        throw JsonError(end == std::string::npos ? what : what.substr(end + 2));
    }

private:
    JsonValue* Place(JsonValue value) {
        value.line = position.line;
        if (open.empty()) {
            root = std::move(value);
            return &root;
        }
        JsonValue& parent = *open.back();
        if (parent.kind == JsonValue::Kind::Object) {
            return &parent.Add(pendingKey, std::move(value));
        }
        parent.items.push_back(std::move(value));
        return &parent.items.back();
    }

    void Open(JsonValue::Kind kind) {
        if (open.size() >= MaximumDepth) {
            throw JsonError("values are nested deeper than " + std::to_string(MaximumDepth));
        }
        JsonValue value;
        value.kind = kind;
        open.push_back(Place(std::move(value)));
    }

    const Position& position;
    std::vector<JsonValue*> open;
    std::string pendingKey;
};

std::string Quote(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string NumberText(double number) {
    if (std::floor(number) == number && std::fabs(number) < 1e15) {
        return std::to_string(static_cast<long long>(number));
    }
    return nlohmann::json(number).dump();
}

std::string ListText(const JsonValue& value) {
    std::string text = "[";
    for (const JsonValue& item : value.items) {
        text += (text.size() > 1 ? "," : "") + ToJson(item);
    }
    return text + "]";
}

std::string ObjectText(const JsonValue& value) {
    std::string text = "{";
    for (const auto& [name, member] : value.members) {
        text += (text.size() > 1 ? "," : "") + Quote(name) + ":" + ToJson(member);
    }
    return text + "}";
}

}  // namespace

JsonValue JsonValue::Boolean(bool value) {
    JsonValue made;
    made.kind = Kind::Boolean;
    made.boolean = value;
    return made;
}

JsonValue JsonValue::Text(std::string value) {
    JsonValue made;
    made.kind = Kind::Text;
    made.text = std::move(value);
    return made;
}

JsonValue JsonValue::Number(double value) {
    JsonValue made;
    made.kind = Kind::Number;
    made.number = value;
    return made;
}

JsonValue JsonValue::List(const std::vector<std::string>& texts) {
    JsonValue made;
    made.kind = Kind::List;
    for (const std::string& text : texts) {
        made.items.push_back(Text(text));
    }
    return made;
}

JsonValue JsonValue::Object() {
    JsonValue made;
    made.kind = Kind::Object;
    return made;
}

const JsonValue* JsonValue::Find(const std::string& name) const {
    for (const Member& member : members) {
        if (member.first == name) {
            return &member.second;
        }
    }
    return nullptr;
}

JsonValue& JsonValue::Add(const std::string& name, JsonValue value) {
    members.emplace_back(name, std::move(value));
    return members.back().second;
}

JsonValue ParseJson(const std::string& text) {
    Position position;
    TreeBuilder builder(position);
    const CountingIterator begin(text.data(), &position);
    const CountingIterator end(text.data() + text.size(), &position);
    if (!nlohmann::json::sax_parse(begin, end, &builder)) {
        throw JsonError("not a JSON text");
    }
    return std::move(builder.root);
}

std::string ToJson(const JsonValue& value) {
    switch (value.kind) {
        case JsonValue::Kind::Null:
            return "null";
        case JsonValue::Kind::Boolean:
            return value.boolean ? "true" : "false";
        case JsonValue::Kind::Number:
            return NumberText(value.number);
        case JsonValue::Kind::Text:
            return Quote(value.text);
        case JsonValue::Kind::List:
            return ListText(value);
        case JsonValue::Kind::Object:
            return ObjectText(value);
    }
    return "null";
}

const char* KindName(JsonValue::Kind kind) {
    switch (kind) {
        case JsonValue::Kind::Null:
            return "null";
        case JsonValue::Kind::Boolean:
            return "true or false";
        case JsonValue::Kind::Number:
            return "a number";
        case JsonValue::Kind::Text:
            return "a text";
        case JsonValue::Kind::List:
            return "a list";
        case JsonValue::Kind::Object:
            return "an object";
    }
    return "a value";
}

}  // namespace KeyServer
