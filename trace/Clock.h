// SPDX-License-Identifier: Apache-2.0
// Times as recordings and logs write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "trace/Entry.h"

namespace Trace {

// Reads a text from its front. Each function takes what it reads, and nothing when it fails.
class Scanner {
public:
    explicit Scanner(std::string_view line) : text(line) {}

    [[nodiscard]] std::string_view Rest() const { return text.substr(at); }
    [[nodiscard]] char Peek() const { return at < text.size() ? text[at] : '\0'; }

    bool Skip(char character);
    bool Skip(std::string_view word);
    void SkipBlanks();
    std::optional<std::int64_t> Number(std::size_t leastDigits, std::size_t mostDigits);
    std::string_view Word(std::string_view ends);  // up to one of these characters or the end

private:
    std::string_view text;
    std::size_t at = 0;
};

struct CivilTime {
    std::int64_t year = 1970;
    std::int64_t month = 1;
    std::int64_t day = 1;
    std::int64_t hour = 0;
    std::int64_t minute = 0;
    std::int64_t second = 0;
    Microseconds fraction = 0;
    Microseconds zone = 0;  // what is ahead of UTC
};

[[nodiscard]] Microseconds TimeOf(const CivilTime& civil);
[[nodiscard]] std::string IsoTime(Microseconds time);           // "2026-03-01T12:00:00.250871Z"
[[nodiscard]] std::string TimeOfDay(Microseconds time);         // "12:00:00.250871"
[[nodiscard]] std::string DurationText(Microseconds duration);  // "412 µs", "1.204 ms", "3.2 s"

// "12:00:00.250" with as many digits behind the point as there are.
bool ReadTimeOfDay(Scanner& scanner, CivilTime& civil);

// "Z", "+0900", "+09:00"; nothing of it is needed.
bool ReadZone(Scanner& scanner, CivilTime& civil);

// "2026-03-01T12:00:00.250871Z" as a whole.
[[nodiscard]] std::optional<Microseconds> ReadIsoTime(std::string_view text);

// The latest year in which the moment is not more than a day behind `now`.
void TakeYearBefore(CivilTime& civil, Microseconds now);

}  // namespace Trace
