// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/Certificates.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "keyserver/http/Tls.h"

namespace fs = std::filesystem;

namespace KeyServer {

namespace {

struct FreeKey {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct FreeCertificate {
    void operator()(X509* certificate) const { X509_free(certificate); }
};
struct FreeExtension {
    void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
};
struct FreeBio {
    void operator()(BIO* bio) const { BIO_free(bio); }
};
using Key = std::unique_ptr<EVP_PKEY, FreeKey>;
using Certificate = std::unique_ptr<X509, FreeCertificate>;
using Extension = std::unique_ptr<X509_EXTENSION, FreeExtension>;
using Bio = std::unique_ptr<BIO, FreeBio>;

constexpr long SecondsPerDay = 24L * 60 * 60;

void Require(bool good, const char* step) {
    if (!good) {
        throw std::runtime_error(std::string("certificate: ") + step + ": " + LastSslError());
    }
}

Key MakeKey() {
    Key key(EVP_EC_gen("P-256"));
    Require(key != nullptr, "making a key");
    return key;
}

void SetSerialNumber(X509* certificate) {
    std::array<unsigned char, 16> bytes{};
    Require(RAND_bytes(bytes.data(), bytes.size()) == 1, "random serial number");
    bytes[0] = static_cast<unsigned char>((bytes[0] & 0x7FU) | 0x40U);
    const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(
        BN_bin2bn(bytes.data(), bytes.size(), nullptr), BN_free);
    Require(BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr, "serial number");
}

// A certificate of negative validity was good for one day and ended so many days ago.
void SetValidity(X509* certificate, int days) {
    const long end = days * SecondsPerDay;
    const long begin = days < 0 ? end - SecondsPerDay : -SecondsPerDay;
    Require(X509_gmtime_adj(X509_getm_notBefore(certificate), begin) != nullptr, "begin of validity");
    Require(X509_gmtime_adj(X509_getm_notAfter(certificate), end) != nullptr, "end of validity");
}

void AddExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
    Require(extension != nullptr, "extension");
    Require(X509_add_ext(certificate, extension.get(), -1) == 1, "adding an extension");
}

Certificate MakeCertificate(EVP_PKEY* key, const std::string& commonName, int days) {
    Certificate certificate(X509_new());
    Require(certificate != nullptr, "making a certificate");
    constexpr long Version3 = 2;
    X509_set_version(certificate.get(), Version3);
    SetSerialNumber(certificate.get());
    SetValidity(certificate.get(), days);
    Require(X509_set_pubkey(certificate.get(), key) == 1, "public key");
    const auto* text = reinterpret_cast<const unsigned char*>(commonName.c_str());
    Require(
        X509_NAME_add_entry_by_txt(
            X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8, text, -1, -1, 0) == 1,
        "name");
    return certificate;
}

void Sign(X509* certificate, X509* issuer, EVP_PKEY* issuerKey) {
    Require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1, "issuer");
    Require(X509_sign(certificate, issuerKey, EVP_sha256()) > 0, "signing");
}

bool IsAddress(const std::string& name) {
    std::array<unsigned char, sizeof(in6_addr)> address{};
    return inet_pton(AF_INET, name.c_str(), address.data()) == 1 ||
           inet_pton(AF_INET6, name.c_str(), address.data()) == 1;
}

std::string AlternativeNames(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        if (name.empty() || name.find_first_of(",:") != std::string::npos) {
            if (!IsAddress(name)) {
                throw std::runtime_error("certificate: \"" + name + "\" is no host name and no address");
            }
        }
        text += (text.empty() ? "" : ",") + std::string(IsAddress(name) ? "IP:" : "DNS:") + name;
    }
    return text;
}

Certificate MakeAuthority(EVP_PKEY* key) {
    constexpr int AuthorityDays = 3650;
    Certificate authority = MakeCertificate(key, "navo-keyserver development CA", AuthorityDays);
    AddExtension(authority.get(), authority.get(), NID_basic_constraints, "critical,CA:TRUE");
    AddExtension(authority.get(), authority.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    AddExtension(authority.get(), authority.get(), NID_subject_key_identifier, "hash");
    Sign(authority.get(), authority.get(), key);
    return authority;
}

Certificate MakeServerCertificate(
    EVP_PKEY* key, X509* authority, EVP_PKEY* authorityKey, const CertificateOrder& order) {
    if (order.names.empty()) {
        throw std::runtime_error("certificate: at least one host name is needed");
    }
    Certificate server = MakeCertificate(key, order.names.front(), order.days);
    AddExtension(server.get(), authority, NID_basic_constraints, "critical,CA:FALSE");
    AddExtension(server.get(), authority, NID_key_usage, "critical,digitalSignature");
    AddExtension(server.get(), authority, NID_ext_key_usage, "serverAuth");
    AddExtension(server.get(), authority, NID_subject_key_identifier, "hash");
    AddExtension(server.get(), authority, NID_authority_key_identifier, "keyid");
    AddExtension(server.get(), authority, NID_subject_alt_name, AlternativeNames(order.names));
    Sign(server.get(), authority, authorityKey);
    return server;
}

// A reader sees the old or the new text, and nobody but the owner ever sees a key.
void WriteFile(const std::string& file, const std::string& text, mode_t mode) {
    const std::string draft = file + ".new";
    std::error_code ignored;
    fs::remove(draft, ignored);
    const int descriptor = open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    bool good =
        descriptor >= 0 && write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int reason = errno;
    good = descriptor >= 0 && close(descriptor) == 0 && good;
    if (!good || std::rename(draft.c_str(), file.c_str()) != 0) {
        throw std::system_error(good ? errno : reason, std::generic_category(), file);
    }
}

std::string TextOf(BIO* bio) {
    char* data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    return {data, static_cast<std::size_t>(length)};
}

std::string PemOf(X509* certificate) {
    const Bio bio(BIO_new(BIO_s_mem()));
    Require(bio != nullptr && PEM_write_bio_X509(bio.get(), certificate) == 1, "writing a certificate");
    return TextOf(bio.get());
}

std::string PemOf(EVP_PKEY* key) {
    const Bio bio(BIO_new(BIO_s_mem()));
    Require(
        bio != nullptr &&
            PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1,
        "writing a key");
    return TextOf(bio.get());
}

}  // namespace

CertificateFiles MakeCertificates(const CertificateOrder& order) {
    const Key authorityKey = MakeKey();
    const Certificate authority = MakeAuthority(authorityKey.get());
    const Key serverKey = MakeKey();
    const Certificate server =
        MakeServerCertificate(serverKey.get(), authority.get(), authorityKey.get(), order);

    std::error_code error;
    fs::create_directories(order.folder, error);
    if (error) {
        throw std::system_error(error, order.folder);
    }
    const fs::path folder(order.folder);
    CertificateFiles files{
        (folder / "ca.pem").string(), (folder / "server.pem").string(), (folder / "server.key").string()};
    WriteFile(files.key, PemOf(serverKey.get()), 0600);
    WriteFile(files.certificate, PemOf(server.get()), 0644);
    WriteFile(files.authority, PemOf(authority.get()), 0644);
    return files;
}

}  // namespace KeyServer
