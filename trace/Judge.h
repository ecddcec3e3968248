// SPDX-License-Identifier: Apache-2.0
// What went wrong, and why by the table of causes.
#pragma once

#include "trace/Entry.h"

namespace Trace {

// Gives each entry its state, failure and causes, and names the first that failed. What failed only because
// something else did is red too, but comes later.
void Judge(Story& story);

// Where the time went. The story is judged.
void AddUp(Story& story);

}  // namespace Trace
