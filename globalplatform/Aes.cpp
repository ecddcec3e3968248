// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Aes.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <memory>
#include <stdexcept>

namespace GlobalPlatform {

namespace {

struct FreeMac {
    void operator()(EVP_MAC* mac) const { EVP_MAC_free(mac); }
    void operator()(EVP_MAC_CTX* context) const { EVP_MAC_CTX_free(context); }
};
struct FreeCipher {
    void operator()(EVP_CIPHER* cipher) const { EVP_CIPHER_free(cipher); }
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

void Require(bool succeeded, const char* what) {
    if (!succeeded) {
        throw std::runtime_error(std::string("the cryptographic library has no ") + what);
    }
}

void RequireLength(const Bytes& bytes, std::size_t length, const char* what) {
    if (bytes.size() != length) {
        throw std::invalid_argument(
            std::string(what) + " has " + std::to_string(bytes.size()) + " bytes, not " +
            std::to_string(length));
    }
}

void RequireKey(const Bytes& key) {
    if (!IsAesKeyLength(key.size())) {
        throw std::invalid_argument(
            "an AES key has " + std::to_string(key.size()) + " bytes, not 16, 24 or 32");
    }
}

// Found once: looking a cipher up takes as long as using it.
using Cipher = std::unique_ptr<EVP_CIPHER, FreeCipher>;

const EVP_CIPHER* CbcOf(const Bytes& key) {
    static const Cipher of16(EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr));
    static const Cipher of24(EVP_CIPHER_fetch(nullptr, "AES-192-CBC", nullptr));
    static const Cipher of32(EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr));
    return (key.size() == 16 ? of16 : key.size() == 24 ? of24 : of32).get();
}

enum class Direction { Decrypt = 0, Encrypt = 1 };

Bytes RunCbc(const Bytes& key, const Bytes& initialVector, const Bytes& input, Direction direction) {
    RequireKey(key);
    RequireLength(initialVector, AesBlockLength, "an initialisation vector");
    if (input.size() % AesBlockLength != 0) {
        throw std::invalid_argument(std::to_string(input.size()) + " bytes are no whole AES blocks");
    }
    const std::unique_ptr<EVP_CIPHER_CTX, FreeCipher> context(EVP_CIPHER_CTX_new());
    Require(
        context && EVP_CipherInit_ex2(
                       context.get(), CbcOf(key), key.data(), initialVector.data(),
                       static_cast<int>(direction), nullptr) == 1,
        "AES in CBC mode");
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    Bytes output(input.size());
    int length = 0;
    Require(
        input.empty() ||
            EVP_CipherUpdate(
                context.get(), output.data(), &length, input.data(), static_cast<int>(input.size())) == 1,
        "AES in CBC mode");
    return output;
}

EVP_MAC* CmacAlgorithm() {
    static const std::unique_ptr<EVP_MAC, FreeMac> algorithm(EVP_MAC_fetch(nullptr, "CMAC", nullptr));
    return algorithm.get();
}

}  // namespace

Bytes AesCmac(const Bytes& key, const Bytes& message) {
    RequireKey(key);
    const std::unique_ptr<EVP_MAC_CTX, FreeMac> context(EVP_MAC_CTX_new(CmacAlgorithm()));
    std::string cipher = "AES-" + std::to_string(8 * key.size()) + "-CBC";
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_CIPHER, cipher.data(), 0),
        OSSL_PARAM_construct_end()};
    Bytes code(AesBlockLength);
    std::size_t length = 0;
    Require(
        context && EVP_MAC_init(context.get(), key.data(), key.size(), parameters) == 1 &&
            EVP_MAC_update(context.get(), message.data(), message.size()) == 1 &&
            EVP_MAC_final(context.get(), code.data(), &length, code.size()) == 1 && length == code.size(),
        "AES-CMAC");
    return code;
}

Bytes AesEncryptBlock(const Bytes& key, const Bytes& block) {
    RequireLength(block, AesBlockLength, "an AES block");
    return RunCbc(key, Bytes(AesBlockLength), block, Direction::Encrypt);
}

Bytes AesEncryptCbc(const Bytes& key, const Bytes& initialVector, const Bytes& plain) {
    return RunCbc(key, initialVector, plain, Direction::Encrypt);
}

Bytes AesDecryptCbc(const Bytes& key, const Bytes& initialVector, const Bytes& encrypted) {
    return RunCbc(key, initialVector, encrypted, Direction::Decrypt);
}

Bytes Pad80(const Bytes& plain, std::size_t blockLength) {
    Bytes padded = plain;
    padded.push_back(0x80);
    padded.resize((padded.size() + blockLength - 1) / blockLength * blockLength);
    return padded;
}

std::optional<Bytes> Unpad80(const Bytes& padded) {
    std::size_t length = padded.size();
    while (length > 0 && padded[length - 1] == 0) {
        --length;
    }
    if (length == 0 || padded[length - 1] != 0x80 || padded.size() - length >= AesBlockLength) {
        return std::nullopt;
    }
    return First(padded, length - 1);
}

Bytes AesKeyCheckValue(const Bytes& key) {
    return First(AesEncryptBlock(key, Bytes(AesBlockLength, 0x01)), AesKeyCheckValueLength);
}

bool SameSecret(const Bytes& left, const Bytes& right) {
    return left.size() == right.size() && CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace GlobalPlatform
