// SPDX-License-Identifier: Apache-2.0
#include "card/StateText.h"

#include <algorithm>
#include <set>

#include "card/StateMembers.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Aid.h"

namespace Card {

namespace {

// Each of those before is read, in this order. In the first, of version 1.6.0, all keys are of AES-128;
// before the third, there is no domain but the issuer's.
constexpr const char* Formats[] = {"software-card-1", "software-card-2", "software-card-3"};
constexpr int FirstFormat = 1;
constexpr int Format = 3;

std::string Hex(std::uint8_t byte) {
    return HexText({byte});
}

Json EncodeData(const StoredData& data) {
    Json objects = Json::array();
    for (const auto& [tag, value] : data) {
        objects.push_back(
            {{"tag", HexText(BigEndian(tag, tag > 0xFFFF ? 3 : 2))}, {"value", HexText(value)}});
    }
    return objects;
}

Json EncodeKey(std::uint8_t identifier, const Key& key) {
    Json components = Json::array();
    for (const KeyComponent& component : key.components) {
        components.push_back({{"type", Hex(component.type)}, {"value", HexText(component.value)}});
    }
    Json text = {{"identifier", identifier}, {"components", components}};
    if (!key.usage.empty() || !key.access.empty()) {
        text["usage"] = HexText(key.usage);
        text["access"] = HexText(key.access);
    }
    return text;
}

Json EncodeKeySets(const Application& domain) {
    Json sets = Json::array();
    for (const auto& [version, set] : domain.keySets) {
        Json keys = Json::array();
        for (const auto& [identifier, key] : set.keys) {
            keys.push_back(EncodeKey(identifier, key));
        }
        sets.push_back({{"version", version}, {"sequenceCounter", set.sequenceCounter}, {"keys", keys}});
    }
    return sets;
}

Json EncodeLoadFiles(const CardContent& content) {
    Json files = Json::array();
    for (const LoadFile& file : content.loadFiles) {
        Json modules = Json::array();
        for (const Bytes& module : file.modules) {
            modules.push_back(HexText(module));
        }
        Json text = {{"aid", HexText(file.aid)}, {"domain", HexText(file.domain)}, {"size", file.size}};
        if (file.describesItself) {
            text["version"] = HexText(file.version);
            text["modules"] = modules;
        }
        files.push_back(std::move(text));
    }
    return files;
}

Json EncodeLimits(const MemoryLimits& limits) {
    Json text = {{"reserved", limits.reserved}};
    if (limits.quota) {
        text["quota"] = *limits.quota;
    }
    return text;
}

// What an application has that is a security domain.
Json EncodeDomain(const Application& domain) {
    return {
        {"failedAuthentications", domain.failedAuthentications},
        {"confirmations", domain.confirmations},
        {"restrictions", Hex(domain.restrictions)},
        {"keySets", EncodeKeySets(domain)}};
}

Json EncodeProgramCounters(const std::map<std::string, std::uint32_t>& counters) {
    Json list = Json::array();
    for (const auto& [name, value] : counters) {
        list.push_back({{"name", name}, {"value", value}});
    }
    return list;
}

Json EncodeApplications(const CardContent& content) {
    Json applications = Json::array();
    for (const Application& each : content.applications) {
        applications.push_back(
            {{"aid", HexText(each.aid)},
             {"domain", HexText(each.domain)},
             {"loadFile", HexText(each.loadFile)},
             {"module", HexText(each.module)},
             {"privileges", HexText(each.privileges)},
             {"state", Hex(each.state)},
             {"parameters", each.parameters},
             {"implicitSelection", HexText(each.implicitSelection)},
             {"memory", EncodeLimits(each.memory)},
             {"volatileMemory", EncodeLimits(each.volatileMemory)},
             {"data", EncodeData(each.data)}});
        if (!each.counters.empty()) {
            applications.back()["counters"] = EncodeProgramCounters(each.counters);
        }
        if (each.IsDomain()) {
            applications.back()["securityDomain"] = EncodeDomain(each);
        }
    }
    return applications;
}

constexpr std::size_t LongestValue = 0xFFFFFF;
constexpr std::size_t LongestKeyComponent = 0xFFFF;
constexpr std::size_t LongestKeyUse = 0x7F;
constexpr std::size_t LoadFileVersionLength = 2;
constexpr std::size_t MostImplicitSelections = 0xFFFF;

StoredData DecodeData(const Json& list, const std::string& place) {
    StoredData data;
    for (const Json& each : list) {
        Members object(each, place + " object");
        std::uint32_t tag = 0;
        for (const std::uint8_t byte : object.Hexadecimal("tag", 2, 3)) {
            tag = tag << 8 | byte;
        }
        Bytes value = object.Hexadecimal("value", 0, LongestValue);
        object.End();
        Require(data.emplace(tag, std::move(value)).second, place + " has a tag twice");
    }
    return data;
}

Bytes DecodeKeyValue(Members& members) {
    return members.Hexadecimal("value", 1, LongestKeyComponent);
}

Key DecodeKey(Members& members) {
    Key key;
    for (const Json& each : members.List("components")) {
        Members component(each, "a component of a key");
        const std::uint8_t type = component.Hexadecimal("type", 1, 1).front();
        key.components.push_back({type, DecodeKeyValue(component)});
        component.End();
    }
    if (members.Has("usage")) {
        key.usage = members.Hexadecimal("usage", 0, LongestKeyUse);
        key.access = members.Hexadecimal("access", 0, LongestKeyUse);
    }
    Require(IsKey(key), "a key is none");
    return key;
}

KeySet DecodeKeySet(Members& members, int format) {
    KeySet set;
    set.sequenceCounter =
        static_cast<std::uint32_t>(members.Number("sequenceCounter", 0, GreatestSequenceCounter));
    for (const Json& each : members.List("keys")) {
        Members key(each, "a key");
        const auto identifier = static_cast<std::uint8_t>(key.Number("identifier", 0, HighestKeyIdentifier));
        Key value = format == FirstFormat ? AesKey(key.Hexadecimal("value", AesKeyLength, AesKeyLength))
                                          : DecodeKey(key);
        key.End();
        Require(set.keys.emplace(identifier, std::move(value)).second, "a key set has a key twice");
    }
    Require(!set.keys.empty(), "a key set has no keys");
    return set;
}

void DecodeKeySets(const Json& list, Application& domain, int format) {
    domain.keySets.clear();
    for (const Json& each : list) {
        Members members(each, "a key set");
        const auto version = static_cast<std::uint8_t>(members.Number("version", 1, InitialKeyVersion));
        Require(IsKeyVersion(version), "a key version is none");
        KeySet set = DecodeKeySet(members, format);
        members.End();
        Require(domain.keySets.emplace(version, std::move(set)).second, "a key version is there twice");
    }
}

Association DecodeAssociation(Members& members, int format) {
    return format < Format ? Association() : members.Hexadecimal("domain", 0, LongestAid);
}

// A file that names no modules says nothing of itself; in the first format it had none.
void DecodeLoadFiles(const Json& list, CardContent& content, int format) {
    const bool first = format == FirstFormat;
    for (const Json& each : list) {
        Members members(each, "a load file");
        LoadFile file;
        file.aid = members.Hexadecimal("aid", ShortestAid, LongestAid);
        file.domain = DecodeAssociation(members, format);
        file.size = members.Number("size", file.aid == DomainPackageAid() ? 0 : 1, UINT32_MAX);
        file.describesItself = first || members.Has("modules");
        if (file.describesItself) {
            for (const Json& module : members.List("modules")) {
                file.modules.push_back(Members::BytesOf(module, "a module", ShortestAid, LongestAid));
            }
            file.version = first ? Bytes() : members.Hexadecimal("version", 0, LoadFileVersionLength);
            file.describesItself = !first || !file.modules.empty();
        }
        members.End();
        content.loadFiles.push_back(std::move(file));
    }
}

std::uint8_t StateByte(Members& members, bool (*known)(std::uint8_t)) {
    const std::uint8_t state = members.Hexadecimal("state", 1, 1).front();
    Require(known(state), members.Place("state") + " is no state");
    return state;
}

MemoryLimits DecodeLimits(const Json& text) {
    Members members(text, "a memory");
    MemoryLimits limits;
    limits.reserved = members.Number("reserved", 0, UINT32_MAX);
    if (members.Has("quota")) {
        limits.quota = members.Number("quota", 0, UINT32_MAX);
    }
    members.End();
    return limits;
}

void DecodeCounters(Members& members, Application& domain) {
    domain.failedAuthentications =
        static_cast<std::uint32_t>(members.Number("failedAuthentications", 0, UINT32_MAX));
}

void DecodeDomain(const Json& text, Application& domain) {
    Members members(text, "a security domain");
    DecodeCounters(members, domain);
    domain.confirmations = static_cast<std::uint16_t>(members.Number("confirmations", 0, UINT16_MAX));
    domain.restrictions = members.Hexadecimal("restrictions", 1, 1).front();
    DecodeKeySets(members.List("keySets"), domain, Format);
    members.End();
}

std::map<std::string, std::uint32_t> DecodeProgramCounters(const Json& list) {
    std::map<std::string, std::uint32_t> counters;
    for (const Json& each : list) {
        Members counter(each, "a counter");
        const Json& name = counter.Get("name");
        Require(
            name.is_string() && IsCounterName(name.get_ref<const std::string&>()),
            "a counter's name is none");
        const auto value = static_cast<std::uint32_t>(counter.Number("value", 0, UINT32_MAX));
        counter.End();
        Require(counters.emplace(name.get<std::string>(), value).second, "a counter is there twice");
    }
    return counters;
}

// What came with the third format.
void DecodeManagement(Members& members, Application& application) {
    application.memory = DecodeLimits(members.Get("memory"));
    application.volatileMemory = DecodeLimits(members.Get("volatileMemory"));
    if (members.Has("counters")) {
        application.counters = DecodeProgramCounters(members.List("counters"));
    }
    if (application.IsDomain()) {
        DecodeDomain(members.Get("securityDomain"), application);
    }
}

void DecodeApplications(const Json& list, CardContent& content, int format) {
    for (const Json& each : list) {
        Members members(each, "an application");
        Application application;
        application.aid = members.Hexadecimal("aid", ShortestAid, LongestAid);
        application.domain = DecodeAssociation(members, format);
        application.loadFile = members.Hexadecimal("loadFile", ShortestAid, LongestAid);
        application.module = members.Hexadecimal("module", ShortestAid, LongestAid);
        application.privileges = members.Hexadecimal("privileges", PrivilegesLength, PrivilegesLength);
        application.state = StateByte(members, IsApplicationState);
        application.parameters = members.Number("parameters", 0, UINT16_MAX);
        if (format > FirstFormat) {
            application.implicitSelection =
                members.Hexadecimal("implicitSelection", 0, MostImplicitSelections);
        }
        if (format == Format) {
            DecodeManagement(members, application);
        }
        application.data = DecodeData(members.List("data"), "an application's");
        members.End();
        Require(
            content.FindLoadFile(application.loadFile) != nullptr, "an application has no load file here");
        content.applications.push_back(std::move(application));
    }
}

void RequireDifferentAids(const CardContent& content) {
    std::set<Bytes> aids = {content.issuerDomain.aid};
    for (const LoadFile& file : content.loadFiles) {
        Require(aids.insert(file.aid).second, "an AID is there twice");
    }
    for (const Application& application : content.applications) {
        Require(aids.insert(application.aid).second, "an AID is there twice");
    }
}

// What comes with each card was not told before the third format.
void AddFirstFiles(CardContent& content, std::vector<LoadFile>&& first) {
    for (LoadFile& file : first) {
        if (!content.IsTaken(file.aid)) {
            content.loadFiles.push_back(std::move(file));
        }
    }
}

// Each entry belongs to a domain that is there, and each way upwards ends; 7.2.
void RequireHierarchy(const CardContent& content) {
    std::map<Bytes, const Application*> domains = {{{}, &content.issuerDomain}};
    for (const Application& application : content.applications) {
        if (application.IsDomain()) {
            domains[application.aid] = &application;
        }
    }
    const auto isKnown = [&](const auto& entry) { return domains.count(entry.domain) != 0; };
    Require(
        std::all_of(content.loadFiles.begin(), content.loadFiles.end(), isKnown) &&
            std::all_of(content.applications.begin(), content.applications.end(), isKnown),
        "a security domain is not here");
    for (const auto& entry : domains) {
        const Application* at = entry.second;
        for (std::size_t steps = 0; !content.IsIssuer(*at) && at->domain != at->aid; ++steps) {
            Require(steps < domains.size(), "security domains are above each other");
            at = domains.at(at->domain);
        }
    }
}

int FormatOf(const Json& text) {
    int number = 1;
    for (const char* known : Formats) {
        if (text == known) {
            return number;
        }
        ++number;
    }
    Fail(std::string("its format is not \"") + Formats[Format - 1] + "\"");
}

Json Parse(const std::string& text) {
    try {
        return Json::parse(text);
    } catch (const Json::exception& error) {
        Fail(std::string("it is no JSON: ") + error.what());
    }
}

}  // namespace

std::string EncodeState(const CardContent& content) {
    const Json json = {
        {"format", Formats[Format - 1]},
        {"state", Hex(content.issuerDomain.state)},
        {"restrictions", Hex(content.restrictions)},
        {"issuerDomain", HexText(content.issuerDomain.aid)},
        {"failedAuthentications", content.issuerDomain.failedAuthentications},
        {"confirmations", content.issuerDomain.confirmations},
        {"keySets", EncodeKeySets(content.issuerDomain)},
        {"loadFiles", EncodeLoadFiles(content)},
        {"applications", EncodeApplications(content)},
        {"data", EncodeData(content.issuerDomain.data)}};
    return json.dump(1) + "\n";
}

CardContent DecodeState(const std::string& text) {
    const Json json = Parse(text);
    Members members(json, "the card");
    const int format = FormatOf(members.Get("format"));
    CardContent content{Options()};
    std::vector<LoadFile> first = std::move(content.loadFiles);
    content.loadFiles.clear();
    Application& issuer = content.issuerDomain;
    issuer.state = StateByte(members, IsCardState);
    issuer.aid = members.Hexadecimal("issuerDomain", ShortestAid, LongestAid);
    DecodeCounters(members, issuer);
    if (format == Format) {
        content.restrictions = members.Hexadecimal("restrictions", 1, 1).front();
        issuer.confirmations = static_cast<std::uint16_t>(members.Number("confirmations", 0, UINT16_MAX));
    }
    DecodeKeySets(members.List("keySets"), issuer, format);
    Require(issuer.OpensChannels(), "no key set opens a secure channel");
    DecodeLoadFiles(members.List("loadFiles"), content, format);
    DecodeApplications(members.List("applications"), content, format);
    issuer.data = DecodeData(members.List("data"), "the issuer domain's");
    members.End();
    if (format < Format) {
        AddFirstFiles(content, std::move(first));
    }
    RequireDifferentAids(content);
    RequireHierarchy(content);
    return content;
}

}  // namespace Card
