// SPDX-License-Identifier: Apache-2.0
#include "card/Program.h"

#include <algorithm>

namespace Card {

namespace {

constexpr std::size_t LongestCounterName = 32;

bool BeginsAs(const Bytes& bytes, const std::vector<MaskedByte>& pattern) {
    return bytes.size() >= pattern.size() &&
           std::equal(pattern.begin(), pattern.end(), bytes.begin(), [](MaskedByte each, std::uint8_t byte) {
               return each.Matches(byte);
           });
}

bool Suits(const Program& program, const Bytes& aid) {
    return program.beginning ? GlobalPlatform::BeginsWith(aid, program.aid) : aid == program.aid;
}

}  // namespace

bool CommandPattern::Matches(const Bytes& sentHeader, const Bytes& sentData) const {
    return BeginsAs(sentHeader, header) &&
           (extent == Data::Any ||
            (BeginsAs(sentData, data) && (extent == Data::Beginning || sentData.size() == data.size())));
}

const Program* FindProgram(const std::vector<Program>& programs, const Bytes& aid) {
    const Program* best = nullptr;
    for (const Program& program : programs) {
        if (!Suits(program, aid)) {
            continue;
        }
        if (!program.beginning) {
            return &program;
        }
        if (best == nullptr || program.aid.size() > best->aid.size()) {
            best = &program;
        }
    }
    return best;
}

bool IsCounterName(const std::string& name) {
    return !name.empty() && name.size() <= LongestCounterName &&
           name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string::npos;
}

}  // namespace Card
