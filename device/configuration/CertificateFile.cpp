// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/CertificateFile.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <climits>
#include <memory>

#include "device/configuration/Values.h"
#include "globalplatform/Sha256.h"

namespace Device {

namespace {

template <auto Release>
struct Releaser {
    template <typename Type>
    void operator()(Type* object) const {
        Release(object);
    }
};

void FreeDer(unsigned char* memory) {
    OPENSSL_free(memory);
}

using Certificate = std::unique_ptr<X509, Releaser<X509_free>>;
using File = std::unique_ptr<BIO, Releaser<BIO_free_all>>;

// What goes wrong here must not be left behind for the service's own TLS to stumble over.
struct ErrorQueueGuard {
    ErrorQueueGuard() { ERR_set_mark(); }
    ~ErrorQueueGuard() { ERR_pop_to_mark(); }
    ErrorQueueGuard(const ErrorQueueGuard&) = delete;
    ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;
};

Certificate ReadPem(const std::string& path) {
    const ErrorQueueGuard guard;
    const File file(BIO_new_file(path.c_str(), "r"));
    if (!file) {
        throw BadValue("the file " + path + " cannot be read; name a certificate in PEM form");
    }
    Certificate certificate(PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr));
    if (!certificate) {
        throw BadValue("the file " + path + " holds no certificate; name one in PEM form");
    }
    return certificate;
}

// Nothing when it cannot be encoded.
Bytes DerOf(const Certificate& certificate) {
    unsigned char* allocated = nullptr;
    const int length = i2d_X509(certificate.get(), &allocated);
    const std::unique_ptr<unsigned char, Releaser<FreeDer>> der(allocated);
    return length <= 0 ? Bytes() : Bytes(der.get(), der.get() + length);
}

}  // namespace

std::string CertificateText(const std::string& path) {
    const Bytes der = DerOf(ReadPem(path));
    if (der.empty()) {
        throw BadValue("the certificate in " + path + " cannot be encoded; name another");
    }
    std::string text((der.size() + 2) / 3 * 4 + 1, '\0');
    text.resize(static_cast<std::size_t>(EVP_EncodeBlock(
        reinterpret_cast<unsigned char*>(text.data()), der.data(), static_cast<int>(der.size()))));
    return text;
}

std::string TrustStoreFile(const std::string& path) {
    ReadPem(path);
    return path;
}

std::string Fingerprint(const Bytes& der) {
    const ErrorQueueGuard guard;
    const unsigned char* position = der.data();
    const Certificate certificate(
        der.size() > INT_MAX ? nullptr : d2i_X509(nullptr, &position, static_cast<long>(der.size())));
    const bool whole = certificate && position == der.data() + der.size();
    const Bytes encoded = whole ? DerOf(certificate) : Bytes();
    return encoded.empty() ? std::string() : HexText(GlobalPlatform::Sha256(encoded));
}

Bytes FromBase64(const std::string& text) {
    const std::size_t padding = text.find_last_not_of('=') == std::string::npos
                                    ? text.size()
                                    : text.size() - text.find_last_not_of('=') - 1;
    constexpr char Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if (text.empty() || text.size() % 4 != 0 || text.size() > INT_MAX || padding > 2 ||
        text.find_first_not_of(Digits) < text.size() - padding) {
        return {};
    }
    Bytes bytes(text.size() / 4 * 3);
    const ErrorQueueGuard guard;
    const int length = EVP_DecodeBlock(
        bytes.data(), reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    if (length < 0) {
        return {};
    }
    bytes.resize(bytes.size() - padding);
    return bytes;
}

}  // namespace Device
