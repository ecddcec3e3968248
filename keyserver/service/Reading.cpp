// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Reading.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "keyserver/service/Message.h"

namespace KeyServer {

namespace {

std::string Escaped(std::string member) {
    for (std::size_t at = 0; (at = member.find_first_of("~/", at)) != std::string::npos; at += 2) {
        member.replace(at, 1, member[at] == '~' ? "~0" : "~1");
    }
    return member;
}

}  // namespace

void Place::Complain(const std::string& reason) const {
    throw ScriptError(
        origin + ":" + std::to_string(value.line) + ": " + (pointer.empty() ? "the whole text" : pointer) +
        ": " + reason);
}

void Place::MustBe(JsonValue::Kind kind) const {
    if (!Is(kind)) {
        Complain(std::string("must be ") + KindName(kind) + ", not " + KindName(value.kind));
    }
}

void Place::OnlyMembers(const std::vector<std::string>& known) const {
    MustBe(JsonValue::Kind::Object);
    Gathering gathering;
    for (const auto& [name, member] : value.members) {
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            std::string names;
            for (const std::string& each : known) {
                names += (names.empty() ? "" : ", ") + each;
            }
            gathering.Read([&, &unknown = name] {
                At(unknown).Complain("there is no such member; it can be one of " + names);
            });
        }
    }
    gathering.End();
}

Place Place::At(const std::string& member) const {
    MustBe(JsonValue::Kind::Object);
    const JsonValue* found = value.Find(member);
    if (found == nullptr) {
        Complain("the member \"" + member + "\" is missing");
    }
    return {*found, origin, pointer + "/" + Escaped(member)};
}

std::vector<Place> Place::Items() const {
    MustBe(JsonValue::Kind::List);
    if (value.items.empty()) {
        Complain("must hold at least one member");
    }
    std::vector<Place> places;
    places.reserve(value.items.size());
    for (std::size_t i = 0; i < value.items.size(); ++i) {
        places.push_back({value.items[i], origin, pointer + "/" + std::to_string(i)});
    }
    return places;
}

std::vector<Place> Place::OneOrMore() const {
    return Is(JsonValue::Kind::List) ? Items() : std::vector<Place>{*this};
}

std::string Place::Text() const {
    MustBe(JsonValue::Kind::Text);
    return value.text;
}

std::string Place::NonEmptyText() const {
    const std::string text = Text();
    if (text.empty()) {
        Complain("must not be empty");
    }
    return text;
}

bool Place::Flag() const {
    MustBe(JsonValue::Kind::Boolean);
    return value.boolean;
}

std::uint64_t Place::Number(std::uint64_t least, std::uint64_t most) const {
    MustBe(JsonValue::Kind::Number);
    const double number = value.number;
    if (std::floor(number) != number || number < static_cast<double>(least) ||
        number > static_cast<double>(most)) {
        Complain("must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return static_cast<std::uint64_t>(number);
}

// Nobody reads more, and a file may be wrong in all its lines.
constexpr std::size_t MostText = 64 << 10;

void Gathering::Read(const std::function<void()>& part) {
    try {
        part();
    } catch (const ScriptError& error) {
        if (mistakes.size() < MostText) {
            mistakes += (mistakes.empty() ? "" : "\n") + std::string(error.what());
        }
    }
}

void Gathering::End() const {
    if (!mistakes.empty()) {
        throw ScriptError(mistakes);
    }
}

JsonValue ParseFile(const std::string& text, const std::string& origin) {
    try {
        return ParseJson(text);
    } catch (const JsonError& error) {
        throw ScriptError(origin + ": " + error.what());
    }
}

std::string ReadWholeFile(const std::string& file) {
    const std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    if (!stream.is_open() || std::filesystem::is_directory(file)) {
        throw ScriptError(file + ": cannot be read");
    }
    return text.str();
}

std::string ReadCode(const Place& place) {
    const std::string code = place.NonEmptyText();
    const bool digits =
        std::all_of(code.begin(), code.end(), [](char each) { return each >= '0' && each <= '9'; });
    if (code.size() != 8 || !digits) {
        place.Complain("\"" + code + "\" is no result code; it has eight digits, for example 00000001");
    }
    return code;
}

std::string ReadEndingCode(const Place& place) {
    std::string code = ReadCode(place);
    if (code == ResultCode::CommandsExist) {
        place.Complain("00000000 announces commands and cannot end a session");
    }
    return code;
}

std::string ReadServiceId(const Place& place) {
    const std::string id = place.NonEmptyText();
    if (id.find(' ') != std::string::npos) {
        place.Complain("\"" + id + "\" holds a blank, which never arrives: the agent sends none");
    }
    return id;
}

Misbehaviour ReadMisbehaviour(const Place& place) {
    place.OnlyMembers({"kind", "value", "from", "times"});
    const std::string value = place.Has("value") ? place.At("value").Text() : std::string();
    try {
        Misbehaviour misbehaviour = MakeMisbehaviour(place.At("kind").Text(), value);
        constexpr std::uint64_t Most = 999999999;
        if (place.Has("from")) {
            misbehaviour.from = place.At("from").Number(1, Most);
        }
        if (place.Has("times")) {
            misbehaviour.times = place.At("times").Number(1, Most);
        }
        return misbehaviour;
    } catch (const std::invalid_argument& error) {
        place.Complain(error.what());
    }
}

}  // namespace KeyServer
