// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Signature.h"

#include <openssl/err.h>

#include <stdexcept>

#include "globalplatform/Aes.h"
#include "globalplatform/AsymmetricKey.h"
#include "globalplatform/Des.h"

namespace GlobalPlatform {

namespace {

constexpr std::size_t LeastRsaBits = 1024;

bool IsSymmetric(const KeyComponents& key, std::uint8_t type) {
    return key.size() == 1 && key.front().type == type;
}

bool IsDes(const KeyComponents& key) {
    return IsSymmetric(key, KeyType::Des) && key.front().value.size() == DesMacKeyLength;
}

bool IsAes(const KeyComponents& key) {
    return IsSymmetric(key, KeyType::Aes) && IsAesKeyLength(key.front().value.size());
}

bool IsRsa(AsymmetricKind kind) {
    return kind == AsymmetricKind::RsaPublic || kind == AsymmetricKind::RsaPrivate ||
           kind == AsymmetricKind::RsaChinese;
}

bool IsStrong(const KeyComponents& key) {
    return StrengthOf(key) >= (IsRsa(KindOf(key)) ? LeastRsaBits : 1);
}

}  // namespace

bool IsVerificationKey(const KeyComponents& key) {
    const AsymmetricKind kind = KindOf(key);
    const bool isPublic = kind == AsymmetricKind::RsaPublic || kind == AsymmetricKind::EccPublic;
    return IsDes(key) || IsAes(key) || (isPublic && IsStrong(key));
}

bool IsSigningKey(const KeyComponents& key) {
    const AsymmetricKind kind = KindOf(key);
    const bool isPrivate = kind == AsymmetricKind::RsaPrivate || kind == AsymmetricKind::RsaChinese ||
                           kind == AsymmetricKind::EccPrivate;
    return IsDes(key) || IsAes(key) || (isPrivate && IsStrong(key));
}

bool VerifySignature(const KeyComponents& key, const Bytes& message, const Bytes& signature) {
    if (!IsVerificationKey(key)) {
        return false;
    }
    if (IsDes(key) || IsAes(key)) {
        return SameSecret(Sign(key, message), signature);
    }
    // What is refused here is not to be found in the library's queue by whoever speaks TLS next.
    bool verified = false;
    try {
        verified = VerifyAsymmetric(key, message, signature);
    } catch (const std::runtime_error&) {
        verified = false;
    }
    ERR_clear_error();
    return verified;
}

Bytes Sign(const KeyComponents& key, const Bytes& message) {
    if (!IsSigningKey(key)) {
        throw std::invalid_argument("a key of this kind signs nothing");
    }
    if (IsDes(key)) {
        return DesMac(key.front().value, message);
    }
    return IsAes(key) ? AesCmac(key.front().value, message) : SignAsymmetric(key, message);
}

std::size_t LeastDigestLength(const KeyComponents& key) {
    constexpr std::size_t Sha1 = 20;
    constexpr std::size_t Sha256 = 32;
    constexpr std::size_t Sha384 = 48;
    constexpr std::size_t Sha512 = 64;
    if (IsAes(key)) {
        return 2 * key.front().value.size();
    }
    const std::size_t strength = StrengthOf(key);
    if (IsDes(key) || strength == 0) {
        return Sha1;
    }
    if (IsRsa(KindOf(key))) {
        return strength > LeastRsaBits ? Sha256 : Sha1;
    }
    return strength < 384 ? Sha256 : strength < 512 ? Sha384 : Sha512;
}

}  // namespace GlobalPlatform
