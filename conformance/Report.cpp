// SPDX-License-Identifier: Apache-2.0
#include "conformance/Report.h"

#include <algorithm>

#include "keyserver/service/Json.h"

namespace Conformance {

namespace {

using KeyServer::JsonValue;

const char* NameOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::Holds:
            return "holds";
        case Outcome::Fails:
            return "fails";
        case Outcome::Skipped:
            break;
    }
    return "skipped";
}

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

}  // namespace

Sums SumsOf(const std::vector<Finding>& findings) {
    Sums sums;
    for (const Finding& finding : findings) {
        int& sum = finding.outcome == Outcome::Holds   ? sums.hold
                   : finding.outcome == Outcome::Fails ? sums.fail
                                                       : sums.skipped;
        ++sum;
    }
    return sums;
}

std::string LineOf(const Finding& finding) {
    const std::string word = finding.outcome == Outcome::Fails ? "FAILS" : NameOf(finding.outcome);
    std::string line = Padded(word, 9) + Padded(finding.row.name, 24) + finding.row.sentence;
    return finding.reason.empty() ? line : line + "\n" + std::string(9, ' ') + finding.reason;
}

std::string LineOf(const Sums& sums) {
    return std::to_string(sums.hold) + " hold, " + std::to_string(sums.fail) + " fail, " +
           std::to_string(sums.skipped) + " could not be tried";
}

std::string JsonOf(const std::vector<Finding>& findings) {
    JsonValue rows = JsonValue::List();
    for (const Finding& finding : findings) {
        JsonValue row = JsonValue::Object();
        row.Add("row", JsonValue::Text(finding.row.name));
        row.Add("sentence", JsonValue::Text(finding.row.sentence));
        row.Add("outcome", JsonValue::Text(NameOf(finding.outcome)));
        if (!finding.reason.empty()) {
            row.Add("reason", JsonValue::Text(finding.reason));
        }
        row.Add("milliseconds", JsonValue::Number(static_cast<double>(finding.milliseconds)));
        rows.items.push_back(row);
    }
    const Sums sums = SumsOf(findings);
    JsonValue report = JsonValue::Object();
    report.Add("hold", JsonValue::Number(sums.hold));
    report.Add("fail", JsonValue::Number(sums.fail));
    report.Add("skipped", JsonValue::Number(sums.skipped));
    report.Add("rows", rows);
    return KeyServer::ToJson(report);
}

}  // namespace Conformance
