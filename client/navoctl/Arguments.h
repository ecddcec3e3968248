// SPDX-License-Identifier: Apache-2.0
// What the user asked for.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "navo/Client.h"

struct Arguments {
    std::string name;  // of the subcommand, "key get" where it has one itself
    long command = 0;  // number of the command; for raw: as the service will read it, 0 when it cannot
    Navo::Map request;
    Navo::Method method = Navo::Method::Cmd;
    std::string resultTag;
    std::chrono::milliseconds timeLimit = Navo::NoTimeLimit;
    std::vector<std::string> words;  // of explain and help
    std::string atr;                 // explain: values of a card, hexadecimal; empty where not asked for
    std::string lifeCycle;
    std::string privileges;
    bool json = false;
    bool quiet = false;
    bool fields = false;   // cplc: decode
    bool release = false;  // key get: end the get-key session with this one
};
