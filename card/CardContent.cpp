// SPDX-License-Identifier: Apache-2.0
#include "card/CardContent.h"

#include <algorithm>

#include "globalplatform/Aid.h"

namespace Card {

namespace {

constexpr std::uint8_t EncryptionKeyIdentifier = 1;
constexpr std::uint8_t MacKeyIdentifier = 2;
constexpr std::uint8_t DataEncryptionKeyIdentifier = 3;

template <typename Items>
auto FindByAid(Items& items, const Bytes& aid) -> decltype(items.data()) {
    const auto found =
        std::find_if(items.begin(), items.end(), [&](const auto& item) { return item.aid == aid; });
    return found == items.end() ? nullptr : &*found;
}

LoadFile DomainPackage() {
    LoadFile file;
    file.aid = DomainPackageAid();
    file.describesItself = true;
    file.modules.push_back(DomainModuleAid());
    return file;
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

bool Application::Has(std::uint32_t privilege) const {
    return (FromBigEndian(privileges) & privilege) == privilege;
}

KeySets::const_iterator Application::FirstCompleteSet() const {
    return std::find_if(
        keySets.begin(), keySets.end(), [](const auto& versioned) { return versioned.second.Complete(); });
}

CardContent::CardContent(const Options& options) {
    issuerDomain.aid = options.issuerAid;
    issuerDomain.privileges = {0x9E, 0xFE, 0x80};
    issuerDomain.state = options.lifeCycle;
    issuerDomain.keySets[options.keyVersion].keys = {
        {EncryptionKeyIdentifier, AesKey(options.keys.encryption)},
        {MacKeyIdentifier, AesKey(options.keys.mac)},
        {DataEncryptionKeyIdentifier, AesKey(options.keys.dataEncryption)}};
    if (!IsTaken(DomainPackageAid())) {
        loadFiles.push_back(DomainPackage());
    }
}

Bytes CardContent::IssuerPrivileges() const {
    std::uint64_t privileges = FromBigEndian(issuerDomain.privileges);
    for (const std::uint32_t single : {Privilege::CardReset, Privilege::FinalApplication}) {
        if (HolderOf(single) != nullptr) {
            privileges &= ~std::uint64_t{single};
        }
    }
    return BigEndian(privileges, PrivilegesLength);
}

const Application* CardContent::HolderOf(std::uint32_t privilege) const {
    const auto found = std::find_if(
        applications.begin(), applications.end(),
        [privilege](const Application& each) { return each.Has(privilege); });
    return found == applications.end() ? nullptr : &*found;
}

const Application& CardContent::FinalApplication() const {
    const Application* holder = HolderOf(Privilege::FinalApplication);
    return holder == nullptr ? issuerDomain : *holder;
}

const LoadFile* CardContent::FindLoadFile(const Bytes& aid) const {
    return FindByAid(loadFiles, aid);
}

LoadFile* CardContent::FindLoadFile(const Bytes& aid) {
    return FindByAid(loadFiles, aid);
}

const Application* CardContent::FindApplication(const Bytes& aid) const {
    return FindByAid(applications, aid);
}

Application* CardContent::FindApplication(const Bytes& aid) {
    return FindByAid(applications, aid);
}

const Application* CardContent::FindSelectable(const Bytes& aid) const {
    return aid == issuerDomain.aid ? &issuerDomain : FindApplication(aid);
}

Application* CardContent::FindSelectable(const Bytes& aid) {
    return aid == issuerDomain.aid ? &issuerDomain : FindApplication(aid);
}

const Application* CardContent::FindDomain(const Bytes& aid) const {
    const Application* found = FindSelectable(aid);
    return found != nullptr && found->IsDomain() ? found : nullptr;
}

const Application* CardContent::Associated(const Association& association) const {
    return association.empty() ? &issuerDomain : FindApplication(association);
}

Application* CardContent::Associated(const Association& association) {
    return association.empty() ? &issuerDomain : FindApplication(association);
}

Association CardContent::AssociationWith(const Application& domain) const {
    return IsIssuer(domain) ? Association() : domain.aid;
}

bool CardContent::IsTaken(const Bytes& aid) const {
    return FindSelectable(aid) != nullptr || FindLoadFile(aid) != nullptr;
}

}  // namespace Card
