// SPDX-License-Identifier: Apache-2.0
// The server's side of TLS.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace KeyServer {

struct FreeSslContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using SslContext = std::unique_ptr<SSL_CTX, FreeSslContext>;

struct FreeSsl {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
};
using SslHandle = std::unique_ptr<SSL, FreeSsl>;

// TLS 1.2 or newer with the certificate (with the rest of its chain, if any) and key from PEM files. Throws
// std::runtime_error that names the file.
SslContext MakeSslContext(const std::string& certificateFile, const std::string& keyFile);

// Another context with the certificate and key of the first, which knows none of its sessions. Throws
// std::runtime_error.
SslContext FreshContext(SSL_CTX* context);

// The oldest entry of this thread's OpenSSL error queue as text; empties the queue.
std::string LastSslError();

}  // namespace KeyServer
