// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Sha256.h"

#include "globalplatform/Digest.h"

namespace GlobalPlatform {

Bytes Sha256(const Bytes& message) {
    return DigestOfLength(message, Sha256Length);
}

Bytes Sha256(std::string_view message) {
    return Sha256(Bytes(message.begin(), message.end()));
}

}  // namespace GlobalPlatform
