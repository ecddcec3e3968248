// SPDX-License-Identifier: Apache-2.0
#include "card/Listing.h"

#include <iterator>

#include "card/Memory.h"
#include "globalplatform/KeyType.h"
#include "globalplatform/Names.h"

namespace Card {

namespace {

constexpr char Indentation[] = "    ";

std::string Count(std::uint64_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text.empty() ? "none" : text;
}

void AddLine(std::string& text, const std::string& label, const std::string& value) {
    text += Indentation + label + ": " + value + "\n";
}

std::string KeyName(std::uint8_t type) {
    switch (type) {
        case KeyType::Des:
            return "DES";
        case KeyType::Aes:
            return "AES";
        case KeyType::PreSharedKey:
            return "TLS PSK";
        case KeyType::HmacImplicit:
        case KeyType::Hmac160:
            return "HMAC";
        default:
            return type >= KeyType::EccPublic ? "ECC" : "RSA";
    }
}

// "01 AES-128"; of a key in parts, its kind alone.
std::string KeyWords(std::uint8_t identifier, const Key& key) {
    std::string words = HexText({identifier}) + " " + KeyName(key.components.front().type);
    if (key.components.size() == 1) {
        words += "-" + std::to_string(8 * key.Length());
    }
    return words;
}

void AddKeys(std::string& text, const KeySets& sets) {
    for (const auto& [version, set] : sets) {
        std::vector<std::string> words;
        for (const auto& [identifier, key] : set.keys) {
            words.push_back(KeyWords(identifier, key));
        }
        const std::string initial = version == InitialKeyVersion ? " (initial)" : "";
        AddLine(
            text, "keys of version " + std::to_string(version) + initial,
            Joined(words) + "; sequence counter " + std::to_string(set.sequenceCounter));
    }
}

// Tags of one byte stand so.
std::string TagText(std::uint32_t tag) {
    std::size_t width = 1;
    if (tag > 0xFF) {
        width = tag > 0xFFFF ? 3 : 2;
    }
    return HexText(BigEndian(tag, width));
}

void AddData(std::string& text, const StoredData& data) {
    std::vector<std::string> words;
    for (const auto& [tag, value] : data) {
        words.push_back(TagText(tag) + " (" + Count(value.size(), "byte") + ")");
    }
    if (!words.empty()) {
        AddLine(text, "data", Joined(words));
    }
}

// What is forbidden for good, by the bits of table 11-53.
void AddRestrictions(std::string& text, std::uint8_t restrictions) {
    constexpr const char* Manners[] = {"delete",    "load",        "install",        "make selectable",
                                       "extradite", "personalize", "update registry"};
    std::vector<std::string> words;
    for (std::size_t bit = 0; bit < std::size(Manners); ++bit) {
        if ((restrictions >> bit & 1U) != 0) {
            words.emplace_back(Manners[bit]);
        }
    }
    if (!words.empty()) {
        AddLine(text, "never again", Joined(words));
    }
}

// What is with the issuer domain needs no word.
void AddAssociation(std::string& text, const Association& domain, const Bytes& aid) {
    if (!domain.empty()) {
        AddLine(text, "belongs to", domain == aid ? "itself" : "security domain " + HexText(domain));
    }
}

// A domain without keys of its own is served by those above it, where failures are counted.
void AddKeysAndData(std::string& text, const Application& domain, const Options& options) {
    AddKeys(text, domain.keySets);
    if (domain.OpensChannels()) {
        AddLine(
            text, "failed authentications in a row",
            std::to_string(domain.failedAuthentications) + " of " +
                std::to_string(options.authenticationAttempts));
    }
    AddRestrictions(text, domain.restrictions);
    AddData(text, domain.data);
}

void AddIssuerDomain(std::string& text, const CardContent& content, const Options& options) {
    text += "issuer security domain " + HexText(content.issuerDomain.aid) + "\n";
    AddLine(text, "privileges", Joined(PrivilegeNames(content.IssuerPrivileges())));
    AddKeysAndData(text, content.issuerDomain, options);
}

void AddPackage(std::string& text, const LoadFile& file) {
    text += "package " + HexText(file.aid) + ", ";
    text += file.CameWithTheCard() ? "came with the card" : Count(file.size, "byte");
    if (file.version.size() == 2) {
        text += ", version " + std::to_string(file.version[0]) + "." + std::to_string(file.version[1]);
    }
    text += "\n";
    AddAssociation(text, file.domain, file.aid);
    for (const Bytes& module : file.modules) {
        AddLine(text, "module", HexText(module));
    }
    if (!file.describesItself) {
        AddLine(text, "modules", "its code does not say");
    }
}

std::string StateName(const Application& application) {
    const std::uint8_t unlocked = application.state & static_cast<std::uint8_t>(~LifeCycle::LockedFlag);
    if (application.IsDomain() && unlocked == LifeCycle::Personalized) {
        return application.IsLocked() ? "LOCKED, was PERSONALIZED" : "PERSONALIZED";
    }
    return ApplicationStateName(application.state);
}

void AddLimits(std::string& text, const std::string& label, const MemoryLimits& limits) {
    if (limits.reserved > 0) {
        AddLine(text, label + " reserved", Count(limits.reserved, "byte"));
    }
    if (limits.quota) {
        AddLine(text, label + " at most", Count(*limits.quota, "byte"));
    }
}

void AddApplication(std::string& text, const Application& application, const Options& options) {
    text += application.IsDomain() ? "security domain " : "application ";
    text += HexText(application.aid) + ", " + StateName(application) + "\n";
    AddLine(
        text, "from",
        "module " + HexText(application.module) + " of package " + HexText(application.loadFile));
    AddAssociation(text, application.domain, application.aid);
    AddLine(text, "privileges", Joined(PrivilegeNames(application.privileges)));
    if (!application.implicitSelection.empty()) {
        AddLine(text, "selected by itself where", HexText(application.implicitSelection));
    }
    AddLimits(text, "memory", application.memory);
    AddLimits(text, "volatile memory", application.volatileMemory);
    AddKeysAndData(text, application, options);
    for (const auto& [name, value] : application.counters) {
        AddLine(text, "counter " + name, std::to_string(value));
    }
}

}  // namespace

std::string Listing(const CardContent& content, const Options& options) {
    std::string text = "card, " + CardStateName(content.issuerDomain.state) + "\n";
    AddLine(
        text, "memory",
        std::to_string(UsedMemory(content)) + " of " + Count(options.memory, "byte") + " in use");
    AddRestrictions(text, content.restrictions);
    AddIssuerDomain(text, content, options);
    for (const LoadFile& file : content.loadFiles) {
        AddPackage(text, file);
    }
    for (const Application& application : content.applications) {
        AddApplication(text, application, options);
    }
    return text;
}

}  // namespace Card
