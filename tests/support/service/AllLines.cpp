// SPDX-License-Identifier: Apache-2.0
#include "tests/support/service/AllLines.h"

#include <cstdarg>
#include <cstdio>

std::vector<std::string>& AllLines() {
    static std::vector<std::string> lines;
    return lines;
}

std::vector<std::string> LinesOfSource(const std::string& source) {
    const std::string begin = "[/src/" + source + ":";
    std::vector<std::string> lines;
    for (const std::string& line : AllLines()) {
        const std::size_t function = line.find(' ', 2) + 1;
        const std::size_t end = line.find("] ", function);
        if (line.compare(2, begin.size(), begin) == 0 && function != 0 && end != std::string::npos) {
            lines.push_back(
                line.substr(0, 2) + line.substr(function, end - function) + ": " + line.substr(end + 2));
        }
    }
    return lines;
}

// LogPrint(int, const char*, ...) by its linker name.
extern "C" __attribute__((format(printf, 2, 3))) void __wrap__Z8LogPrintiPKcz(
    int level, const char* format, ...);
extern "C" __attribute__((format(printf, 2, 3))) void __real__Z8LogPrintiPKcz(
    int level, const char* format, ...);

void __wrap__Z8LogPrintiPKcz(int level, const char* format, ...) {
    constexpr char Letters[] = "?EWIDT";
    char text[4096];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const bool known = level >= 1 && level <= 5;
    AllLines().push_back(std::string(1, Letters[known ? level : 0]) + " " + text);
    __real__Z8LogPrintiPKcz(level, "%s", text);
}
