// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Misbehaviour.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <stdexcept>

namespace KeyServer {

namespace {

enum class ValueRule { None, Status, Milliseconds, OptionalMilliseconds, Text, OptionalText, Variant };

struct KindRow {
    const char* name;
    Misbehaviour::Kind kind;
    ValueRule rule;
};

using Kind = Misbehaviour::Kind;

constexpr std::array<KindRow, 20> Kinds{{
    {"status", Kind::Status, ValueRule::Status},
    {"delay", Kind::Delay, ValueRule::Milliseconds},
    {"close-before", Kind::CloseBefore, ValueRule::None},
    {"close-head", Kind::CloseHead, ValueRule::None},
    {"close-middle", Kind::CloseMiddle, ValueRule::None},
    {"close-after", Kind::CloseAfter, ValueRule::None},
    {"connection-close", Kind::ConnectionClose, ValueRule::None},
    {"reset", Kind::Reset, ValueRule::None},
    {"garbage", Kind::Garbage, ValueRule::None},
    {"redirect", Kind::Redirect, ValueRule::Status},
    {"redirect-to", Kind::RedirectTo, ValueRule::Text},
    {"content-type", Kind::ContentType, ValueRule::OptionalText},
    {"empty", Kind::Empty, ValueRule::None},
    {"not-json", Kind::NotJson, ValueRule::Variant},
    {"numeric-code", Kind::NumericCode, ValueRule::None},
    {"no-code", Kind::NoCode, ValueRule::None},
    {"no-commands", Kind::NoCommands, ValueRule::None},
    {"code", Kind::Code, ValueRule::Text},
    {"endless", Kind::Endless, ValueRule::None},
    {"restart", Kind::Restart, ValueRule::OptionalMilliseconds},
}};

constexpr std::array<const char*, 9> NotJsonVariants{"text",      "html",  "list",   "number", "null",
                                                     "truncated", "blank", "nested", "binary"};

template <typename Names>
std::string Listing(const Names& names) {
    std::string text;
    for (const auto& name : names) {
        text += (text.empty() ? "" : ", ") + std::string(name);
    }
    return text;
}

// At most nine digits, so that no sum of two can overflow.
std::optional<std::uint64_t> ParseNumber(const std::string& text) {
    const bool digits = std::all_of(
        text.begin(), text.end(), [](unsigned char character) { return std::isdigit(character) != 0; });
    if (text.empty() || text.size() > 9 || !digits) {
        return std::nullopt;
    }
    return std::stoull(text);
}

const KindRow& RowOf(const std::string& name) {
    const auto* found =
        std::find_if(Kinds.begin(), Kinds.end(), [&name](const KindRow& row) { return name == row.name; });
    if (found == Kinds.end()) {
        throw std::invalid_argument(
            "there is no misbehaviour \"" + name + "\"; the kinds are " + Listing(MisbehaviourKinds()));
    }
    return *found;
}

void CheckStatus(const KindRow& row, const std::string& value) {
    const auto status = ParseNumber(value);
    const bool redirect = row.kind == Kind::Redirect;
    const std::uint64_t least = redirect ? 300 : 200;
    const std::uint64_t most = redirect ? 399 : 599;
    if (!value.empty() && (!status || *status < least || *status > most)) {
        throw std::invalid_argument(
            std::string(row.name) + " takes an HTTP status from " + std::to_string(least) + " to " +
            std::to_string(most) + ", not \"" + value + "\"");
    }
}

bool HoldsControlCharacter(const std::string& value) {
    return std::any_of(
        value.begin(), value.end(), [](unsigned char character) { return std::iscntrl(character) != 0; });
}

void CheckValue(const KindRow& row, const std::string& value) {
    const std::string name = row.name;
    if (row.rule == ValueRule::Status) {
        CheckStatus(row, value);
        return;
    }
    if (row.rule == ValueRule::None && !value.empty()) {
        throw std::invalid_argument(name + " takes no value");
    }
    if (row.rule == ValueRule::Text && value.empty()) {
        throw std::invalid_argument(name + " needs a value: " + name + "=TEXT");
    }
    const bool optional = row.rule == ValueRule::OptionalMilliseconds && value.empty();
    const bool milliseconds =
        row.rule == ValueRule::Milliseconds || row.rule == ValueRule::OptionalMilliseconds;
    if (milliseconds && !optional && !ParseNumber(value)) {
        throw std::invalid_argument(name + " takes a number of milliseconds, not \"" + value + "\"");
    }
    if (HoldsControlCharacter(value)) {
        throw std::invalid_argument(name + " takes a value without control characters");
    }
    const auto* variant = std::find(NotJsonVariants.begin(), NotJsonVariants.end(), value);
    if (row.rule == ValueRule::Variant && !value.empty() && variant == NotJsonVariants.end()) {
        throw std::invalid_argument(
            name + " takes one of " + Listing(NotJsonVariants) + ", not \"" + value + "\"");
    }
}

void ParseRange(const std::string& range, Misbehaviour& misbehaviour) {
    const auto x = range.find('x');
    const auto from = ParseNumber(range.substr(0, x));
    const auto times =
        x == std::string::npos ? std::optional<std::uint64_t>(0) : ParseNumber(range.substr(x + 1));
    const bool good = from && *from > 0 && times && (x == std::string::npos || *times > 0);
    if (!good) {
        throw std::invalid_argument("\"@" + range + "\" is expected as @FROM or @FROMxTIMES, both from 1 on");
    }
    misbehaviour.from = *from;
    misbehaviour.times = *times;
}

}  // namespace

bool Misbehaviour::HoldsFor(std::uint64_t message) const {
    return message >= from && (times == 0 || message - from < times);
}

std::uint64_t Misbehaviour::NumberOr(std::uint64_t otherwise) const {
    return ParseNumber(value).value_or(otherwise);
}

std::string Misbehaviour::Text() const {
    const auto* row =
        std::find_if(Kinds.begin(), Kinds.end(), [this](const KindRow& each) { return each.kind == kind; });
    std::string text = row->name;
    if (!value.empty()) {
        text += "=" + value;
    }
    if (from != 1 || times != 0) {
        text += "@" + std::to_string(from);
    }
    if (times != 0) {
        text += "x" + std::to_string(times);
    }
    return text;
}

Misbehaviour MakeMisbehaviour(const std::string& kind, const std::string& value) {
    const KindRow& row = RowOf(kind);
    CheckValue(row, value);
    Misbehaviour misbehaviour;
    misbehaviour.kind = row.kind;
    misbehaviour.value = value;
    return misbehaviour;
}

Misbehaviour ParseMisbehaviour(const std::string& order) {
    const auto at = order.rfind('@');
    const std::string head = order.substr(0, at);
    const auto equals = head.find('=');
    Misbehaviour misbehaviour = MakeMisbehaviour(
        head.substr(0, equals), equals == std::string::npos ? std::string() : head.substr(equals + 1));
    if (at != std::string::npos) {
        ParseRange(order.substr(at + 1), misbehaviour);
    }
    return misbehaviour;
}

std::vector<std::string> MisbehaviourKinds() {
    std::vector<std::string> names;
    std::transform(Kinds.begin(), Kinds.end(), std::back_inserter(names), [](const KindRow& row) {
        return std::string(row.name);
    });
    return names;
}

}  // namespace KeyServer
