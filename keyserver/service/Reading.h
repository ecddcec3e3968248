// SPDX-License-Identifier: Apache-2.0
// What the readers of scripts and catalogues share: values that know where they stand, so that a complaint
// says file, JSON pointer and what would be right.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "keyserver/service/Json.h"
#include "keyserver/service/Misbehaviour.h"

namespace KeyServer {

// Mistakes in a script or a catalogue, one a line: "FILE:LINE: /the/place: what is wrong and what would be
// right".
class ScriptError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Refers to the value, which must outlive it. All but the two questions throw ScriptError.
class Place {
public:
    Place(const JsonValue& whole, std::string fileName) : value(whole), origin(std::move(fileName)) {}

    [[noreturn]] void Complain(const std::string& reason) const;

    [[nodiscard]] bool Is(JsonValue::Kind kind) const { return value.kind == kind; }
    [[nodiscard]] bool Has(const std::string& member) const { return value.Find(member) != nullptr; }

    void MustBe(JsonValue::Kind kind) const;
    void OnlyMembers(const std::vector<std::string>& known) const;
    [[nodiscard]] Place At(const std::string& member) const;

    // The members of a list that must not be empty.
    [[nodiscard]] std::vector<Place> Items() const;

    // A list, or a single value in its place.
    [[nodiscard]] std::vector<Place> OneOrMore() const;

    [[nodiscard]] std::string Text() const;
    std::string NonEmptyText() const;
    [[nodiscard]] bool Flag() const;
    [[nodiscard]] std::uint64_t Number(std::uint64_t least, std::uint64_t most) const;

private:
    Place(const JsonValue& part, std::string fileName, std::string way)
        : value(part), origin(std::move(fileName)), pointer(std::move(way)) {}

    const JsonValue& value;
    std::string origin;
    std::string pointer;
};

// Reads one part after the other and goes on after a mistake, so that all of them are found at once.
class Gathering {
public:
    void Read(const std::function<void()>& part);

    // Throws ScriptError with all that the parts threw; nothing where they threw nothing.
    void End() const;

private:
    std::string mistakes;
};

// Reads each of the places, with all their mistakes.
template <typename Action>
void ReadEach(const std::vector<Place>& places, Action action) {
    Gathering gathering;
    for (const Place& place : places) {
        gathering.Read([&] { action(place); });
    }
    gathering.End();
}

// Both name the file in what they throw.
[[nodiscard]] std::string ReadWholeFile(const std::string& file);
JsonValue ParseFile(const std::string& text, const std::string& origin);

[[nodiscard]] std::string ReadCode(const Place& place);        // eight digits
[[nodiscard]] std::string ReadEndingCode(const Place& place);  // any but 00000000
[[nodiscard]] std::string ReadServiceId(const Place& place);
[[nodiscard]] Misbehaviour ReadMisbehaviour(const Place& place);

}  // namespace KeyServer
