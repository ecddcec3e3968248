// SPDX-License-Identifier: Apache-2.0
// Entries as JSON, for programs and for the page.
#pragma once

#include <string>

#include "trace/Details.h"

namespace Trace {

// An object on one line, without a line end.
[[nodiscard]] std::string EntryJson(const Story& story, std::size_t index, const Details& details);

// The members that stand before the entries: inputs, problems, totals, the first that failed.
[[nodiscard]] std::string HeadJson(const Story& story, Mask& mask);

// A text as JSON writes it, quotes included.
[[nodiscard]] std::string JsonText(const std::string& text);

}  // namespace Trace
