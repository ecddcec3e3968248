// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/AsymmetricKey.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace GlobalPlatform {

namespace {

struct Freed {
    void operator()(BIGNUM* number) const { BN_clear_free(number); }
    void operator()(BN_CTX* context) const { BN_CTX_free(context); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    void operator()(OSSL_PARAM_BLD* builder) const { OSSL_PARAM_BLD_free(builder); }
    void operator()(OSSL_PARAM* parameters) const { OSSL_PARAM_free(parameters); }
    void operator()(ECDSA_SIG* signature) const { ECDSA_SIG_free(signature); }
    void operator()(unsigned char* bytes) const { OPENSSL_free(bytes); }
};
template <typename T>
using Owned = std::unique_ptr<T, Freed>;
using Number = Owned<BIGNUM>;
using Context = Owned<EVP_PKEY_CTX>;
using LibraryKey = Owned<EVP_PKEY>;

struct Curve {
    const char* name;
    std::size_t bits;
};

// By their references, table B-2.
constexpr Curve Curves[] = {{"prime256v1", 256},      {"secp384r1", 384},       {"secp521r1", 521},
                            {"brainpoolP256r1", 256}, {"brainpoolP256t1", 256}, {"brainpoolP384r1", 384},
                            {"brainpoolP384t1", 384}, {"brainpoolP512r1", 512}, {"brainpoolP512t1", 512}};

void Require(bool succeeded) {
    if (!succeeded) {
        throw std::runtime_error("the cryptographic library refuses a key of RSA or ECC");
    }
}

Number NumberOf(const Bytes& bytes) {
    Number number(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
    Require(number != nullptr);
    return number;
}

const Curve* CurveOf(const KeyComponents& key) {
    const std::uint64_t reference = FromBigEndian(key.back().value);
    return reference < std::size(Curves) ? &Curves[reference] : nullptr;
}

const Bytes& At(const KeyComponents& key, std::uint8_t type) {
    const auto found = std::find_if(
        key.begin(), key.end(), [type](const KeyComponent& component) { return component.type == type; });
    Require(found != key.end());
    return found->value;
}

// What an RSA key is to the library: a private one has its public exponent too.
struct RsaNumbers {
    Number modulus;
    Number publicExponent;
    Number privateExponent;
};

Number Product(const BIGNUM* left, const BIGNUM* right, BN_CTX* context) {
    Number product(BN_new());
    Require(product && BN_mul(product.get(), left, right, context) == 1);
    return product;
}

Number Inverse(const BIGNUM* number, const BIGNUM* modulus, BN_CTX* context) {
    Number inverse(BN_mod_inverse(nullptr, number, modulus, context));
    Require(inverse != nullptr);
    return inverse;
}

Number Predecessor(const Number& number) {
    Number before(BN_dup(number.get()));
    Require(before && BN_sub_word(before.get(), 1) == 1);
    return before;
}

// Cards do without it. It is one of the few that are in use: what it undoes is what the private one does.
Number PublicExponentOf(const BIGNUM* modulus, const BIGNUM* privateExponent, BN_CTX* context) {
    const Number two(BN_new());
    const Number signedTwo(BN_new());
    Require(
        two && signedTwo && BN_set_word(two.get(), 2) == 1 &&
        BN_mod_exp(signedTwo.get(), two.get(), privateExponent, modulus, context) == 1);
    for (const unsigned long candidate : {65537UL, 3UL, 17UL}) {
        Number exponent(BN_new());
        const Number back(BN_new());
        Require(
            exponent && back && BN_set_word(exponent.get(), candidate) == 1 &&
            BN_mod_exp(back.get(), signedTwo.get(), exponent.get(), modulus, context) == 1);
        if (BN_cmp(back.get(), two.get()) == 0) {
            return exponent;
        }
    }
    throw std::runtime_error("a private key of RSA has a public exponent that is not in use");
}

RsaNumbers ChineseNumbers(const KeyComponents& key, BN_CTX* context) {
    const Number p = NumberOf(At(key, KeyType::RsaFirstPrime));
    const Number q = NumberOf(At(key, KeyType::RsaSecondPrime));
    const Number before = Predecessor(p);
    RsaNumbers numbers;
    numbers.modulus = Product(p.get(), q.get(), context);
    numbers.publicExponent =
        Inverse(NumberOf(At(key, KeyType::RsaFirstExponent)).get(), before.get(), context);
    const Number order = Product(before.get(), Predecessor(q).get(), context);
    numbers.privateExponent = Inverse(numbers.publicExponent.get(), order.get(), context);
    return numbers;
}

RsaNumbers NumbersOf(const KeyComponents& key, AsymmetricKind kind) {
    const Owned<BN_CTX> context(BN_CTX_new());
    Require(context != nullptr);
    if (kind == AsymmetricKind::RsaChinese) {
        return ChineseNumbers(key, context.get());
    }
    RsaNumbers numbers;
    numbers.modulus = NumberOf(key.front().value);
    if (kind == AsymmetricKind::RsaPublic) {
        numbers.publicExponent = NumberOf(At(key, KeyType::RsaPublicExponent));
        return numbers;
    }
    numbers.privateExponent = NumberOf(At(key, KeyType::RsaPrivateExponent));
    numbers.publicExponent =
        PublicExponentOf(numbers.modulus.get(), numbers.privateExponent.get(), context.get());
    return numbers;
}

LibraryKey MakeKey(const char* algorithm, const Owned<OSSL_PARAM_BLD>& builder) {
    const Owned<OSSL_PARAM> parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const Context context(EVP_PKEY_CTX_new_from_name(nullptr, algorithm, nullptr));
    EVP_PKEY* key = nullptr;
    Require(
        parameters && context && EVP_PKEY_fromdata_init(context.get()) == 1 &&
        EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_KEYPAIR, parameters.get()) == 1);
    return LibraryKey(key);
}

LibraryKey MakeRsaKey(const KeyComponents& key, AsymmetricKind kind) {
    const RsaNumbers numbers = NumbersOf(key, kind);
    const Owned<OSSL_PARAM_BLD> builder(OSSL_PARAM_BLD_new());
    Require(
        builder && OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, numbers.modulus.get()) == 1 &&
        OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, numbers.publicExponent.get()) == 1 &&
        (!numbers.privateExponent ||
         OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_D, numbers.privateExponent.get()) == 1));
    return MakeKey("RSA", builder);
}

LibraryKey MakeEccKey(const KeyComponents& key, AsymmetricKind kind) {
    const Owned<OSSL_PARAM_BLD> builder(OSSL_PARAM_BLD_new());
    const Bytes& value = key.front().value;
    const Number secret = NumberOf(value);
    Require(
        builder &&
        OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, CurveOf(key)->name, 0) ==
            1 &&
        (kind == AsymmetricKind::EccPrivate
             ? OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_PRIV_KEY, secret.get())
             : OSSL_PARAM_BLD_push_octet_string(
                   builder.get(), OSSL_PKEY_PARAM_PUB_KEY, value.data(), value.size())) == 1);
    return MakeKey("EC", builder);
}

bool IsEcc(AsymmetricKind kind) {
    return kind == AsymmetricKind::EccPublic || kind == AsymmetricKind::EccPrivate;
}

LibraryKey MakeKey(const KeyComponents& key) {
    const AsymmetricKind kind = KindOf(key);
    return IsEcc(kind) ? MakeEccKey(key, kind) : MakeRsaKey(key, kind);
}

constexpr std::size_t ShortRsaBits = 1024;

const EVP_MD* DigestOf(const KeyComponents& key) {
    const std::size_t bits = StrengthOf(key);
    if (!IsEcc(KindOf(key))) {
        return bits > ShortRsaBits ? EVP_sha256() : EVP_sha1();
    }
    return bits < 384 ? EVP_sha256() : bits < 512 ? EVP_sha384() : EVP_sha512();
}

// PSS with a salt and a mask of the hash.
bool SetPadding(EVP_PKEY_CTX* context, const KeyComponents& key) {
    if (IsEcc(KindOf(key))) {
        return true;
    }
    if (StrengthOf(key) <= ShortRsaBits) {
        return EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PADDING) == 1;
    }
    return EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PSS_PADDING) == 1 &&
           EVP_PKEY_CTX_set_rsa_pss_saltlen(context, RSA_PSS_SALTLEN_DIGEST) == 1;
}

std::size_t OrderLength(const KeyComponents& key) {
    return (StrengthOf(key) + 7) / 8;
}

// From r and s behind each other, as the library has them, and back. Nothing for another length.
Bytes ToDer(const Bytes& plain, std::size_t width) {
    if (plain.size() != 2 * width) {
        return {};
    }
    const Owned<ECDSA_SIG> signature(ECDSA_SIG_new());
    Number r = NumberOf(First(plain, width));
    Number s = NumberOf(Last(plain, width));
    Require(signature && ECDSA_SIG_set0(signature.get(), r.get(), s.get()) == 1);
    static_cast<void>(r.release());
    static_cast<void>(s.release());
    unsigned char* bytes = nullptr;
    const int length = i2d_ECDSA_SIG(signature.get(), &bytes);
    const Owned<unsigned char> owned(bytes);
    Require(length > 0);
    return Bytes(bytes, bytes + length);
}

Bytes FromDer(const Bytes& der, std::size_t width) {
    const unsigned char* at = der.data();
    const Owned<ECDSA_SIG> signature(d2i_ECDSA_SIG(nullptr, &at, static_cast<long>(der.size())));
    Require(signature != nullptr);
    Bytes plain(2 * width);
    const int size = static_cast<int>(width);
    Require(
        BN_bn2binpad(ECDSA_SIG_get0_r(signature.get()), plain.data(), size) == size &&
        BN_bn2binpad(ECDSA_SIG_get0_s(signature.get()), plain.data() + width, size) == size);
    return plain;
}

}  // namespace

AsymmetricKind KindOf(const KeyComponents& key) {
    using namespace KeyType;
    if (key.size() == 5 && key.front().type == RsaFirstPrime) {
        return AsymmetricKind::RsaChinese;
    }
    if (key.size() != 2) {
        return AsymmetricKind::None;
    }
    const std::uint8_t first = key.front().type;
    const std::uint8_t second = key.back().type;
    if (second == EccReference && CurveOf(key) != nullptr) {
        return first == EccPublic    ? AsymmetricKind::EccPublic
               : first == EccPrivate ? AsymmetricKind::EccPrivate
                                     : AsymmetricKind::None;
    }
    if (first == RsaModulus && second == RsaPublicExponent) {
        return AsymmetricKind::RsaPublic;
    }
    return second == RsaPrivateExponent ? AsymmetricKind::RsaPrivate : AsymmetricKind::None;
}

std::size_t StrengthOf(const KeyComponents& key) {
    const AsymmetricKind kind = KindOf(key);
    if (kind == AsymmetricKind::None) {
        return 0;
    }
    if (IsEcc(kind)) {
        return CurveOf(key)->bits;
    }
    const std::size_t factors = kind == AsymmetricKind::RsaChinese ? 2 : 1;
    return factors * 8 * key.front().value.size();
}

bool VerifyAsymmetric(const KeyComponents& key, const Bytes& message, const Bytes& signature) {
    const LibraryKey made = MakeKey(key);
    const Owned<EVP_MD_CTX> context(EVP_MD_CTX_new());
    EVP_PKEY_CTX* keyContext = nullptr;
    Require(
        context &&
        EVP_DigestVerifyInit(context.get(), &keyContext, DigestOf(key), nullptr, made.get()) == 1 &&
        SetPadding(keyContext, key));
    const Bytes signedWith = IsEcc(KindOf(key)) ? ToDer(signature, OrderLength(key)) : signature;
    return EVP_DigestVerify(
               context.get(), signedWith.data(), signedWith.size(), message.data(), message.size()) == 1;
}

Bytes SignAsymmetric(const KeyComponents& key, const Bytes& message) {
    const LibraryKey made = MakeKey(key);
    const Owned<EVP_MD_CTX> context(EVP_MD_CTX_new());
    EVP_PKEY_CTX* keyContext = nullptr;
    Require(
        context && EVP_DigestSignInit(context.get(), &keyContext, DigestOf(key), nullptr, made.get()) == 1 &&
        SetPadding(keyContext, key));
    std::size_t length = 0;
    Require(EVP_DigestSign(context.get(), nullptr, &length, message.data(), message.size()) == 1);
    Bytes signature(length);
    Require(EVP_DigestSign(context.get(), signature.data(), &length, message.data(), message.size()) == 1);
    signature.resize(length);
    return IsEcc(KindOf(key)) ? FromDer(signature, OrderLength(key)) : signature;
}

}  // namespace GlobalPlatform
