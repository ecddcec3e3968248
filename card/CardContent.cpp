// SPDX-License-Identifier: Apache-2.0
#include "card/CardContent.h"

#include <algorithm>

#include "globalplatform/Aes.h"

namespace Card {

namespace {

// The set of three that a card has at first is no part of what it is sold as.
constexpr std::uint64_t FirstKeysMemory = 3 * AesKeyLength;

constexpr std::uint8_t EncryptionKeyIdentifier = 1;
constexpr std::uint8_t MacKeyIdentifier = 2;
constexpr std::uint8_t DataEncryptionKeyIdentifier = 3;

template <typename Items>
auto FindByAid(Items& items, const Bytes& aid) -> decltype(items.data()) {
    const auto found =
        std::find_if(items.begin(), items.end(), [&](const auto& item) { return item.aid == aid; });
    return found == items.end() ? nullptr : &*found;
}

std::uint64_t DataMemory(const StoredData& data) {
    std::uint64_t size = 0;
    for (const auto& object : data) {
        size += ObjectMemory + object.second.size();
    }
    return size;
}

}  // namespace

bool KeySet::Complete() const {
    std::size_t length = 0;
    for (const std::uint8_t identifier :
         {EncryptionKeyIdentifier, MacKeyIdentifier, DataEncryptionKeyIdentifier}) {
        const auto found = keys.find(identifier);
        if (found == keys.end() || !found->second.IsAes() ||
            (length != 0 && found->second.Length() != length)) {
            return false;
        }
        length = found->second.Length();
    }
    return true;
}

StaticKeys KeySet::Static() const {
    const auto value = [this](std::uint8_t identifier) { return keys.at(identifier).Value(); };
    return {value(EncryptionKeyIdentifier), value(MacKeyIdentifier), value(DataEncryptionKeyIdentifier)};
}

CardContent::CardContent(const Options& options) {
    issuerDomain.aid = options.issuerAid;
    issuerDomain.privileges = {0x9E, 0xFE, 0x80};
    issuerDomain.state = options.lifeCycle;
    keySets[options.keyVersion].keys = {
        {EncryptionKeyIdentifier, AesKey(options.keys.encryption)},
        {MacKeyIdentifier, AesKey(options.keys.mac)},
        {DataEncryptionKeyIdentifier, AesKey(options.keys.dataEncryption)}};
}

Bytes CardContent::IssuerPrivileges() const {
    Bytes privileges = issuerDomain.privileges;
    const bool lent = std::any_of(applications.begin(), applications.end(), [](const Application& each) {
        return each.HasCardReset();
    });
    if (lent) {
        privileges.front() &= static_cast<std::uint8_t>(~CardResetPrivilege);
    }
    return privileges;
}

const LoadFile* CardContent::FindLoadFile(const Bytes& aid) const {
    return FindByAid(loadFiles, aid);
}

const Application* CardContent::FindApplication(const Bytes& aid) const {
    return FindByAid(applications, aid);
}

Application* CardContent::FindApplication(const Bytes& aid) {
    return FindByAid(applications, aid);
}

bool CardContent::IsTaken(const Bytes& aid) const {
    return issuerDomain.aid == aid || FindLoadFile(aid) != nullptr || FindApplication(aid) != nullptr;
}

std::map<std::uint8_t, KeySet>::const_iterator CardContent::FirstCompleteSet() const {
    return std::find_if(
        keySets.begin(), keySets.end(), [](const auto& versioned) { return versioned.second.Complete(); });
}

std::uint64_t CardContent::UsedMemory() const {
    std::uint64_t used = DataMemory(issuerDomain.data);
    for (const LoadFile& file : loadFiles) {
        used += LoadFileMemory + file.size;
    }
    for (const Application& application : applications) {
        used += InstanceMemory + application.parameters + DataMemory(application.data);
    }
    std::uint64_t keys = 0;
    for (const auto& versioned : keySets) {
        for (const auto& numbered : versioned.second.keys) {
            keys += numbered.second.Length();
        }
    }
    return used + keys - std::min(keys, FirstKeysMemory);
}

std::uint64_t FreeMemory(const CardContent& content, const Options& options) {
    return options.memory - std::min(options.memory, content.UsedMemory());
}

bool BeginsWith(const Bytes& aid, const Bytes& beginning) {
    return aid.size() >= beginning.size() && std::equal(beginning.begin(), beginning.end(), aid.begin());
}

}  // namespace Card
