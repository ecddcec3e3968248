// SPDX-License-Identifier: Apache-2.0
// Where two stories part.
#pragma once

#include <ostream>

#include "trace/Details.h"

namespace Trace {

// Says of the commands for the card, one after the other, which is the first that differs and which answer,
// and the same of messages' results. True when nothing differs. What a secure channel makes different each
// time (challenges, cryptograms, codes and what is encrypted) does not count, unless the keys tell what it
// holds.
bool WriteDifference(
    std::ostream& stream, const Story& left, const Story& right, bool hides, const ChannelKeys& keys);

}  // namespace Trace
