// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/LoadFile.h"

#include <algorithm>

#include "globalplatform/Aid.h"
#include "globalplatform/Tags.h"

namespace GlobalPlatform {

namespace {

constexpr std::uint8_t HeaderComponent = 1;
constexpr std::uint8_t AppletComponent = 3;

// Number of applets, then for each its AID and the two bytes of its install method.
std::optional<std::vector<Bytes>> Applets(const Bytes& component) {
    LengthValueReader reader(component);
    const std::optional<Bytes> count = reader.Take(1);
    std::vector<Bytes> aids;
    while (count && aids.size() < count->front()) {
        std::optional<Bytes> aid = reader.Next();
        if (!aid || !IsAid(*aid) || !reader.Take(2)) {
            return std::nullopt;
        }
        aids.push_back(std::move(*aid));
    }
    return count && reader.AtEnd() ? std::optional<std::vector<Bytes>>(std::move(aids)) : std::nullopt;
}

// Magic number, version of the format, flags, then the package: minor and major version and AID. Newer ones
// have its name behind that.
bool ReadHeader(const Bytes& component, CodeDescription* description) {
    LengthValueReader reader(component);
    const bool begins = reader.Take(7).has_value();
    const std::optional<Bytes> version = begins ? reader.Take(2) : std::nullopt;
    std::optional<Bytes> package = version ? reader.Next() : std::nullopt;
    if (!package || !IsAid(*package)) {
        return false;
    }
    description->known = true;
    description->version = {version->back(), version->front()};
    description->package = std::move(*package);
    return true;
}

// Of the components only these two are looked into. False when one is damaged.
bool ReadComponent(std::uint8_t tag, const Bytes& component, CodeDescription* description) {
    if (tag == HeaderComponent) {
        return ReadHeader(component, description);
    }
    if (tag != AppletComponent) {
        return true;
    }
    std::optional<std::vector<Bytes>> applets = Applets(component);
    if (applets) {
        description->modules = std::move(*applets);
    }
    return applets.has_value();
}

std::optional<AuthenticationBlock> ReadAuthenticationBlock(const TlvObject& object) {
    if (object.tag != Tag::AuthenticationBlock) {
        return std::nullopt;
    }
    const std::optional<std::vector<TlvObject>> parts = ParseTlv(object.value);
    if (!parts || parts->size() != 2 || parts->front().tag != Tag::Aid ||
        parts->back().tag != Tag::BlockSignature) {
        return std::nullopt;
    }
    return AuthenticationBlock{parts->front().value, parts->back().value};
}

bool HasMagic(const Bytes& code) {
    constexpr std::uint8_t Magic[] = {0xDE, 0xCA, 0xFF, 0xED};
    return code.size() >= 7 && code[0] == HeaderComponent &&
           std::equal(std::begin(Magic), std::end(Magic), code.begin() + 3);
}

}  // namespace

std::optional<LoadFileParts> ParseLoadFile(const Bytes& file) {
    std::optional<std::vector<TlvObject>> objects = ParseTlv(file);
    if (!objects || objects->empty()) {
        return std::nullopt;
    }
    LoadFileParts parts;
    parts.ciphered = objects->back().tag == Tag::CipheredDataBlock;
    if (!parts.ciphered && objects->back().tag != Tag::LoadFileDataBlock) {
        return std::nullopt;
    }
    parts.dataBlock = std::move(objects->back().value);
    objects->pop_back();
    if (parts.ciphered && !objects->empty() && objects->back().tag == Tag::InitialVector) {
        parts.initialVector = std::move(objects->back().value);
        objects->pop_back();
    }
    for (const TlvObject& object : *objects) {
        std::optional<AuthenticationBlock> block = ReadAuthenticationBlock(object);
        if (!block) {
            return std::nullopt;
        }
        parts.blocks.push_back(std::move(*block));
    }
    return parts;
}

bool BeginsLikeLoadFile(const Bytes& bytes) {
    return !bytes.empty() &&
           (bytes.front() == Tag::AuthenticationBlock || bytes.front() == Tag::LoadFileDataBlock);
}

Bytes AuthenticationObject(const AuthenticationBlock& block) {
    Bytes parts = MakeTlv(Tag::Aid, block.domain);
    Append(parts, MakeTlv(Tag::BlockSignature, block.signature));
    return MakeTlv(Tag::AuthenticationBlock, parts);
}

Bytes MakeLoadFile(const Bytes& dataBlock) {
    return MakeTlv(Tag::LoadFileDataBlock, dataBlock);
}

std::optional<CodeDescription> DescribeCode(const Bytes& dataBlock) {
    CodeDescription description;
    if (!HasMagic(dataBlock)) {
        return description;
    }
    LengthValueReader reader(dataBlock);
    while (!reader.AtEnd()) {
        const std::optional<Bytes> tag = reader.Take(1);
        const std::optional<Bytes> length = reader.Take(2);
        const std::optional<Bytes> component =
            length ? reader.Take(static_cast<std::size_t>(length->front()) << 8 | length->back())
                   : std::nullopt;
        if (!component || !ReadComponent(tag->front(), *component, &description)) {
            return std::nullopt;
        }
    }
    return description;
}

}  // namespace GlobalPlatform
