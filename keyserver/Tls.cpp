#include "Tls.h"

#include <openssl/err.h>

#include <array>
#include <stdexcept>

namespace KeyServer {

SslContext MakeSslContext(const std::string& certificateFile, const std::string& keyFile) {
    SslContext context(SSL_CTX_new(TLS_server_method()));
    if (!context) {
        throw std::runtime_error("TLS: " + LastSslError());
    }
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    if (SSL_CTX_use_certificate_chain_file(context.get(), certificateFile.c_str()) != 1) {
        throw std::runtime_error(certificateFile + ": no certificate can be read: " + LastSslError());
    }
    if (SSL_CTX_use_PrivateKey_file(context.get(), keyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
        throw std::runtime_error(keyFile + ": no key for this certificate can be read: " + LastSslError());
    }
    return context;
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
