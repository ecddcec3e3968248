#include "keyserver/provisioning/CardContents.h"

#include <algorithm>

#include "globalplatform/Tlv.h"

namespace KeyServer {

namespace {

using namespace GlobalPlatform;

constexpr std::uint32_t EntryTag = 0xE3;
constexpr std::uint32_t AidTag = 0x4F;
constexpr std::uint32_t LifeCycleTag = 0x9F70;
constexpr std::uint32_t PrivilegesTag = 0xC5;
constexpr std::uint32_t PackageTag = 0xC4;
constexpr std::uint32_t ModuleTag = 0x84;
constexpr std::uint32_t KeyTemplateTag = 0xE0;
constexpr std::uint32_t KeyDataTag = 0xC0;

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
        return state == 0x01 ? "loaded" : "state " + HexText({state});
    }
    const bool card = subset == CardSubset::IssuerDomain;
    switch (state) {
        case 0x01:
            return card ? "OP_READY" : "state 01";
        case 0x03:
            return "installed";
        case 0x07:
            return card ? "INITIALIZED" : "selectable";
        case 0x0F:
            return card ? "SECURED" : "personalised";
        case 0x7F:
            return card ? "CARD_LOCKED" : "state 7F";
        case 0xFF:
            return card ? "TERMINATED" : "locked, state FF";
        default:
            return ((state & 0x80U) != 0 ? "locked, state " : "state ") + HexText({state});
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
    const Bytes* aid = Find(objects, AidTag);
    const Bytes* state = Find(objects, LifeCycleTag);
    if (aid == nullptr || state == nullptr || state->empty()) {
        throw CardProblem(ResultCode::WrongCardData, "an entry of GET STATUS has no AID or no state");
    }
    std::string text = KindOf(subset) + HexText(*aid) + ": " + LifeCycleText(subset, state->front());
    if (const Bytes* privileges = Find(objects, PrivilegesTag)) {
        text += ", privileges " + HexText(*privileges);
    }
    if (const Bytes* package = Find(objects, PackageTag)) {
        text += ", of load file " + HexText(*package);
    }
    for (const TlvObject& object : objects) {
        text += object.tag == ModuleTag ? ", module " + HexText(object.value) : "";
    }
    return text;
}

}  // namespace

std::vector<std::string> DescribeEntries(CardSubset subset, const Bytes& data) {
    std::vector<std::string> lines;
    for (const TlvObject& object : Objects(data, "the response to GET STATUS")) {
        if (object.tag != EntryTag) {
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
    const Bytes* keys = Find(outer, KeyTemplateTag);
    if (keys == nullptr) {
        throw CardProblem(ResultCode::WrongCardData, "the key information has no template E0");
    }
    for (const TlvObject& object : Objects(*keys, "the key information template")) {
        const bool usable = object.tag == KeyDataTag && object.value.size() >= 2;
        if (usable && std::count(versions.begin(), versions.end(), object.value[1]) == 0) {
            versions.push_back(object.value[1]);
        }
    }
    return versions;
}

}  // namespace KeyServer
