// SPDX-License-Identifier: Apache-2.0
// Lines of recordings: of a device, of a key server, and of a journal that was written as JSON.
#pragma once

#include <string>
#include <vector>

#include "trace/LogLine.h"

namespace Trace {

// What one line is; of a journal's, what it carries.
struct JsonLine {
    Form form = Form::Unknown;
    std::vector<Entry> entries;
    std::optional<Microseconds> time;  // of the journal's
    long process = 0;
    std::string text;
};

// Throws std::runtime_error that says what is wrong with the line. Members that it does not know are passed
// over: recordings of other releases have fewer or more.
[[nodiscard]] JsonLine ReadJsonLine(const std::string& line);

}  // namespace Trace
