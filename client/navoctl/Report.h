// SPDX-License-Identifier: Apache-2.0
// What the user gets to read: results on standard output, everything else on standard error.
#pragma once

#include <string>

#include "client/navoctl/Arguments.h"
#include "navo/Client.h"
#include "navo/Outcome.h"

class Report {
public:
    explicit Report(const Arguments& arguments);

    // One line for each card command: numbered and in words on a terminal, as it came elsewhere.
    void Progress(const std::string& text);

    void Result(const Navo::Outcome& outcome, const Navo::Map& reply);
    void Failure(const Navo::ClientError& error);

    // A line that the user should know of though it changes nothing; not with --quiet.
    void Note(const std::string& text) const;

    // Writes out what is still held. False, with a message, when standard output did not take all.
    bool Flush() const;

private:
    void ResultAsText(const Navo::Outcome& outcome, const Navo::Map& reply) const;
    void CplcAsFields(const std::string& cplc) const;

    const Arguments& arguments;
    bool isTerminal;  // standard error
    int progressLines = 0;
};
