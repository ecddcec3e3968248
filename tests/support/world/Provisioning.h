// SPDX-License-Identifier: Apache-2.0
// The shipped provisioning service, as tests run it on a card: list, delete, load, install, personalise,
// change keys, select, change state, list.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/world/World.h"

struct ProvisioningOptions {
    // Fixed, so that a recorded session can be replayed; random when empty.
    std::string hostChallenge = "0102030405060708";
    std::string security = "mac+encryption";
    std::string keyVersion;  // the card's choice when empty

    // Card keys by their version, one for all three purposes, in place of those that the catalogue has for
    // it.
    std::map<std::string, std::string> keys;

    bool withoutDeliveryKeys = false;  // the catalogue has not the keys that a new card comes with
    std::vector<std::string> seIds;    // patterns of the cards that are served; all when empty
};

constexpr char ProvisioningService[] = "demo.wallet";

// AIDs of what the service leaves on the card.
constexpr char ProvisionedLoadFile[] = "A0000008410001";
constexpr char ProvisionedApplication[] = "A00000084100010101";

// Writes the catalogue into the world's folder; its name, for --catalogue of the key server.
std::string ProvisioningCatalogue(const World& world, const ProvisioningOptions& options = {});

// What became of one run.
struct ProvisioningOutcome {
    std::string returnCode;  // as the service reports it
    std::vector<std::string> progress;
    std::vector<std::string> notes;      // of the key server: what it found on the card, in order
    std::string remark;                  // the key server's last: why the session ended
    std::vector<std::string> exchanges;  // response sets, as the key server got them
};

// Starts a key server with the catalogue, runs the service once for the test's own process, and ends the
// server.
ProvisioningOutcome RunProvisioning(
    World& world, const ProvisioningOptions& options = {},
    const std::vector<std::string>& serverOptions = {});
