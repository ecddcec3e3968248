// SPDX-License-Identifier: Apache-2.0
// The kinds of actions: commands that are known beforehand, and those that depend on the card's answers.
#pragma once

#include "keyserver/provisioning/CardContents.h"
#include "keyserver/provisioning/CardService.h"
#include "keyserver/provisioning/DomainCommands.h"

namespace KeyServer {

// Commands in their order. `showsData` makes the data of each response a finding; with a key, what has a
// receipt is checked, and its number is one.
class FixedAction final : public Action {
public:
    explicit FixedAction(
        std::vector<PlainCommand> fixed, bool showsData = false,
        std::optional<GlobalPlatform::KeyComponents> key = std::nullopt)
        : commands(std::move(fixed)), shows(showsData), receiptKey(std::move(key)) {}

    std::unique_ptr<ActionCourse> Begin(const ChannelKeys& channel) const override;

private:
    const std::vector<PlainCommand> commands;
    const bool shows;
    const std::optional<GlobalPlatform::KeyComponents> receiptKey;
};

// Puts one key.
class StoreKeyAction final : public Action {
public:
    explicit StoreKeyAction(KeyOrder keyOrder) : order(std::move(keyOrder)) {}

    std::unique_ptr<ActionCourse> Begin(const ChannelKeys& channel) const override;

private:
    const KeyOrder order;
};

// GET STATUS for each subset, continued as long as the card has more. The findings are the entries.
class ListAction final : public Action {
public:
    explicit ListAction(std::vector<CardSubset> listed) : subsets(std::move(listed)) {}

    std::unique_ptr<ActionCourse> Begin(const ChannelKeys& channel) const override;

private:
    const std::vector<CardSubset> subsets;
};

// Reads which key versions the card has, then puts the keys of one version: in place of `replaced` when it is
// given, in place of the same version when the card has it already, else as a new version.
class PutKeyAction final : public Action {
public:
    PutKeyAction(
        std::uint8_t newVersion, GlobalPlatform::StaticKeys newKeys, std::optional<std::uint8_t> oldVersion)
        : version(newVersion), keys(std::move(newKeys)), replaced(oldVersion) {}

    std::unique_ptr<ActionCourse> Begin(const ChannelKeys& channel) const override;

private:
    const std::uint8_t version;
    const GlobalPlatform::StaticKeys keys;
    const std::optional<std::uint8_t> replaced;
};

}  // namespace KeyServer
