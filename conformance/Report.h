// SPDX-License-Identifier: Apache-2.0
// What became of each row, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "conformance/Row.h"

namespace Conformance {

enum class Outcome { Holds, Fails, Skipped };

struct Finding {
    Row row;
    Outcome outcome = Outcome::Holds;
    std::string reason;  // unless it holds
    long milliseconds = 0;
};

struct Sums {
    int hold = 0;
    int fail = 0;
    int skipped = 0;
};

[[nodiscard]] Sums SumsOf(const std::vector<Finding>& findings);

// One line, with a second one for the reason.
[[nodiscard]] std::string LineOf(const Finding& finding);
[[nodiscard]] std::string LineOf(const Sums& sums);

// One object, without a line feed at its end.
[[nodiscard]] std::string JsonOf(const std::vector<Finding>& findings);

}  // namespace Conformance
