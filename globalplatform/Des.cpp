// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Des.h"

#include <openssl/evp.h>

#include <memory>
#include <stdexcept>

namespace GlobalPlatform {

namespace {

constexpr int DesBlockLength = 8;
constexpr std::size_t DesKeyCheckValueLength = 3;

struct FreeCipher {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

}  // namespace

Bytes DesKeyCheckValue(const Bytes& key) {
    if (!IsDesKeyLength(key.size())) {
        throw std::invalid_argument(
            "a triple DES key has " + std::to_string(key.size()) + " bytes, not 16 or 24");
    }
    const std::unique_ptr<EVP_CIPHER_CTX, FreeCipher> context(EVP_CIPHER_CTX_new());
    const EVP_CIPHER* cipher = key.size() == 16 ? EVP_des_ede_ecb() : EVP_des_ede3_ecb();
    const Bytes zeros(DesBlockLength);
    Bytes encrypted(2UL * DesBlockLength);
    int length = 0;
    if (!context || EVP_EncryptInit_ex2(context.get(), cipher, key.data(), nullptr, nullptr) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
        EVP_EncryptUpdate(context.get(), encrypted.data(), &length, zeros.data(), DesBlockLength) != 1 ||
        length != DesBlockLength) {
        throw std::runtime_error("the cryptographic library has no triple DES");
    }
    return First(encrypted, DesKeyCheckValueLength);
}

}  // namespace GlobalPlatform
