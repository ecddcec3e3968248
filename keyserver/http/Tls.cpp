// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/Tls.h"

#include <openssl/err.h>

#include <array>
#include <stdexcept>

namespace KeyServer {

namespace {

SslContext EmptyContext() {
    SslContext context(SSL_CTX_new(TLS_server_method()));
    if (!context) {
        throw std::runtime_error("TLS: " + LastSslError());
    }
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    return context;
}

}  // namespace

SslContext MakeSslContext(const std::string& certificateFile, const std::string& keyFile) {
    SslContext context = EmptyContext();
    if (SSL_CTX_use_certificate_chain_file(context.get(), certificateFile.c_str()) != 1) {
        throw std::runtime_error(certificateFile + ": no certificate can be read: " + LastSslError());
    }
    if (SSL_CTX_use_PrivateKey_file(context.get(), keyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
        throw std::runtime_error(keyFile + ": no key for this certificate can be read: " + LastSslError());
    }
    return context;
}

SslContext FreshContext(SSL_CTX* context) {
    SslContext fresh = EmptyContext();
    STACK_OF(X509)* chain = nullptr;
    SSL_CTX_get0_chain_certs(context, &chain);
    X509* const certificate = SSL_CTX_get0_certificate(context);
    EVP_PKEY* const key = SSL_CTX_get0_privatekey(context);
    if (SSL_CTX_use_certificate(fresh.get(), certificate) != 1 ||
        SSL_CTX_use_PrivateKey(fresh.get(), key) != 1 || SSL_CTX_set1_chain(fresh.get(), chain) != 1) {
        throw std::runtime_error("TLS: " + LastSslError());
    }
    return fresh;
}

std::string LastSslError() {
    const unsigned long code = ERR_get_error();
    if (code == 0) {
        return "no further reason is known";
    }
    std::array<char, 256> text{};
    ERR_error_string_n(code, text.data(), text.size());
    ERR_clear_error();
    return text.data();
}

}  // namespace KeyServer
