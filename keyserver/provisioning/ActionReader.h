// SPDX-License-Identifier: Apache-2.0
// Reads the actions of a catalogue and checks that each command fits the channel.
#pragma once

#include "keyserver/provisioning/ActionSetting.h"

namespace KeyServer {

// Throws ScriptError.
[[nodiscard]] std::unique_ptr<const Action> ReadAction(const Place& place, const ActionSetting& setting);

}  // namespace KeyServer
