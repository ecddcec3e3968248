// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Output.h"

#include <glib.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "commandline/Terminal.h"

namespace {

struct TextFree {
    void operator()(char* text) const { g_free(text); }
};

// A terminal must not take a text for its own commands.
std::string Printable(const std::string& text) {
    const std::unique_ptr<char, TextFree> valid(
        g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    std::string printable;
    for (const char* at = valid.get(); *at != '\0'; at = g_utf8_next_char(at)) {
        const gunichar character = g_utf8_get_char(at);
        if (character != '\n' && character != '\t' && g_unichar_iscntrl(character)) {
            printable += '?';
        } else {
            printable.append(at, static_cast<std::size_t>(g_utf8_next_char(at) - at));
        }
    }
    return printable;
}

void Write(FILE* stream, const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stream);
}

}  // namespace

void WriteLine(FILE* stream, const std::string& text) {
    Write(stream, (isatty(fileno(stream)) != 0 ? Printable(text) : text) + "\n");
}

void Complain(const std::string& text) {
    using namespace CommandLine;
    const bool isTerminal = isatty(STDERR_FILENO) != 0;
    Write(
        stderr, Coloured("navoctl:", Colour::Bad, TakesColour(STDERR_FILENO)) + " " +
                    (isTerminal ? Printable(text) : text) + "\n");
}

bool FlushOutput() {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return true;
    }
    Complain(std::string("cannot write to standard output: ") + std::strerror(errno));
    return false;
}
