// SPDX-License-Identifier: Apache-2.0
#include "trace/LogLine.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace Trace {

namespace {

bool IsPriority(char character) {
    return character != '\0' && std::strchr("VDIWEFS", character) != nullptr;
}

// "/NavoAgent( 1234): text" or "/NavoAgent: text" behind the priority.
bool ReadTagAndText(Scanner& scanner, LogLine& line) {
    line.tag = scanner.Word("(: ");
    scanner.SkipBlanks();
    if (scanner.Skip('(')) {
        scanner.Skip('P');
        scanner.SkipBlanks();
        const std::optional<std::int64_t> process = scanner.Number(1, 9);
        if (!process) {
            return false;
        }
        line.process = static_cast<long>(*process);
        scanner.Word(")");
        scanner.Skip(')');
        scanner.SkipBlanks();
    }
    if (!scanner.Skip(':')) {
        return false;
    }
    scanner.Skip(' ');
    line.text = scanner.Rest();
    return !line.tag.empty();
}

// "D/NavoAgent( 1234): text"
bool ReadBrief(Scanner& scanner, LogLine& line) {
    line.priority = scanner.Peek();
    return IsPriority(line.priority) && scanner.Skip(line.priority) && scanner.Skip('/') &&
           ReadTagAndText(scanner, line);
}

// "P 1234, T 1240 D/NavoAgent: text", "1234 1240 D NavoAgent: text" or "D/NavoAgent( 1234): text"
bool ReadBehindTime(Scanner& scanner, LogLine& line) {
    scanner.SkipBlanks();
    for (int number = 0; number < 2; ++number) {
        Scanner ahead = scanner;
        ahead.Skip(number == 0 ? 'P' : 'T');
        ahead.SkipBlanks();
        const std::optional<std::int64_t> id = ahead.Number(1, 9);
        if (id) {
            line.process = number == 0 ? static_cast<long>(*id) : line.process;
            ahead.Skip(',');
            ahead.SkipBlanks();
            scanner = ahead;
        }
    }
    line.priority = scanner.Peek();
    if (!IsPriority(line.priority) || !scanner.Skip(line.priority)) {
        return false;
    }
    if (!scanner.Skip('/')) {
        scanner.SkipBlanks();
    }
    return ReadTagAndText(scanner, line);
}

// "03-01 12:00:00.250+0900", with or without a year.
bool ReadDeviceTime(Scanner& scanner, Microseconds now, LogLine& line) {
    CivilTime civil;
    Scanner ahead = scanner;
    const std::optional<std::int64_t> year = ahead.Number(4, 4);
    const bool hasYear = year && ahead.Skip('-');
    scanner = hasYear ? ahead : scanner;
    const std::optional<std::int64_t> month = scanner.Number(2, 2);
    const std::optional<std::int64_t> day = month && scanner.Skip('-') ? scanner.Number(2, 2) : std::nullopt;
    if (!day || *month < 1 || *month > 12 || *day < 1 || *day > 31 || !scanner.Skip(' ')) {
        return false;
    }
    civil.month = *month;
    civil.day = *day;
    if (!ReadTimeOfDay(scanner, civil)) {
        return false;
    }
    ReadZone(scanner, civil);
    if (hasYear) {
        civil.year = *year;
    } else {
        TakeYearBefore(civil, now);
    }
    line.time = TimeOf(civil);
    return true;
}

constexpr std::string_view Months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// "Mar 01 12:00:00.250000 "
bool ReadJournalTime(Scanner& scanner, Microseconds now, LogLine& line) {
    const std::string_view name = scanner.Word(" ");
    const auto* const found = std::find(std::begin(Months), std::end(Months), name);
    if (found == std::end(Months)) {
        return false;
    }
    CivilTime civil;
    civil.month = 1 + (found - std::begin(Months));
    scanner.SkipBlanks();
    const std::optional<std::int64_t> day = scanner.Number(1, 2);
    if (!day || *day < 1 || *day > 31 || !scanner.Skip(' ') || !ReadTimeOfDay(scanner, civil)) {
        return false;
    }
    civil.day = *day;
    TakeYearBefore(civil, now);
    line.time = TimeOf(civil);
    return scanner.Skip(' ');
}

// "2026-03-01T12:00:00+0000 "
bool ReadIsoWord(Scanner& scanner, LogLine& line) {
    line.time = ReadIsoTime(scanner.Word(" "));
    return line.time && scanner.Skip(' ');
}

// "host NavoAgent[1234]: text", in which the text may begin as the desk's lines do.
bool ReadJournal(Scanner& scanner, LogLine& line) {
    scanner.Word(" ");
    scanner.SkipBlanks();
    line.tag = scanner.Word("[: ");
    if (scanner.Skip('[')) {
        line.process = static_cast<long>(scanner.Number(1, 9).value_or(0));
        if (!scanner.Skip(']')) {
            return false;
        }
    }
    if (line.tag.empty() || !scanner.Skip(':')) {
        return false;
    }
    scanner.Skip(' ');
    line.text = scanner.Rest();
    Scanner inner = scanner;
    LogLine own = line;
    if (ReadBrief(inner, own)) {
        line = own;
    }
    return true;
}

}  // namespace

std::optional<LogLine> ReadLogLine(std::string_view text, Microseconds now) {
    LogLine line;
    Scanner brief(text);
    if (ReadBrief(brief, line)) {
        return line;
    }
    line = LogLine();
    Scanner device(text);
    if (ReadDeviceTime(device, now, line) && ReadBehindTime(device, line)) {
        return line;
    }
    line = LogLine();
    Scanner journal(text);
    if (ReadJournalTime(journal, now, line) && ReadJournal(journal, line)) {
        return line;
    }
    line = LogLine();
    Scanner iso(text);
    if (ReadIsoWord(iso, line) && ReadJournal(iso, line)) {
        return line;
    }
    return std::nullopt;
}

}  // namespace Trace
