// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Digest.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace GlobalPlatform {

namespace {

const EVP_MD* AlgorithmOf(std::size_t length) {
    switch (length) {
        case 20:
            return EVP_sha1();
        case 32:
            return EVP_sha256();
        case 48:
            return EVP_sha384();
        case 64:
            return EVP_sha512();
        default:
            throw std::invalid_argument("no hash has " + std::to_string(length) + " bytes");
    }
}

}  // namespace

Bytes DigestOfLength(const Bytes& message, std::size_t length) {
    const EVP_MD* algorithm = AlgorithmOf(length);
    Bytes digest(length);
    unsigned written = 0;
    if (EVP_Digest(message.data(), message.size(), digest.data(), &written, algorithm, nullptr) != 1 ||
        written != length) {
        throw std::runtime_error(
            "the cryptographic library has no hash of " + std::to_string(length) + " bytes");
    }
    return digest;
}

}  // namespace GlobalPlatform
