// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/CatalogueReader.h"

#include <algorithm>

#include "globalplatform/Aes.h"
#include "globalplatform/Scp03.h"
#include "keyserver/provisioning/ActionReader.h"
#include "keyserver/provisioning/ValueReader.h"

namespace fs = std::filesystem;

namespace KeyServer {

namespace {

using GlobalPlatform::AesKeyLength;
using GlobalPlatform::HexText;
using GlobalPlatform::LongestAesKey;
using GlobalPlatform::SecurityLevel;
using GlobalPlatform::StaticKeys;

// Of AES-128, 192 or 256, and all of one length; Amendment D, 6.1.
StaticKeys ReadKeys(const Place& place) {
    const auto read = [&](const char* name) { return ReadHex(place.At(name), AesKeyLength, LongestAesKey); };
    StaticKeys keys{read("enc"), read("mac"), read("dek")};
    if (!AreChannelKeys(keys)) {
        place.Complain("the keys must have 16, 24 or 32 bytes, all the same");
    }
    return keys;
}

KeyRing ReadKeyRing(const Place& place) {
    KeyRing ring;
    ReadEach(place.Items(), [&ring](const Place& keys) {
        keys.OnlyMembers({"version", "enc", "mac", "dek", "comment"});
        const std::uint8_t version = ReadByte(keys.At("version"));
        if (version == 0) {
            keys.At("version").Complain("version 00 is none: it leaves the choice to the card");
        }
        if (!ring.insert({version, ReadKeys(keys)}).second) {
            keys.At("version").Complain("there are keys of version " + HexText({version}) + " already");
        }
    });
    return ring;
}

struct NamedLevel {
    const char* name;
    SecurityLevel level;
};

constexpr NamedLevel Levels[] = {
    {"none", SecurityLevel::None},
    {"mac", SecurityLevel::CommandMac},
    {"mac+encryption", SecurityLevel::CommandMacAndDecryption},
    {"mac+r-mac", SecurityLevel::CommandAndResponseMac},
    {"mac+encryption+r-mac", SecurityLevel::DecryptionAndResponseMac},
    {"mac+encryption+r-mac+r-encryption", SecurityLevel::BothEncrypted}};

SecurityLevel ReadLevel(const Place& place) {
    const std::string level = place.Text();
    std::string known;
    for (const NamedLevel& each : Levels) {
        if (level == each.name) {
            return each.level;
        }
        known += (known.empty() ? "\"" : ", \"") + std::string(each.name) + "\"";
    }
    place.Complain("must be one of " + known + ", not \"" + level + "\"");
}

std::string ReadSeIdPattern(const Place& place) {
    constexpr std::size_t SeIdLength = 36;
    const std::string pattern = place.NonEmptyText();
    const bool open = pattern.back() == '*';
    const std::string digits = open ? pattern.substr(0, pattern.size() - 1) : pattern;
    const bool good = digits.find_first_not_of("0123456789abcdefABCDEFxX") == std::string::npos;
    if (!good || digits.size() > SeIdLength) {
        place.Complain(
            "\"" + pattern +
            "\" is no card; it has up to 36 hexadecimal digits, x for any digit, and at will * at its end");
    }
    return pattern;
}

ChannelPlan ReadChannel(const Place& service, const DomainAccess& access) {
    const KeyRing& ring = *access.keyRing;
    ChannelPlan plan;
    plan.domain = access.aid;
    if (service.Has("keyVersion")) {
        plan.keyVersion = ReadKnownVersion(service.At("keyVersion"), ring);
    }
    if (service.Has("security")) {
        plan.level = ReadLevel(service.At("security"));
    }
    if (service.Has("hostChallenge")) {
        plan.hostChallenge = ReadHex(
            service.At("hostChallenge"), GlobalPlatform::ChallengeLength, GlobalPlatform::ChallengeLength);
    }
    return plan;
}

void ReadOptionalParts(const Place& place, CardService& service) {
    if (place.Has("seId")) {
        for (const Place& pattern : place.At("seId").OneOrMore()) {
            service.seIdPatterns.push_back(ReadSeIdPattern(pattern));
        }
    }
    if (place.Has("finalCode")) {
        service.finalCode = ReadEndingCode(place.At("finalCode"));
    }
    if (place.Has("commandsPerTurn")) {
        service.commandsPerTurn = place.At("commandsPerTurn").Number(1, 64);
    }
    if (place.Has("misbehaviours")) {
        for (const Place& misbehaviour : place.At("misbehaviours").Items()) {
            service.misbehaviours.push_back(ReadMisbehaviour(misbehaviour));
        }
    }
}

// What a whole catalogue says for each of its services.
struct Setting {
    fs::path folder;
    DomainAccess issuer;
    Domains domains;
    SignatureKeys signatureKeys;
    bool dryRun = false;  // nothing is to be changed on a card
};

// Each domain has its own keys, and those of the issuer domain serve it until they are there.
Domains ReadDomains(const Place& place, const KeyRing& issuerKeys) {
    Domains domains;
    ReadEach(place.Items(), [&](const Place& domain) {
        domain.OnlyMembers({"aid", "keys", "comment"});
        KeyRing ring = domain.Has("keys") ? ReadKeyRing(domain.At("keys")) : KeyRing();
        ring.insert(issuerKeys.begin(), issuerKeys.end());
        const Bytes aid = ReadAid(domain.At("aid"));
        if (!domains.emplace(aid, std::make_shared<const KeyRing>(std::move(ring))).second) {
            domain.At("aid").Complain("there is a domain " + HexText(aid) + " already");
        }
    });
    return domains;
}

Delegation ReadDelegation(const Place& service, const SignatureKeys& keys) {
    Delegation delegation;
    if (service.Has("tokenKey")) {
        delegation.tokenKey = ReadNamedKey(service.At("tokenKey"), keys);
    }
    if (service.Has("receiptKey")) {
        delegation.receiptKey = ReadNamedKey(service.At("receiptKey"), keys);
    }
    return delegation;
}

bool OnlyLooks(const Place& action) {
    const std::string name = action.At("do").Text();
    return name == "list" || name == "read";
}

// What an action enters, those behind it are for. All are read, so that mistakes are found in those too that
// a dry run leaves out. SELECT is one of them: what it selects would get the commands of a channel that it
// ends. So is all that stands behind an entry, since the domain may not be there.
void ReadActions(const Place& place, ActionSetting setting, bool dryRun, CardService& service) {
    std::size_t leftOut = 0;
    bool entered = false;
    ReadEach(place.Items(), [&](const Place& each) {
        std::unique_ptr<const Action> action = ReadAction(each, setting);
        if (const std::optional<DomainAccess>& domain = action->enters) {
            setting.domain = domain->aid;
            setting.keyRing = domain->keyRing;
            entered = true;
        }
        if (dryRun && (entered || !OnlyLooks(each))) {
            ++leftOut;
        } else {
            service.actions.push_back(std::move(action));
        }
    });
    if (service.actions.empty()) {
        place.Complain("a dry run leaves nothing of these; add {\"do\": \"list\"}");
    }
    if (leftOut > 0) {
        service.name +=
            " (dry run, " + std::to_string(leftOut) + (leftOut == 1 ? " action" : " actions") + " left out)";
    }
}

std::shared_ptr<const CardService> ReadService(const Place& place, const Setting& whole) {
    place.MustBe(JsonValue::Kind::Object);
    auto service = std::make_shared<CardService>();
    Gathering gathering;
    gathering.Read([&] {
        place.OnlyMembers(
            {"serviceId", "name", "seId", "securityDomain", "keyVersion", "security", "hostChallenge",
             "tokenKey", "receiptKey", "commandsPerTurn", "finalCode", "misbehaviours", "actions"});
    });
    gathering.Read([&] {
        for (const Place& id : place.At("serviceId").OneOrMore()) {
            service->serviceIds.push_back(ReadServiceId(id));
        }
        service->name = place.Has("name") ? place.At("name").NonEmptyText() : service->serviceIds.front();
    });
    DomainAccess access = whole.issuer;
    gathering.Read([&] {
        if (place.Has("securityDomain")) {
            access = ReadDomain(place.At("securityDomain"), whole.domains);
        }
    });
    service->keyRing = access.keyRing;
    gathering.Read([&] { service->channel = ReadChannel(place, access); });
    gathering.Read([&] { ReadOptionalParts(place, *service); });
    Delegation delegation;
    gathering.Read([&] { delegation = ReadDelegation(place, whole.signatureKeys); });
    const ActionSetting setting{whole.folder,  access.keyRing,      service->channel.level,
                                whole.domains, whole.signatureKeys, delegation,
                                access.aid};
    gathering.Read([&] { ReadActions(place.At("actions"), setting, whole.dryRun, *service); });
    gathering.End();
    return service;
}

void RefuseServedTwice(const Place& place, const std::vector<std::shared_ptr<const CardService>>& services) {
    for (const std::string& id : services.back()->serviceIds) {
        for (std::size_t i = 0; i + 1 < services.size(); ++i) {
            const auto& others = services[i]->serviceIds;
            if (std::find(others.begin(), others.end(), id) != others.end()) {
                place.At("serviceId").Complain("\"" + id + "\" is served already");
            }
        }
    }
}

// What services name.
void ReadDomainsAndKeys(const Place& place, Gathering& gathering, Setting& setting) {
    gathering.Read([&] {
        if (place.Has("domains")) {
            setting.domains = ReadDomains(place.At("domains"), *setting.issuer.keyRing);
        }
    });
    if (!setting.issuer.aid.empty()) {
        setting.domains.emplace(setting.issuer.aid, setting.issuer.keyRing);
    }
    gathering.Read([&] {
        if (place.Has("signatureKeys")) {
            setting.signatureKeys = ReadSignatureKeys(place.At("signatureKeys"));
        }
    });
}

}  // namespace

std::vector<std::shared_ptr<const CardService>> ParseCatalogue(
    const std::string& text, const std::string& origin, const fs::path& folder) {
    const JsonValue whole = ParseFile(text, origin);
    const Place place(whole, origin);
    place.MustBe(JsonValue::Kind::Object);
    Gathering gathering;
    gathering.Read([&] {
        place.OnlyMembers(
            {"$schema", "comment", "cardKeys", "dryRun", "issuerDomain", "domains", "signatureKeys",
             "services"});
    });
    Setting setting;
    setting.folder = folder;
    gathering.Read([&] {
        setting.issuer.aid = place.Has("issuerDomain") ? ReadAid(place.At("issuerDomain")) : Bytes();
    });
    gathering.Read([&] { setting.dryRun = place.Has("dryRun") && place.At("dryRun").Flag(); });
    gathering.Read(
        [&] { setting.issuer.keyRing = std::make_shared<const KeyRing>(ReadKeyRing(place.At("cardKeys"))); });
    if (setting.issuer.keyRing != nullptr) {
        ReadDomainsAndKeys(place, gathering, setting);
    }
    std::vector<std::shared_ptr<const CardService>> services;
    gathering.Read([&] {
        // Services name versions of these keys.
        if (setting.issuer.keyRing != nullptr) {
            ReadEach(place.At("services").Items(), [&](const Place& service) {
                services.push_back(ReadService(service, setting));
                RefuseServedTwice(service, services);
            });
        }
    });
    gathering.End();
    return services;
}

void AddCatalogueFile(const std::string& file, Catalogue& catalogue) {
    for (const auto& service : ParseCatalogue(ReadWholeFile(file), file, fs::path(file).parent_path())) {
        for (const std::string& id : service->serviceIds) {
            if (const auto other = catalogue.Find(id)) {
                throw ScriptError(file + ": \"" + other->Name() + "\" serves \"" + id + "\" already");
            }
        }
        catalogue.services.push_back(service);
    }
}

}  // namespace KeyServer
