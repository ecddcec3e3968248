// SPDX-License-Identifier: Apache-2.0
// A certificate made for one test.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>
#include <vector>

// Signed by itself, so that the same text serves as the trust store that accepts it.
class TestCertificate {
public:
    static constexpr long Day = 24L * 60 * 60;  // in seconds

    // Each name is a host name, or an IPv4 address. Valid since a day ago, for so many seconds from now on.
    explicit TestCertificate(const std::vector<std::string>& names, long remainingSeconds = Day);

    std::string Pem() const;

    // A server's TLS context with this certificate and its key.
    std::shared_ptr<SSL_CTX> ServerContext() const;

private:
    std::shared_ptr<EVP_PKEY> key;
    std::shared_ptr<X509> certificate;
};
