// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Explain.h"

#include <unistd.h>

#include <algorithm>

#include "client/navoctl/ExitStatus.h"
#include "client/navoctl/Json.h"
#include "client/navoctl/Output.h"
#include "commandline/Terminal.h"
#include "navo/Causes.h"

namespace {

using CommandLine::Colour;

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
    for (const std::string& code : codes) {
        explanations.push_back({code, Navo::CausesOf(code)});
    }
    if (codes.empty()) {
        for (const Navo::Cause& cause : Navo::AllCauses()) {
            explanations.push_back({cause.code, {cause}});
        }
    }
    return explanations;
}

}  // namespace

int Explain(const Arguments& arguments) {
    const std::vector<Explanation> explanations = ExplanationsOf(arguments.words);
    bool knowsAll = true;
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
