// A certificate made for one test.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <vector>

// Signed by itself, so that the same text serves as the trust store that accepts it.
class TestCertificate {
public:
    // Each name is a host name, or an IPv4 address.
    explicit TestCertificate(const std::vector<std::string>& names);

    std::string Pem() const;

    // A server's TLS context with this certificate and its key.
    std::shared_ptr<SSL_CTX> ServerContext() const;

private:
    std::shared_ptr<EVP_PKEY> key;
    std::shared_ptr<X509> certificate;
};
