// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Des.h"

#include <openssl/evp.h>

#include <memory>
#include <stdexcept>

#include "globalplatform/Aes.h"

namespace GlobalPlatform {

namespace {

constexpr std::size_t DesKeyCheckValueLength = 3;

struct FreeCipher {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

enum class Direction { Decrypt = 0, Encrypt = 1 };

Bytes Run(
    const EVP_CIPHER* cipher, const Bytes& key, const Bytes& initialVector, const Bytes& input,
    Direction direction) {
    if (initialVector.size() != DesBlockLength || input.size() % DesBlockLength != 0) {
        throw std::invalid_argument(std::to_string(input.size()) + " bytes are no whole DES blocks");
    }
    const std::unique_ptr<EVP_CIPHER_CTX, FreeCipher> context(EVP_CIPHER_CTX_new());
    Bytes output(input.size() + DesBlockLength);
    int length = 0;
    if (!context ||
        EVP_CipherInit_ex2(
            context.get(), cipher, key.data(), initialVector.data(), static_cast<int>(direction), nullptr) !=
            1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
        EVP_CipherUpdate(
            context.get(), output.data(), &length, input.data(), static_cast<int>(input.size())) != 1 ||
        length != static_cast<int>(input.size())) {
        throw std::runtime_error("the cryptographic library has no triple DES");
    }
    output.resize(input.size());
    return output;
}

void RequireTwoKeys(const Bytes& key) {
    if (key.size() != DesMacKeyLength) {
        throw std::invalid_argument(
            "a triple DES key of two has 16 bytes, not " + std::to_string(key.size()));
    }
}

}  // namespace

Bytes DesKeyCheckValue(const Bytes& key) {
    if (!IsDesKeyLength(key.size())) {
        throw std::invalid_argument(
            "a triple DES key has " + std::to_string(key.size()) + " bytes, not 16 or 24");
    }
    const EVP_CIPHER* cipher = key.size() == 16 ? EVP_des_ede_cbc() : EVP_des_ede3_cbc();
    const Bytes zeros(DesBlockLength);
    return First(Run(cipher, key, zeros, zeros, Direction::Encrypt), DesKeyCheckValueLength);
}

// Triple DES with the same key in all three places is single DES, which the library keeps to itself.
Bytes DesMac(const Bytes& key, const Bytes& message) {
    RequireTwoKeys(key);
    Bytes single = First(key, DesBlockLength);
    Append(single, First(key, DesBlockLength));
    const Bytes padded = Pad80(message, DesBlockLength);
    const Bytes begin = First(padded, padded.size() - DesBlockLength);
    Bytes chain(DesBlockLength);
    if (!begin.empty()) {
        chain = Last(Run(EVP_des_ede_cbc(), single, chain, begin, Direction::Encrypt), DesBlockLength);
    }
    return Run(EVP_des_ede_cbc(), key, chain, Last(padded, DesBlockLength), Direction::Encrypt);
}

Bytes DesEncryptCbc(const Bytes& key, const Bytes& initialVector, const Bytes& plain) {
    RequireTwoKeys(key);
    return Run(EVP_des_ede_cbc(), key, initialVector, plain, Direction::Encrypt);
}

Bytes DesDecryptCbc(const Bytes& key, const Bytes& initialVector, const Bytes& encrypted) {
    RequireTwoKeys(key);
    return Run(EVP_des_ede_cbc(), key, initialVector, encrypted, Direction::Decrypt);
}

}  // namespace GlobalPlatform
