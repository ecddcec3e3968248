// SPDX-License-Identifier: Apache-2.0
// RSA and ECC keys of a card, as the cryptographic library works with them.
#pragma once

#include "globalplatform/KeyType.h"

namespace GlobalPlatform {

enum class AsymmetricKind { None, RsaPublic, RsaPrivate, RsaChinese, EccPublic, EccPrivate };

// By the components; ECC on a named curve alone.
[[nodiscard]] AsymmetricKind KindOf(const KeyComponents& key);

// In bits: of the modulus, or of the curve's field. 0 when it is of no kind.
[[nodiscard]] std::size_t StrengthOf(const KeyComponents& key);

// RSASSA-PKCS1-v1_5 with SHA-1 for 1024 bits of RSA, RSASSA-PSS with SHA-256 for more; ECDSA with the hash
// that is as long as the curve, r and s behind each other; B.3 and B.4.
[[nodiscard]] bool VerifyAsymmetric(const KeyComponents& key, const Bytes& message, const Bytes& signature);
[[nodiscard]] Bytes SignAsymmetric(const KeyComponents& key, const Bytes& message);

}  // namespace GlobalPlatform
