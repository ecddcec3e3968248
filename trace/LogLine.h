// SPDX-License-Identifier: Apache-2.0
// One line of a log, in each of the forms in which the service's lines come to people:
//
//   D/NavoAgent( 1234): text                                      as the desk writes it
//   03-01 12:00:00.250+0900 P 1234 T 1240 D/NavoAgent: text        dlogutil -v threadtime
//   03-01 12:00:00.250  1234  1240 D NavoAgent: text               the same of other releases
//   03-01 12:00:00.250+0900 D/NavoAgent( 1234): text               dlogutil -v time
//   Mar 01 12:00:00.250000 host NavoAgent[1234]: D/NavoAgent( 1234): text      journalctl
//   2026-03-01T12:00:00+0000 host NavoAgent[1234]: text                        journalctl -o short-iso
#pragma once

#include "trace/Clock.h"

namespace Trace {

struct LogLine {
    std::optional<Microseconds> time;
    char priority = '\0';  // 'E', 'I', 'D'; '\0' when the form has none
    std::string_view tag;
    long process = 0;
    std::string_view text;
};

// Nothing for a line of no such form. Views are into `line`. A time without a year is the last such before
// `now`; one without a zone is taken as UTC.
[[nodiscard]] std::optional<LogLine> ReadLogLine(std::string_view line, Microseconds now);

}  // namespace Trace
