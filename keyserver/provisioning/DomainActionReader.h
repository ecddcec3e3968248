// SPDX-License-Identifier: Apache-2.0
// Reads the actions of a catalogue that are about security domains.
#pragma once

#include "keyserver/provisioning/ActionSetting.h"

namespace KeyServer {

// Each throws ScriptError. They are the readers of the actions with these names.
[[nodiscard]] std::unique_ptr<Action> ReadInstallDomain(const Place& place, const ActionSetting& setting);
[[nodiscard]] std::unique_ptr<Action> ReadEnter(const Place& place, const ActionSetting& setting);
[[nodiscard]] std::unique_ptr<Action> ReadExtradite(const Place& place, const ActionSetting& setting);
[[nodiscard]] std::unique_ptr<Action> ReadUpdateRegistry(const Place& place, const ActionSetting& setting);
[[nodiscard]] std::unique_ptr<Action> ReadStoreKey(const Place& place, const ActionSetting& setting);

}  // namespace KeyServer
