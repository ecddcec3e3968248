// SPDX-License-Identifier: Apache-2.0
#include "trace/Clock.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace Trace {

namespace {

constexpr Microseconds Second = 1000000;
constexpr Microseconds Day = Microseconds{24} * 3600 * Second;

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

// Days since 1970-01-01 of the proleptic Gregorian calendar.
std::int64_t DaysOf(std::int64_t year, std::int64_t month, std::int64_t day) {
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

struct Date {
    std::int64_t year;
    std::int64_t month;
    std::int64_t day;
};

Date DateOf(std::int64_t days) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shifted = (5 * dayOfYear + 2) / 153;
    const std::int64_t month = shifted + (shifted < 10 ? 3 : -9);
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, dayOfYear - (153 * shifted + 2) / 5 + 1};
}

std::int64_t DayNumber(Microseconds time) {
    return time >= 0 ? time / Day : (time - Day + 1) / Day;
}

bool IsTimeOfDay(const CivilTime& civil) {
    return civil.hour < 24 && civil.minute < 60 && civil.second <= 60;
}

}  // namespace

bool Scanner::Skip(char character) {
    const bool is = Peek() == character && at < text.size();
    at += is ? 1 : 0;
    return is;
}

bool Scanner::Skip(std::string_view word) {
    const bool is = text.substr(at, word.size()) == word;
    at += is ? word.size() : 0;
    return is;
}

void Scanner::SkipBlanks() {
    while (Peek() == ' ' || Peek() == '\t') {
        ++at;
    }
}

std::optional<std::int64_t> Scanner::Number(std::size_t leastDigits, std::size_t mostDigits) {
    std::size_t digits = 0;
    std::int64_t number = 0;
    while (digits < mostDigits && at + digits < text.size() && IsDigit(text[at + digits])) {
        number = number * 10 + (text[at + digits] - '0');
        ++digits;
    }
    if (digits < leastDigits) {
        return std::nullopt;
    }
    at += digits;
    return number;
}

std::string_view Scanner::Word(std::string_view ends) {
    const std::size_t end = std::min(text.find_first_of(ends, at), text.size());
    const std::string_view word = text.substr(at, end - at);
    at = end;
    return word;
}

Microseconds TimeOf(const CivilTime& civil) {
    const Microseconds seconds = civil.hour * 3600 + civil.minute * 60 + civil.second;
    return DaysOf(civil.year, civil.month, civil.day) * Day + seconds * Second + civil.fraction - civil.zone;
}

std::string TimeOfDay(Microseconds time) {
    const Microseconds ofDay = time - DayNumber(time) * Day;
    std::array<char, 64> text{};
    std::snprintf(
        text.data(), text.size(), "%02ld:%02ld:%02ld.%06ld", static_cast<long>(ofDay / (3600 * Second)),
        static_cast<long>(ofDay / (60 * Second) % 60), static_cast<long>(ofDay / Second % 60),
        static_cast<long>(ofDay % Second));
    return text.data();
}

std::string IsoTime(Microseconds time) {
    const Date date = DateOf(DayNumber(time));
    std::array<char, 64> text{};
    std::snprintf(
        text.data(), text.size(), "%04ld-%02ld-%02ldT", static_cast<long>(date.year),
        static_cast<long>(date.month), static_cast<long>(date.day));
    return text.data() + TimeOfDay(time) + "Z";
}

std::string DurationText(Microseconds duration) {
    std::array<char, 48> text{};
    const double number = static_cast<double>(duration);
    if (duration < 1000) {
        return std::to_string(duration) + " µs";
    }
    if (duration < Second) {
        std::snprintf(text.data(), text.size(), "%.1f ms", number / 1000);
    } else {
        std::snprintf(text.data(), text.size(), "%.2f s", number / static_cast<double>(Second));
    }
    return text.data();
}

bool ReadTimeOfDay(Scanner& scanner, CivilTime& civil) {
    const std::optional<std::int64_t> hour = scanner.Number(2, 2);
    const std::optional<std::int64_t> minute =
        hour && scanner.Skip(':') ? scanner.Number(2, 2) : std::nullopt;
    const std::optional<std::int64_t> second =
        minute && scanner.Skip(':') ? scanner.Number(2, 2) : std::nullopt;
    if (!second) {
        return false;
    }
    civil.hour = *hour;
    civil.minute = *minute;
    civil.second = *second;
    if (scanner.Skip('.') || scanner.Skip(',')) {
        Microseconds unit = Second / 10;
        while (const std::optional<std::int64_t> digit = scanner.Number(1, 1)) {
            civil.fraction += *digit * unit;
            unit /= 10;
        }
    }
    return IsTimeOfDay(civil);
}

bool ReadZone(Scanner& scanner, CivilTime& civil) {
    if (scanner.Skip('Z')) {
        return true;
    }
    const bool west = scanner.Peek() == '-';
    if (!west && scanner.Peek() != '+') {
        return false;
    }
    scanner.Skip(scanner.Peek());
    const std::optional<std::int64_t> hours = scanner.Number(2, 2);
    scanner.Skip(':');
    const std::optional<std::int64_t> minutes = hours ? scanner.Number(2, 2) : std::nullopt;
    if (!minutes) {
        return false;
    }
    civil.zone = (*hours * 3600 + *minutes * 60) * Second * (west ? -1 : 1);
    return true;
}

std::optional<Microseconds> ReadIsoTime(std::string_view text) {
    Scanner scanner(text);
    CivilTime civil;
    const std::optional<std::int64_t> year = scanner.Number(4, 4);
    const std::optional<std::int64_t> month = year && scanner.Skip('-') ? scanner.Number(2, 2) : std::nullopt;
    const std::optional<std::int64_t> day = month && scanner.Skip('-') ? scanner.Number(2, 2) : std::nullopt;
    if (!day || *month < 1 || *month > 12 || *day < 1 || *day > 31 || !scanner.Skip('T')) {
        return std::nullopt;
    }
    civil.year = *year;
    civil.month = *month;
    civil.day = *day;
    if (!ReadTimeOfDay(scanner, civil) || !ReadZone(scanner, civil) || !scanner.Rest().empty()) {
        return std::nullopt;
    }
    return TimeOf(civil);
}

void TakeYearBefore(CivilTime& civil, Microseconds now) {
    civil.year = DateOf(DayNumber(now)).year + 1;
    while (TimeOf(civil) > now + Day) {
        --civil.year;
    }
}

}  // namespace Trace
