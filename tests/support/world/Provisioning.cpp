// SPDX-License-Identifier: Apache-2.0
#include "tests/support/world/Provisioning.h"

#include <nlohmann/json.hpp>

#include "tests/support/Process.h"

namespace {

constexpr char Catalogues[] = NAVO_CATALOGUES_DIR;

void ChangeKeys(nlohmann::json& cardKeys, const ProvisioningOptions& options) {
    if (options.withoutDeliveryKeys) {
        cardKeys.erase(cardKeys.begin());
    }
    for (nlohmann::json& keys : cardKeys) {
        const auto found = options.keys.find(keys.at("version"));
        for (const char* purpose : {"enc", "mac", "dek"}) {
            if (found != options.keys.end()) {
                keys[purpose] = found->second;
            }
        }
    }
}

}  // namespace

std::string ProvisioningCatalogue(const World& world, const ProvisioningOptions& options) {
    const std::string folder = Catalogues;
    nlohmann::json catalogue = nlohmann::json::parse(TextOf(folder + "/wallet.json"));
    ChangeKeys(catalogue.at("cardKeys"), options);
    nlohmann::json& service = catalogue.at("services").at(0);
    service["security"] = options.security;
    if (!options.hostChallenge.empty()) {
        service["hostChallenge"] = options.hostChallenge;
    }
    if (!options.keyVersion.empty()) {
        service["keyVersion"] = options.keyVersion;
    }
    if (!options.seIds.empty()) {
        service["seId"] = options.seIds;
    }
    for (nlohmann::json& action : service.at("actions")) {
        if (action.contains("file")) {
            action["file"] = folder + "/" + action.at("file").get<std::string>();
        }
    }
    return world.Write("catalogue.json", catalogue.dump());
}

ProvisioningOutcome RunProvisioning(
    World& world, const ProvisioningOptions& options, const std::vector<std::string>& serverOptions) {
    std::vector<std::string> all{"--catalogue", ProvisioningCatalogue(world, options)};
    all.insert(all.end(), serverOptions.begin(), serverOptions.end());
    KeyServerProcess& server = world.StartKeyServer(all);
    const World::Job job = world.RunScript(ProvisioningService);
    ProvisioningOutcome outcome{job.returnCode, job.progress, {}, {}, {}};
    for (const KeyServerProcess::Message& message : server.Messages()) {
        outcome.notes.insert(outcome.notes.end(), message.notes.begin(), message.notes.end());
        outcome.remark = message.remark;
        const auto responses = message.fields.find("rApduSet");
        if (responses != message.fields.end()) {
            outcome.exchanges.push_back(responses->second);
        }
    }
    server.Stop();
    return outcome;
}
