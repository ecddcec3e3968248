// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/CardContents.h"

#include <algorithm>

#include "globalplatform/LifeCycle.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"
#include "keyserver/provisioning/CardService.h"

namespace KeyServer {

namespace {

using namespace GlobalPlatform;

std::vector<TlvObject> Objects(const Bytes& data, const char* where) {
    std::optional<std::vector<TlvObject>> objects = ParseTlv(data);
    if (!objects) {
        throw CardProblem(ResultCode::WrongCardData, std::string(where) + " is no sequence of data objects");
    }
    return std::move(*objects);
}

const Bytes* Find(const std::vector<TlvObject>& objects, std::uint32_t tag) {
    const auto found = std::find_if(
        objects.begin(), objects.end(), [tag](const TlvObject& object) { return object.tag == tag; });
    return found == objects.end() ? nullptr : &found->value;
}

// 11.1.1.
std::string LifeCycleText(CardSubset subset, std::uint8_t state) {
    if (subset == CardSubset::LoadFiles) {
        return state == LifeCycle::Loaded ? "loaded" : "state " + HexText({state});
    }
    const bool card = subset == CardSubset::IssuerDomain;
    switch (state) {
        case LifeCycle::CardReady:
            return card ? "OP_READY" : "state 01";
        case LifeCycle::Installed:
            return "installed";
        case LifeCycle::Selectable:  // or CardInitialized
            return card ? "INITIALIZED" : "selectable";
        case LifeCycle::CardSecured:
            return card ? "SECURED" : "personalised";
        case LifeCycle::CardLocked:
            return card ? "CARD_LOCKED" : "state 7F";
        case LifeCycle::CardTerminated:
            return card ? "TERMINATED" : "locked, state FF";
        default:
            return ((state & LifeCycle::LockedFlag) != 0 ? "locked, state " : "state ") + HexText({state});
    }
}

const char* KindOf(CardSubset subset) {
    switch (subset) {
        case CardSubset::IssuerDomain:
            return "issuer security domain ";
        case CardSubset::Applications:
            return "application ";
        default:
            return "load file ";
    }
}

std::string DescribeEntry(CardSubset subset, const Bytes& entry) {
    const std::vector<TlvObject> objects = Objects(entry, "an entry of GET STATUS");
    const Bytes* aid = Find(objects, Tag::Aid);
    const Bytes* state = Find(objects, Tag::LifeCycleState);
    if (aid == nullptr || state == nullptr || state->empty()) {
        throw CardProblem(ResultCode::WrongCardData, "an entry of GET STATUS has no AID or no state");
    }
    std::string text = KindOf(subset) + HexText(*aid) + ": " + LifeCycleText(subset, state->front());
    if (const Bytes* privileges = Find(objects, Tag::Privileges)) {
        text += ", privileges " + HexText(*privileges);
    }
    if (const Bytes* package = Find(objects, Tag::LoadFileAid)) {
        text += ", of load file " + HexText(*package);
    }
    for (const TlvObject& object : objects) {
        text += object.tag == Tag::Name ? ", module " + HexText(object.value) : "";
    }
    return text;
}

}  // namespace

std::vector<std::string> DescribeEntries(CardSubset subset, const Bytes& data) {
    std::vector<std::string> lines;
    for (const TlvObject& object : Objects(data, "the response to GET STATUS")) {
        if (object.tag != Tag::RegistryEntry) {
            throw CardProblem(
                ResultCode::WrongCardData, "the response to GET STATUS holds no entry, but the tag " +
                                               HexText(BigEndian(object.tag, 4)));
        }
        lines.push_back(DescribeEntry(subset, object.value));
    }
    return lines;
}

std::vector<std::uint8_t> KeyVersions(const Bytes& data) {
    std::vector<std::uint8_t> versions;
    const std::vector<TlvObject> outer = Objects(data, "the key information");
    const Bytes* keys = Find(outer, Tag::KeyInformation);
    if (keys == nullptr) {
        throw CardProblem(ResultCode::WrongCardData, "the key information has no template E0");
    }
    for (const TlvObject& object : Objects(*keys, "the key information template")) {
        const bool usable = object.tag == Tag::KeyInformationData && object.value.size() >= 2;
        if (usable && std::count(versions.begin(), versions.end(), object.value[1]) == 0) {
            versions.push_back(object.value[1]);
        }
    }
    return versions;
}

}  // namespace KeyServer
