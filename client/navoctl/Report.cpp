// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Report.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "client/navoctl/InstructionText.h"
#include "client/navoctl/Json.h"
#include "client/navoctl/JsonWriter.h"
#include "client/navoctl/Output.h"
#include "globalplatform/CplcFields.h"

namespace {

std::string ProgressAsJson(int number, const std::string& text) {
    JsonWriter writer;
    writer.Begin("progress");
    writer.AddNumber("number", number);
    writer.Add("instruction", Navo::SplitResultMessage(text).code);
    writer.Add("name", InstructionText(text));
    writer.AddAlways("text", text);
    writer.End();
    return writer.Text(false);
}

}  // namespace

Report::Report(const Arguments& ofArguments)
    : arguments(ofArguments), isTerminal(isatty(STDERR_FILENO) != 0) {}

void Report::Progress(const std::string& text) {
    ++cardCommands;
    if (arguments.quiet) {
        return;
    }
    if (arguments.json) {
        WriteLine(stderr, ProgressAsJson(cardCommands, text));
        return;
    }
    if (!isTerminal) {
        WriteLine(stderr, text);
        return;
    }
    char number[16];
    std::snprintf(number, sizeof number, "%4d  ", cardCommands);
    WriteLine(stderr, number + Navo::SplitResultMessage(text).code + "  " + InstructionText(text));
}

void Report::Note(const std::string& text) const {
    if (!arguments.quiet) {
        WriteLine(stderr, "navoctl: " + text);
    }
}

void Report::Summary(std::chrono::milliseconds time) const {
    if (cardCommands == 0 || arguments.json) {
        return;
    }
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.2f s", static_cast<double>(time.count()) / 1000);
    Note(std::to_string(cardCommands) + (cardCommands == 1 ? " command, " : " commands, ") + seconds);
}

void Report::Result(const Navo::Outcome& outcome, const Navo::Map& reply, const std::string& hint) {
    if (arguments.json) {
        WriteLine(stdout, JsonOf(arguments, outcome, reply, hint));
        return;
    }
    ResultAsText(outcome, reply);
    if (!hint.empty()) {
        Note("hint: " + hint);
    }
}

void Report::ResultAsText(const Navo::Outcome& outcome, const Navo::Map& reply) const {
    if (arguments.name == "raw") {
        for (const auto& [key, value] : reply) {
            WriteLine(stdout, key + "=" + value);
        }
    } else if (!outcome.success) {
        Complain(arguments.name + ": " + outcome.message);
    } else if (arguments.fields) {
        CplcAsFields(outcome.value);
    } else {
        WriteLine(stdout, outcome.value.empty() ? outcome.message : outcome.value);
    }
    if (!outcome.explanation.empty() && !outcome.success) {
        Complain(outcome.explanation);
    }
}

void Report::CplcAsFields(const std::string& cplc) const {
    const std::vector<GlobalPlatform::CplcField> fields = GlobalPlatform::DecodeCplc(cplc);
    if (fields.empty()) {
        Note("the data has not the 42 bytes of the standard and is printed as it is");
        WriteLine(stdout, cplc);
        return;
    }
    std::size_t width = 0;
    for (const GlobalPlatform::CplcField& field : fields) {
        width = std::max(width, field.label.size());
    }
    for (const GlobalPlatform::CplcField& field : fields) {
        const std::string padding(width - field.label.size(), ' ');
        const std::string meaning = field.meaning.empty() ? "" : "  (" + field.meaning + ")";
        WriteLine(stdout, field.label + "  " + padding + field.value + meaning);
    }
}

void Report::Failure(const Navo::ClientError& error, const std::string& hint) {
    Complain(arguments.name + ": " + error.what());
    Note("hint: " + hint);
    if (arguments.json) {
        WriteLine(stdout, JsonOf(arguments, error, hint));
    }
}
