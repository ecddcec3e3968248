// SPDX-License-Identifier: Apache-2.0
// What the readers of a catalogue's actions have in common. All of it throws ScriptError.
#pragma once

#include <filesystem>
#include <memory>

#include "keyserver/provisioning/CardService.h"
#include "keyserver/provisioning/Signing.h"
#include "keyserver/service/Reading.h"

namespace KeyServer {

using Domains = std::map<Bytes, std::shared_ptr<const KeyRing>>;  // by AID

// What the rest of the catalogue has to say about an action, and the actions before it.
struct ActionSetting {
    std::filesystem::path folder;  // of load files
    std::shared_ptr<const KeyRing> keyRing;
    GlobalPlatform::SecurityLevel level;
    const Domains& domains;
    const SignatureKeys& signatureKeys;
    const Delegation& delegation;
    Bytes domain;  // that the channel is open to; empty for an issuer domain that has no name here
};

// The members that every action may have come with those of its kind.
void ActionMembers(const Place& place, std::vector<std::string> ofKind);

// Complains of a command that has no room in a short one.
void CheckRoom(const Place& place, const std::vector<PlainCommand>& commands, const ActionSetting& setting);

// An action of these commands, with tokens and checked receipts where the service is under delegation.
[[nodiscard]] std::unique_ptr<Action> FixedCommands(
    const Place& place, const ActionSetting& setting, std::vector<PlainCommand> commands);

// One of the catalogue's domains.
[[nodiscard]] DomainAccess ReadDomain(const Place& place, const Domains& domains);

// The keys of the version that the place names.
[[nodiscard]] std::uint8_t ReadKnownVersion(const Place& place, const KeyRing& keyRing);

}  // namespace KeyServer
