// SPDX-License-Identifier: Apache-2.0
#include "card/ManagementKeys.h"

#include "card/Refusal.h"
#include "globalplatform/Des.h"
#include "globalplatform/Signature.h"

namespace Card {

namespace {

bool IsCipherKey(const KeyComponents& key) {
    const KeyComponent& first = key.front();
    return first.type == KeyType::Aes ||
           (first.type == KeyType::Des && first.value.size() == DesMacKeyLength);
}

const KeyComponents& RequireKey(
    const Application& domain, std::uint8_t version, bool (*suits)(const KeyComponents&)) {
    const auto set = domain.keySets.find(version);
    if (set != domain.keySets.end()) {
        for (const auto& numbered : set->second.keys) {
            if (suits(numbered.second.components)) {
                return numbered.second.components;
            }
        }
    }
    Refuse(StatusWord::ConditionsNotSatisfied);
}

}  // namespace

const KeyComponents& RequireVerificationKey(const Application& domain, std::uint8_t version) {
    return RequireKey(domain, version, IsVerificationKey);
}

const KeyComponents& RequireSigningKey(const Application& domain, std::uint8_t version) {
    return RequireKey(domain, version, IsSigningKey);
}

const KeyComponents& RequireCipherKey(const Application& domain, std::uint8_t version) {
    return RequireKey(domain, version, IsCipherKey);
}

}  // namespace Card
