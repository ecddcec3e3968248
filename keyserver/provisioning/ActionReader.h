// SPDX-License-Identifier: Apache-2.0
// Reads the actions of a catalogue and checks that each command fits the channel.
#pragma once

#include <filesystem>
#include <memory>

#include "keyserver/provisioning/CardService.h"
#include "keyserver/service/Reading.h"

namespace KeyServer {

// What the rest of the catalogue has to say about an action.
struct ActionSetting {
    std::filesystem::path folder;  // of load files
    const KeyRing& keyRing;
    GlobalPlatform::SecurityLevel level;
};

// Throws ScriptError.
[[nodiscard]] std::unique_ptr<const Action> ReadAction(const Place& place, const ActionSetting& setting);

[[nodiscard]] Bytes ReadHex(const Place& place, std::size_t least, std::size_t most);
[[nodiscard]] std::uint8_t ReadByte(const Place& place);

[[nodiscard]] Bytes ReadAid(const Place& place);

// The keys of the version that the place names.
[[nodiscard]] std::uint8_t ReadKnownVersion(const Place& place, const KeyRing& keyRing);

}  // namespace KeyServer
