// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Sha256.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace GlobalPlatform {

namespace {

Bytes Digest(const void* message, std::size_t length) {
    Bytes digest(Sha256Length);
    unsigned written = 0;
    if (EVP_Digest(message, length, digest.data(), &written, EVP_sha256(), nullptr) != 1 ||
        written != Sha256Length) {
        throw std::runtime_error("the cryptographic library has no SHA-256");
    }
    return digest;
}

}  // namespace

Bytes Sha256(const Bytes& message) {
    return Digest(message.data(), message.size());
}

Bytes Sha256(std::string_view message) {
    return Digest(message.data(), message.size());
}

}  // namespace GlobalPlatform
