// SPDX-License-Identifier: Apache-2.0
#include "common/Secret.h"

#include <openssl/crypto.h>
#include <sys/prctl.h>

void Na::KeepMemoryPrivate() noexcept {
    prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

void Na::Cleanse(std::string& text) noexcept {
    if (!text.empty()) {
        OPENSSL_cleanse(&text[0], text.size());
    }
    std::string().swap(text);
}

void Na::Cleanse(Bytes& bytes) noexcept {
    if (!bytes.empty()) {
        OPENSSL_cleanse(bytes.data(), bytes.size());
    }
    Bytes().swap(bytes);
}

void Na::Cleanse(std::map<std::string, std::string>& map) noexcept {
    for (auto& entry : map) {
        Cleanse(entry.second);
    }
    map.clear();
}
