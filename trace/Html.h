// SPDX-License-Identifier: Apache-2.0
// One page that holds all of a story, and needs nothing else: no network, no other file.
#pragma once

#include "trace/Output.h"

namespace Trace {

void WriteHtml(std::ostream& stream, const Story& story, Describer& describer);

// A page that asks who served it for more, and what it then gets: the head, and each entry on a line.
void WriteLivePage(std::ostream& stream, const Story& story, Describer& describer);
void WriteLines(std::ostream& stream, const Story& story, Describer& describer);

// What the page is made of; the build puts the files of trace/page here.
extern const std::string_view PageScript;
extern const std::string_view PageStyle;
extern const std::string_view PageFrame;

}  // namespace Trace
