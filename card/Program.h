// SPDX-License-Identifier: Apache-2.0
// What an installed application answers: rules in the place of code.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "globalplatform/Bytes.h"
#include "globalplatform/StatusWord.h"

namespace Card {

using GlobalPlatform::Bytes;

struct MaskedByte {
    std::uint8_t value = 0;  // zero wherever the mask is
    std::uint8_t mask = 0xFF;

    [[nodiscard]] bool Matches(std::uint8_t byte) const { return (byte & mask) == value; }
};

struct CommandPattern {
    enum class Data { Any, Beginning, Whole };

    std::vector<MaskedByte> header;  // CLA without its logical channel, INS, P1, P2
    std::vector<MaskedByte> data;
    Data extent = Data::Any;  // how far the data has to be as they are

    [[nodiscard]] bool Matches(const Bytes& sentHeader, const Bytes& sentData) const;
};

constexpr std::size_t GreatestCounterWidth = 4;  // in bytes

struct AnswerPart {
    enum class Kind {
        Literal,
        CommandData,
        ApplicationAid,
        Counter,
        NextCounter,  // after it was counted on
        StoredValue,
        StoredObject,  // with its tag and length
        Object,
    };

    Kind kind = Kind::Literal;
    Bytes bytes;                      // of a literal
    std::string counter;              // its name
    std::size_t width = 2;            // of a counter, in bytes
    std::vector<std::uint32_t> path;  // what STORE DATA brought, by its tag or group, and objects within
    std::uint32_t tag = 0;            // of an object, whose value its parts are
    std::vector<AnswerPart> parts;
};

struct ProgramAnswer {
    std::vector<AnswerPart> parts;
    GlobalPlatform::StatusWord status = GlobalPlatform::StatusWord::Success;
};

// The first answer that can be given is; one that takes stored data which is not there cannot.
using Alternatives = std::vector<ProgramAnswer>;

struct ProgramRule {
    CommandPattern pattern;
    Alternatives answers;
};

struct Program {
    Bytes aid;
    bool beginning = false;  // for all applications whose AID begins so
    Alternatives selection;  // in place of the plain control information; counts nothing
    std::vector<ProgramRule> rules;
};

// The program of an application: that of its very AID, else of the longest beginning; null: it has none.
[[nodiscard]] const Program* FindProgram(const std::vector<Program>& programs, const Bytes& aid);

// Lower-case letters, digits and hyphens, 32 at the most.
[[nodiscard]] bool IsCounterName(const std::string& name);

}  // namespace Card
