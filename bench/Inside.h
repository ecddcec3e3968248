// SPDX-License-Identifier: Apache-2.0
// Figures of what is measured within one process, by the program navo-bench-inside.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "bench/Report.h"
#include "bench/Settings.h"

namespace Bench {

// Values of one operation by the name of the case, "GROUP/ours/FIGURE" or "GROUP/floor/FIGURE".
using InsideValues = std::map<std::string, std::vector<double>>;

// Microseconds, one value a round; the cases take turns in random order.
InsideValues TimesInside(const Settings& settings, const std::string& group);

// Executed instructions, one value each.
InsideValues CountsInside(const Settings& settings, const std::string& group);

}  // namespace Bench
