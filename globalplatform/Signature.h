// SPDX-License-Identifier: Apache-2.0
// Signatures of tokens, receipts and load files, whose algorithm the key's kind and length choose:
// GlobalPlatform Card 2.3.1, B.1 to B.4 and C, and Amendment D (version 1.1.1), 8. A key is what a card keeps
// of it: DES of 16 bytes, AES, RSA of at least 1024 bits, or ECC on a named curve.
#pragma once

#include "globalplatform/KeyType.h"

namespace GlobalPlatform {

// Whether a key of this kind verifies or makes signatures; a symmetric one does both.
[[nodiscard]] bool IsVerificationKey(const KeyComponents& key);
[[nodiscard]] bool IsSigningKey(const KeyComponents& key);

// Throws std::runtime_error when the cryptographic library fails. A key that is none verifies nothing.
[[nodiscard]] bool VerifySignature(const KeyComponents& key, const Bytes& message, const Bytes& signature);

// Throws std::invalid_argument for a key that signs nothing, and std::runtime_error when the cryptographic
// library fails, also for numbers that are no key.
[[nodiscard]] Bytes Sign(const KeyComponents& key, const Bytes& message);

// How long the hash of a load file has to be that is signed with this key; table C-3.
[[nodiscard]] std::size_t LeastDigestLength(const KeyComponents& key);

}  // namespace GlobalPlatform
