// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Explain.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "client/navoctl/ExitStatus.h"
#include "client/navoctl/Json.h"
#include "client/navoctl/JsonWriter.h"
#include "client/navoctl/Output.h"
#include "commandline/Terminal.h"
#include "globalplatform/CardWords.h"
#include "navo/Causes.h"

namespace {

using CommandLine::Colour;
using GlobalPlatform::AtrWords;
using GlobalPlatform::LifeCycleWords;
using GlobalPlatform::PrivilegeWords;

void Print(const Navo::Cause& cause) {
    const std::size_t width = CommandLine::LineWidth() - 2;
    const std::string code =
        CommandLine::Coloured(cause.code, Colour::Strong, CommandLine::TakesColour(STDOUT_FILENO));
    const std::string heading = code + "  " + Navo::NameOf(cause.kind) + "\n";
    const std::string meaning = "  " + CommandLine::Wrapped(cause.meaning, width, 2) + "\n";
    const std::string lookAt =
        cause.lookAt.empty() ? "" : "  " + CommandLine::Wrapped("Look at: " + cause.lookAt, width, 2) + "\n";
    std::fputs((heading + meaning + lookAt).c_str(), stdout);
}

std::vector<Explanation> ExplanationsOf(const std::vector<std::string>& codes) {
    std::vector<Explanation> explanations;
    if (codes.empty()) {
        const auto causes = Navo::AllCauses();
        explanations.reserve(causes.size());
        for (const Navo::Cause& cause : causes) {
            explanations.push_back({cause.code, {cause}});
        }
        return explanations;
    }
    explanations.reserve(codes.size());
    for (const std::string& code : codes) {
        explanations.push_back({code, Navo::CausesOf(code)});
    }
    return explanations;
}

// A value of a card in words; false when it cannot be one.
bool PrintCardValue(
    const char* what, const std::string& value, const std::vector<std::string>& words, bool json) {
    if (value.empty()) {
        return true;
    }
    if (words.empty()) {
        Complain(std::string("explain: '") + value + "' is no " + what);
        return false;
    }
    if (json) {
        JsonWriter writer;
        writer.AddAlways(what, value);
        writer.BeginList("words");
        for (const std::string& word : words) {
            writer.AddItem(word);
        }
        writer.EndList();
        WriteLine(stdout, writer.Text());
        return true;
    }
    WriteLine(stdout, value + "  " + what);
    for (const std::string& word : words) {
        WriteLine(stdout, "  " + word);
    }
    return true;
}

bool PrintCardValues(const Arguments& arguments) {
    const bool atr =
        PrintCardValue("answer to reset", arguments.atr, AtrWords(arguments.atr), arguments.json);
    const bool state = PrintCardValue(
        "life cycle state", arguments.lifeCycle, LifeCycleWords(arguments.lifeCycle), arguments.json);
    const bool privileges = PrintCardValue(
        "privileges", arguments.privileges, PrivilegeWords(arguments.privileges), arguments.json);
    return atr && state && privileges;
}

}  // namespace

int Explain(const Arguments& arguments) {
    const bool hasCardValue =
        !arguments.atr.empty() || !arguments.lifeCycle.empty() || !arguments.privileges.empty();
    if (hasCardValue && arguments.words.empty()) {
        return PrintCardValues(arguments) && FlushOutput() ? ExitStatus::Success : ExitStatus::Failure;
    }
    const std::vector<Explanation> explanations = ExplanationsOf(arguments.words);
    bool knowsAll = PrintCardValues(arguments);
    if (arguments.json) {
        WriteLine(stdout, JsonOf(explanations));
    }
    for (const Explanation& explanation : explanations) {
        if (explanation.causes.empty()) {
            knowsAll = false;
            Complain("explain: '" + explanation.code + "' is no code of service, card, server or libraries");
        }
        for (const Navo::Cause& cause : explanation.causes) {
            if (!arguments.json) {
                Print(cause);
            }
        }
    }
    return FlushOutput() && knowsAll ? ExitStatus::Success : ExitStatus::Failure;
}
