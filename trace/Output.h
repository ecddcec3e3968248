// SPDX-License-Identifier: Apache-2.0
// The forms in which a story is written.
#pragma once

#include <ostream>

#include "trace/Details.h"

namespace Trace {

// For terminals and tickets: totals, the first thing that went wrong with all that is known of it, then a
// line for each entry.
void WriteText(std::ostream& stream, const Story& story, Describer& describer);

// For programs: one JSON object with everything.
void WriteJson(std::ostream& stream, const Story& story, Describer& describer);

// A sequence diagram.
void WriteMermaid(std::ostream& stream, const Story& story, Describer& describer);

// The messages as an HTTP archive 1.2, for the viewers of browsers and proxies.
void WriteHar(std::ostream& stream, const Story& story, Describer& describer);

// What of an entry is the same in the text and on the page: "503", "9000 success".
[[nodiscard]] std::string OutcomeText(const Entry& entry, const Details& details);

// Where an entry stands: "device.jsonl:12".
[[nodiscard]] std::string PlaceOf(const Story& story, const Origin& origin);

// "2 problems", "1 problem"
[[nodiscard]] std::string Counted(std::size_t count, const std::string& one, const std::string& many);

}  // namespace Trace
