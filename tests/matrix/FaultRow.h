// SPDX-License-Identifier: Apache-2.0
// Rows of the fault matrix that differ only in the code a platform function gives and in the call that gives
// it.
#pragma once

#include <string>
#include <vector>

#include "tests/matrix/Codes.h"
#include "tests/matrix/MatrixWorld.h"

namespace Matrix {

// What becomes of the request.
struct Outcome {
    Map reply;
    std::vector<std::string> sent = {};
    Map opening = {};
    std::size_t keeps = 0;
    std::string newAddress = {};
    std::deque<HttpReaction> reactions = {};  // in place of the request's own, unless empty
};

struct FaultRow {
    std::string function;
    Codes codes;
    std::vector<Outcome> once;     // for each call of the request: when that one alone fails
    std::vector<Outcome> onwards;  // when it and all that follow fail; empty where that is the same
    std::string network = "type=wifi";
};

// A job, and what it is when nothing fails.
struct FaultyJob {
    std::string name;  // begins each label
    Map request;
    std::deque<HttpReaction> reactions = {};
    std::vector<Map> before = {};
    std::vector<Map> after = {};
};

// One row for each code, each call, and once and onwards. The label says what fails:
// "script/nfc_se_send_apdu NFC_ERROR_TIMED_OUT at call 3 and onwards".
std::vector<Case> CasesOf(const FaultyJob& job, const FaultRow& row);

// The same outcome for each of so many calls.
std::vector<Outcome> Each(std::size_t calls, const Outcome& outcome);

// One row for each function that the job does not call; its fault changes nothing.
std::vector<Case> CasesOfUncalled(
    const FaultyJob& job, const Outcome& ordinary, const std::vector<std::string>& called);

}  // namespace Matrix
