// SPDX-License-Identifier: Apache-2.0
// Reads what a trace is made of, line by line, whatever form it has.
#pragma once

#include <istream>

#include "trace/Entry.h"

namespace Trace {

// The entries of one input, in its order, and what is to be said of it.
struct Reading {
    Source source;
    std::vector<Problem> problems;
    std::vector<Entry> entries;
};

// Never throws for what the input holds: a line that cannot be read becomes a problem, and reading goes on.
// `number` is the source's, for the origins of its entries; `now` gives a year to times without one.
[[nodiscard]] Reading ReadInput(
    std::istream& stream, const std::string& file, std::size_t number, Microseconds now);

// The same of a file. One that cannot be opened is a reading with a problem and without entries.
[[nodiscard]] Reading ReadFile(const std::string& file, std::size_t number, Microseconds now);

}  // namespace Trace
