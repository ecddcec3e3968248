// SPDX-License-Identifier: Apache-2.0
// One thing that is measured within a process, timed by Google Benchmark or counted by callgrind.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Inside {

// Whoever makes a case runs it once, so that what is set up at the first time is not measured.
struct Case {
    std::string name;  // "GROUP/ours/FIGURE" or "GROUP/floor/FIGURE"
    unsigned units;    // operations in one run; what is reported is the cost of one
    std::function<void()> run;
    std::function<void()> settle = [] {};   // lets work of other threads end; counted, not timed
    std::function<void()> prepare = [] {};  // what a run uses up; neither counted nor timed
};

using Cases = std::vector<Case>;

void AddRelay(Cases& cases);
void AddGrowth(Cases& cases);
void AddCard(Cases& cases);

}  // namespace Inside
