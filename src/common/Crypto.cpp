// SPDX-License-Identifier: Apache-2.0
#include "common/Crypto.h"

#include <openssl/sha.h>

#include "common/Debug.h"

Na::Bytes Na::Sha256(const Bytes& data) {
    SHA256_CTX context;
    if (SHA256_Init(&context) != 1) {
        LogPrint(LogError, LOCATED("Error initializing SHA256 context"));
        return {};
    }
    if (SHA256_Update(&context, data.data(), data.size()) != 1) {
        LogPrint(LogError, LOCATED("Error updating SHA256"));
        return {};
    }
    Bytes digest(SHA256_DIGEST_LENGTH);
    if (SHA256_Final(digest.data(), &context) != 1) {
        LogPrint(LogError, LOCATED("Error obtaining SHA256"));
        return {};
    }
    return digest;
}
