// SPDX-License-Identifier: Apache-2.0
// Makes one story of several inputs. What two of them tell is told once; clocks that differ are set by what
// must come before what.
#pragma once

#include "trace/Input.h"

namespace Trace {

// Entries in their order, with jobs and times; nothing is judged yet.
[[nodiscard]] Story Join(std::vector<Reading> readings);

// Parts of it.
namespace Joining {

using Entries = std::vector<Entry>;

// Log and recording of one device: each command once.
[[nodiscard]] Entries JoinDevice(Entries log, Entries recording, Story& story);

// What a key server recorded, put where it belongs.
[[nodiscard]] Entries JoinServer(Entries device, Entries server, Story& story);

// Counts jobs where no log does, and gives times to entries that have none.
void CompleteTimeline(Entries& entries);

void MoveClock(Entries& entries, Microseconds shift, Story& story);

}  // namespace Joining

}  // namespace Trace
