// SPDX-License-Identifier: Apache-2.0
#include "tests/matrix/FaultRow.h"

#include <algorithm>

#include "device/names/FunctionNames.h"

namespace Matrix {

namespace {

Case CaseOf(const FaultyJob& job, const Outcome& outcome) {
    Case result;
    result.request = job.request;
    result.before = job.before;
    result.after = job.after;
    result.reactions = outcome.reactions.empty() ? job.reactions : outcome.reactions;
    result.reply = outcome.reply;
    result.sent = outcome.sent;
    result.opening = outcome.opening;
    result.keeps = outcome.keeps;
    result.newAddress = outcome.newAddress;
    return result;
}

}  // namespace

std::vector<Case> CasesOf(const FaultyJob& job, const FaultRow& row) {
    std::vector<Case> cases;
    const std::vector<Outcome>& onwards = row.onwards.empty() ? row.once : row.onwards;
    for (const std::string& code : row.codes) {
        for (unsigned call = 1; call <= row.once.size(); ++call) {
            for (const bool lasting : {false, true}) {
                Case result = CaseOf(job, (lasting ? onwards : row.once)[call - 1]);
                result.label = job.name + "/" + row.function + " " + code + " at call " +
                               std::to_string(call) + (lasting ? " and onwards" : "");
                result.faults = {{row.function, code, call, lasting ? 0U : 1U}};
                result.network = row.network;
                cases.push_back(result);
            }
        }
    }
    return cases;
}

std::vector<Outcome> Each(std::size_t calls, const Outcome& outcome) {
    return std::vector<Outcome>(calls, outcome);
}

std::vector<Case> CasesOfUncalled(
    const FaultyJob& job, const Outcome& ordinary, const std::vector<std::string>& called) {
    std::vector<Case> cases;
    for (const std::string& function : Device::AllPlatformFunctions()) {
        // Every job writes its log.
        const bool isCalled =
            function == "dlog_vprint" || std::find(called.begin(), called.end(), function) != called.end();
        if (!isCalled) {
            Case result = CaseOf(job, ordinary);
            result.label = job.name + "/" + function + " -1 is never called";
            result.faults = {{function, "-1", 1, 0}};
            result.meetsFaults = false;
            cases.push_back(result);
        }
    }
    return cases;
}

}  // namespace Matrix
