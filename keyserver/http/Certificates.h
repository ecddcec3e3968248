// SPDX-License-Identifier: Apache-2.0
// Makes a certificate authority and a server certificate for development and tests.
#pragma once

#include <string>
#include <vector>

namespace KeyServer {

struct CertificateOrder {
    std::string folder;  // made when it does not exist
    int days = 30;       // of validity from now on; negative for one that ended so many days ago
    std::vector<std::string> names = {"localhost", "127.0.0.1", "::1"};  // host names and addresses
};

struct CertificateFiles {
    std::string authority;    // ca.pem
    std::string certificate;  // server.pem
    std::string key;          // server.key, readable by its owner only
};

// Writes the three files, replacing older ones, each in one step. The authority's key is not kept. Throws
// std::runtime_error that names the file or the step.
CertificateFiles MakeCertificates(const CertificateOrder& order);

}  // namespace KeyServer
