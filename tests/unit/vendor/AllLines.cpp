#include "AllLines.h"

#include <cstdarg>
#include <cstdio>

std::vector<std::string>& AllLines() {
    static std::vector<std::string> lines;
    return lines;
}

// LogPrint(int, const char*, ...) by its linker name.
extern "C" __attribute__((format(printf, 2, 3))) void __wrap__Z8LogPrintiPKcz(
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
}
