#include "card/LoadFileData.h"

#include <openssl/evp.h>

#include <algorithm>
#include <stdexcept>

#include "globalplatform/Tlv.h"

namespace Card {

using namespace GlobalPlatform;

namespace {

constexpr std::uint32_t CodeTag = 0xC4;
constexpr std::uint32_t AuthenticationTag = 0xE2;
constexpr std::uint32_t AidTag = 0x4F;
constexpr std::uint32_t SignatureTag = 0xC3;

constexpr std::uint8_t HeaderComponent = 1;
constexpr std::uint8_t AppletComponent = 3;

bool IsAuthenticationBlock(const TlvObject& object) {
    if (object.tag != AuthenticationTag) {
        return false;
    }
    const std::optional<std::vector<TlvObject>> parts = ParseTlv(object.value);
    return parts && parts->size() == 2 && parts->front().tag == AidTag && parts->back().tag == SignatureTag;
}

// Number of applets, then for each its AID and the two bytes of its install method.
std::optional<std::vector<Bytes>> Applets(const Bytes& component) {
    LengthValueReader reader(component);
    const std::optional<Bytes> count = reader.Take(1);
    std::vector<Bytes> aids;
    while (count && aids.size() < count->front()) {
        std::optional<Bytes> aid = reader.Next();
        if (!aid || aid->size() < 5 || aid->size() > 16 || !reader.Take(2)) {
            return std::nullopt;
        }
        aids.push_back(std::move(*aid));
    }
    return count && reader.AtEnd() ? std::optional<std::vector<Bytes>>(std::move(aids)) : std::nullopt;
}

bool HasMagic(const Bytes& code) {
    constexpr std::uint8_t Magic[] = {0xDE, 0xCA, 0xFF, 0xED};
    return code.size() >= 7 && code[0] == HeaderComponent &&
           std::equal(std::begin(Magic), std::end(Magic), code.begin() + 3);
}

}  // namespace

Bytes Sha256(const Bytes& message) {
    Bytes digest(HashLength);
    unsigned length = 0;
    if (EVP_Digest(message.data(), message.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1 ||
        length != HashLength) {
        throw std::runtime_error("the cryptographic library has no SHA-256");
    }
    return digest;
}

std::optional<LoadFileData> ReadLoadFile(const Bytes& file) {
    std::optional<std::vector<TlvObject>> objects = ParseTlv(file);
    if (!objects || objects->empty() || objects->back().tag != CodeTag || objects->back().value.empty() ||
        !std::all_of(objects->begin(), objects->end() - 1, IsAuthenticationBlock)) {
        return std::nullopt;
    }
    return LoadFileData{std::move(objects->back().value), objects->size() > 1};
}

std::optional<std::vector<Bytes>> ModulesOfCode(const Bytes& code) {
    std::optional<std::vector<Bytes>> modules(std::in_place);
    if (!HasMagic(code)) {
        return modules;
    }
    LengthValueReader reader(code);
    while (!reader.AtEnd()) {
        const std::optional<Bytes> tag = reader.Take(1);
        const std::optional<Bytes> length = reader.Take(2);
        const std::optional<Bytes> component =
            length ? reader.Take(static_cast<std::size_t>(length->front()) << 8 | length->back())
                   : std::nullopt;
        if (!component) {
            return std::nullopt;
        }
        if (tag->front() == AppletComponent) {
            modules = Applets(*component);
            if (!modules) {
                return std::nullopt;
            }
        }
    }
    return modules;
}

}  // namespace Card
