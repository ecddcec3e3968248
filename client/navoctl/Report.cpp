// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Report.h"

#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "client/navoctl/CplcFields.h"
#include "client/navoctl/Json.h"

namespace {

struct TextFree {
    void operator()(char* text) const { g_free(text); }
};

// Texts of the service come in part from a server; a terminal must not take them for its own commands.
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

// In one write, so that the lines of several programs on one pipe do not mix.
void WriteLine(FILE* stream, const std::string& text) {
    const std::string line = (isatty(fileno(stream)) ? Printable(text) : text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stream);
}

}  // namespace

Report::Report(const Arguments& ofArguments)
    : arguments(ofArguments), isTerminal(isatty(STDERR_FILENO) != 0) {}

void Report::Progress(const std::string& text) {
    if (arguments.quiet) {
        return;
    }
    if (!isTerminal) {
        WriteLine(stderr, text);
        return;
    }
    const Navo::ResultMessage parts = Navo::SplitResultMessage(text);
    const std::string name = parts.description.empty() ? "(unnamed command)" : parts.description;
    char number[16];
    std::snprintf(number, sizeof number, "%4d  ", ++progressLines);
    WriteLine(stderr, number + parts.code + "  " + name);
}

void Report::Note(const std::string& text) const {
    if (!arguments.quiet) {
        WriteLine(stderr, "navoctl: " + text);
    }
}

void Report::Result(const Navo::Outcome& outcome, const Navo::Map& reply) {
    if (arguments.json) {
        WriteLine(stdout, JsonOf(arguments, outcome, reply));
    } else {
        ResultAsText(outcome, reply);
    }
}

void Report::ResultAsText(const Navo::Outcome& outcome, const Navo::Map& reply) const {
    if (arguments.name == "raw") {
        for (const auto& [key, value] : reply) {
            WriteLine(stdout, key + "=" + value);
        }
    } else if (!outcome.success) {
        WriteLine(stderr, "navoctl: " + arguments.name + ": " + outcome.message);
    } else if (arguments.fields) {
        CplcAsFields(outcome.value);
    } else {
        WriteLine(stdout, outcome.value.empty() ? outcome.message : outcome.value);
    }
    if (!outcome.explanation.empty() && !outcome.success) {
        WriteLine(stderr, "navoctl: " + outcome.explanation);
    }
}

void Report::CplcAsFields(const std::string& cplc) const {
    const std::vector<CplcField> fields = DecodeCplc(cplc);
    if (fields.empty()) {
        Note("the data has not the 42 bytes of the standard and is printed as it is");
        WriteLine(stdout, cplc);
        return;
    }
    std::size_t width = 0;
    for (const CplcField& field : fields) {
        width = std::max(width, field.label.size());
    }
    for (const CplcField& field : fields) {
        const std::string padding(width - field.label.size(), ' ');
        const std::string meaning = field.meaning.empty() ? "" : "  (" + field.meaning + ")";
        WriteLine(stdout, field.label + "  " + padding + field.value + meaning);
    }
}

void Report::Failure(const Navo::ClientError& error) {
    WriteLine(stderr, "navoctl: " + arguments.name + ": " + error.what());
    if (arguments.json) {
        WriteLine(stdout, JsonOf(arguments, error));
    }
}

bool Report::Flush() const {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return true;
    }
    WriteLine(stderr, std::string("navoctl: cannot write to standard output: ") + std::strerror(errno));
    return false;
}
