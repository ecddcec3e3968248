// SPDX-License-Identifier: Apache-2.0
#include "common/Uuid.h"

#include <sys/time.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace Na {

struct Uuid::Record {
    std::uint32_t timeLow = 0;
    std::uint16_t timeMid = 0;
    std::uint16_t timeHighAndVersion = 0;
    std::uint8_t clockSequenceHighAndVariant = 0;
    std::uint8_t clockSequenceLow = 0;
    std::uint64_t node = 0;  // 48 bits
};

namespace {

// The counter keeps two seeds of one microsecond apart.
void SeedFromClock() {
    static unsigned counter = 0;
    timeval now = {};
    gettimeofday(&now, nullptr);
    const std::uint64_t microseconds =
        static_cast<std::uint64_t>(now.tv_sec) * 1000000 + static_cast<std::uint64_t>(now.tv_usec);
    std::srand(static_cast<unsigned>(microseconds + counter));
    ++counter;
}

}  // namespace

Uuid::Uuid(const Uuid& other) : record(other.record ? std::make_unique<Record>(*other.record) : nullptr) {}

Uuid::Uuid() = default;

Uuid& Uuid::operator=(Uuid other) {
    std::swap(record, other.record);
    return *this;
}

Uuid::~Uuid() = default;

Uuid Uuid::Nil() {
    Uuid uuid;
    uuid.record = std::make_unique<Record>();
    return uuid;
}

// Each call of rand() stands in a statement of its own: their order decides the identifier.
Uuid Uuid::Random() {
    Uuid uuid = Nil();
    Record& fields = *uuid.record;
    SeedFromClock();
    fields.timeLow = static_cast<std::uint32_t>(std::rand());
    fields.timeMid = static_cast<std::uint16_t>(std::rand());
    fields.timeHighAndVersion = static_cast<std::uint16_t>(std::rand());
    const auto nodeHigh = static_cast<std::uint16_t>(std::rand());
    const auto nodeLow = static_cast<std::uint32_t>(std::rand());
    fields.node = std::uint64_t{nodeHigh} << 32 | nodeLow;
    fields.clockSequenceHighAndVariant = static_cast<std::uint8_t>(std::rand());
    fields.clockSequenceLow = static_cast<std::uint8_t>(std::rand());

    fields.timeHighAndVersion = static_cast<std::uint16_t>((fields.timeHighAndVersion & 0x0FFF) | 0x4000);
    fields.clockSequenceHighAndVariant =
        static_cast<std::uint8_t>((fields.clockSequenceHighAndVariant & 0x3F) | 0x80);
    return uuid;
}

std::string Uuid::ToString() const {
    if (!record) {
        return {};
    }
    char text[64];
    std::snprintf(
        text, sizeof text, "%08" PRIX32 "-%04X-%04X-%02X%02X-%012" PRIX64, record->timeLow,
        static_cast<unsigned>(record->timeMid), static_cast<unsigned>(record->timeHighAndVersion),
        static_cast<unsigned>(record->clockSequenceHighAndVariant),
        static_cast<unsigned>(record->clockSequenceLow), record->node);
    return text;
}

}  // namespace Na
