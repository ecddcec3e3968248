// SPDX-License-Identifier: Apache-2.0
#include "tests/support/TestCertificate.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <stdexcept>

namespace {

void Require(bool done, const char* step) {
    if (!done) {
        throw std::runtime_error(std::string("cannot make a certificate: ") + step);
    }
}

std::string AlternativeNames(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        const bool isAddress = name.find_first_not_of("0123456789.") == std::string::npos;
        text += (text.empty() ? "" : ",") + std::string(isAddress ? "IP:" : "DNS:") + name;
    }
    return text;
}

void AddExtension(X509* certificate, int kind, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    Require(extension != nullptr, "extension");
    const int added = X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
    Require(added == 1, "add extension");
}

}  // namespace

TestCertificate::TestCertificate(const std::vector<std::string>& names, long remainingSeconds)
    : key(EVP_EC_gen("P-256"), EVP_PKEY_free), certificate(X509_new(), X509_free) {
    Require(key && certificate, "key");
    X509* const x509 = certificate.get();
    X509_set_version(x509, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(x509), 1);
    X509_gmtime_adj(X509_getm_notBefore(x509), -Day);
    X509_gmtime_adj(X509_getm_notAfter(x509), remainingSeconds);
    X509_set_pubkey(x509, key.get());
    X509_NAME* const subject = X509_get_subject_name(x509);
    const auto* const name = reinterpret_cast<const unsigned char*>(names.front().c_str());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, name, -1, -1, 0);
    X509_set_issuer_name(x509, subject);
    AddExtension(x509, NID_basic_constraints, "critical,CA:TRUE");
    AddExtension(x509, NID_subject_alt_name, AlternativeNames(names));
    Require(X509_sign(x509, key.get(), EVP_sha256()) > 0, "signature");
}

std::string TestCertificate::Pem() const {
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> memory(BIO_new(BIO_s_mem()), BIO_free_all);
    Require(memory && PEM_write_bio_X509(memory.get(), certificate.get()) == 1, "PEM text");
    char* text = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &text);
    return std::string(text, static_cast<std::size_t>(length));
}

std::shared_ptr<SSL_CTX> TestCertificate::ServerContext() const {
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    Require(context != nullptr, "TLS context");
    Require(SSL_CTX_use_certificate(context.get(), certificate.get()) == 1, "use certificate");
    Require(SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1, "use key");
    return context;
}
