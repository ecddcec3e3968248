// SPDX-License-Identifier: Apache-2.0
#include "commandline/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace CommandLine {

namespace {

constexpr std::size_t NarrowestLine = 40;
constexpr std::size_t WidestLine = 120;
constexpr std::size_t UsualLine = 80;

std::string Variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string WrappedLine(const std::string& line, std::size_t width, std::size_t indent) {
    if (line.empty() || line.front() == ' ') {
        return line;
    }
    std::istringstream words(line);
    std::string lines;
    std::size_t used = 0;
    for (std::string word; words >> word;) {
        if (used > 0 && used + 1 + word.size() > width) {
            lines += "\n" + std::string(indent, ' ');
            used = 0;
        }
        lines += (used > 0 ? " " : "") + word;
        used += word.size() + (used > 0 ? 1 : 0);
    }
    return lines;
}

}  // namespace

std::size_t LineWidth() {
    const std::string columns = Variable("COLUMNS");
    std::size_t width = static_cast<std::size_t>(std::strtoul(columns.c_str(), nullptr, 10));
    winsize size{};
    if (width == 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
        width = size.ws_col;
    }
    return std::clamp(width == 0 ? UsualLine : width, NarrowestLine, WidestLine);
}

bool TakesColour(int descriptor) {
    return isatty(descriptor) != 0 && Variable("NO_COLOR").empty() && Variable("TERM") != "dumb";
}

std::string Coloured(const std::string& text, Colour colour, bool wanted) {
    if (!wanted) {
        return text;
    }
    const char* const code = colour == Colour::Good      ? "32"
                             : colour == Colour::Bad     ? "1;31"
                             : colour == Colour::Warning ? "33"
                                                         : "1";
    return std::string("\033[") + code + "m" + text + "\033[0m";
}

std::string Wrapped(const std::string& text, std::size_t width, std::size_t indent) {
    std::istringstream lines(text);
    std::string wrapped;
    for (std::string line; std::getline(lines, line);) {
        wrapped += (wrapped.empty() ? "" : "\n" + std::string(line.empty() ? 0 : indent, ' '));
        wrapped += WrappedLine(line, width, indent);
    }
    return wrapped;
}

}  // namespace CommandLine
