// SPDX-License-Identifier: Apache-2.0
// Reads JSON that has to be as it was written: what is missing, wrong or too much fails with its place.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "globalplatform/Bytes.h"

namespace Card {

using GlobalPlatform::Bytes;
using GlobalPlatform::FromHexText;
using Json = nlohmann::ordered_json;

[[noreturn]] inline void Fail(const std::string& what) {
    throw std::runtime_error(what);
}

inline void Require(bool right, const std::string& what) {
    if (!right) {
        Fail(what);
    }
}

// The members of one object, each of which must be there, and no other.
class Members {
public:
    Members(const Json& object, std::string objectPlace) : json(object), place(std::move(objectPlace)) {
        Require(json.is_object(), place + " is no object");
    }

    bool Has(const char* name) const { return json.contains(name); }

    const Json& Get(const char* name) {
        Require(json.contains(name), place + " has no \"" + name + "\"");
        ++taken;
        return json.at(name);
    }

    std::uint64_t Number(const char* name, std::uint64_t least, std::uint64_t most) {
        const Json& value = Get(name);
        Require(
            value.is_number_unsigned() && value.get<std::uint64_t>() >= least &&
                value.get<std::uint64_t>() <= most,
            Place(name) + " is no number from " + std::to_string(least) + " to " + std::to_string(most));
        return value.get<std::uint64_t>();
    }

    Bytes Hexadecimal(const char* name, std::size_t least, std::size_t most) {
        return BytesOf(Get(name), Place(name), least, most);
    }

    const Json& List(const char* name) {
        const Json& value = Get(name);
        Require(value.is_array(), Place(name) + " is no list");
        return value;
    }

    void End() const { Require(json.size() == taken, place + " has a member that no card has"); }

    std::string Place(const char* name) const { return place + " \"" + name + "\""; }

    static Bytes BytesOf(const Json& value, const std::string& where, std::size_t least, std::size_t most) {
        const std::optional<Bytes> bytes =
            value.is_string() ? FromHexText(value.get_ref<const std::string&>()) : std::nullopt;
        Require(
            bytes && bytes->size() >= least && bytes->size() <= most, where + " is no hexadecimal text of " +
                                                                          std::to_string(least) + " to " +
                                                                          std::to_string(most) + " bytes");
        return *bytes;
    }

private:
    const Json& json;
    std::string place;
    std::size_t taken = 0;
};

}  // namespace Card
