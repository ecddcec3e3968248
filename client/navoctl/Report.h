// SPDX-License-Identifier: Apache-2.0
// What the user gets to read: results on standard output, everything else on standard error.
#pragma once

#include <chrono>
#include <string>

#include "client/navoctl/Arguments.h"
#include "navo/Client.h"
#include "navo/Outcome.h"

class Report {
public:
    explicit Report(const Arguments& arguments);

    // One line for each card command: numbered and with the field's name on a terminal, one JSON object with
    // --json, as it came elsewhere.
    void Progress(const std::string& text);

    // `hint` is for a failure; empty otherwise.
    void Result(const Navo::Outcome& outcome, const Navo::Map& reply, const std::string& hint);
    void Failure(const Navo::ClientError& error, const std::string& hint);

    // "36 commands, 0.25 s", where there were any.
    void Summary(std::chrono::milliseconds time) const;

    // A line that the user should know of though it changes nothing; not with --quiet.
    void Note(const std::string& text) const;

    int CardCommands() const { return cardCommands; }

private:
    void ResultAsText(const Navo::Outcome& outcome, const Navo::Map& reply) const;
    void CplcAsFields(const std::string& cplc) const;

    const Arguments& arguments;
    bool isTerminal;  // standard error
    int cardCommands = 0;
};
