// SPDX-License-Identifier: Apache-2.0
#include "card/LoadVerification.h"

#include <algorithm>

#include "card/Hierarchy.h"
#include "card/ManagementKeys.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Des.h"
#include "globalplatform/Digest.h"
#include "globalplatform/LoadFile.h"
#include "globalplatform/Signature.h"
#include "globalplatform/Tags.h"

namespace Card {

namespace {

void Require(bool right) {
    if (!right) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
}

// A hash is strong enough for what it is used with, table C-3.
void RequireHash(const Loading& loading, const KeyComponents& key) {
    Require(loading.hash.size() >= LeastDigestLength(key));
}

// Filled up to whole blocks with padding method 2; C.6.
Bytes Decrypted(const LoadFileParts& parts, const KeyComponents& key) {
    const KeyComponent& cipher = key.front();
    const bool aes = cipher.type == KeyType::Aes;
    const std::size_t block = aes ? AesBlockLength : DesBlockLength;
    const Bytes vector = parts.initialVector.empty() ? Bytes(block) : parts.initialVector;
    Require(vector.size() == block && parts.dataBlock.size() % block == 0);
    const std::optional<Bytes> code = Unpad80(
        aes ? AesDecryptCbc(cipher.value, vector, parts.dataBlock)
            : DesDecryptCbc(cipher.value, vector, parts.dataBlock));
    Require(code.has_value());
    return *code;
}

// Encrypted code is read by the domain that gets it, which takes no other once it has the privilege; 9.1.3.7.
Bytes Code(const Application& domain, const Loading& loading, const LoadFileParts& parts) {
    Require(parts.ciphered == domain.Has(Privilege::CipheredLoadFile));
    if (!parts.ciphered) {
        return parts.dataBlock;
    }
    const KeyComponents& key = RequireCipherKey(domain, ManagementKey::LoadFile);
    RequireHash(loading, key);
    return Decrypted(parts, key);
}

// By the domain that the block names, over the hash alone; C.3.
void Verify(const CardContent& content, const Loading& loading, const AuthenticationBlock& block) {
    const Application* domain = content.FindDomain(block.domain);
    Require(domain != nullptr && domain->Has(Privilege::DapVerification) && IsOperational(content, *domain));
    const KeyComponents& key = RequireVerificationKey(*domain, ManagementKey::Authentication);
    RequireHash(loading, key);
    if (!VerifySignature(key, loading.hash, block.signature)) {
        Refuse(StatusWord::SecurityNotSatisfied);
    }
}

// The domain that gets the file may want its signature, and others that of every file; 9.2.1.
void RequireSignatures(
    const CardContent& content, const Application& receiver, const std::vector<AuthenticationBlock>& blocks) {
    const auto isNamed = [&](const Application& domain) {
        return std::any_of(blocks.begin(), blocks.end(), [&](const AuthenticationBlock& block) {
            return block.domain == domain.aid;
        });
    };
    Require(!receiver.Has(Privilege::DapVerification) || isNamed(receiver));
    for (const Application& each : content.applications) {
        const bool mandated = each.Has(Privilege::MandatedDapVerification) && IsOperational(content, each);
        Require(!mandated || isNamed(each));
    }
}

}  // namespace

Bytes VerifiedCode(const CardContent& content, const Loading& loading) {
    const std::optional<LoadFileParts> parts = ParseLoadFile(loading.received);
    const Application* receiver = content.Associated(loading.domain);
    Require(parts && !parts->dataBlock.empty() && receiver != nullptr);
    Bytes code = Code(*receiver, loading, *parts);
    const bool hashed = !loading.hash.empty();
    Require(hashed || (parts->blocks.empty() && !parts->ciphered));
    Require(!hashed || SameSecret(DigestOfLength(code, loading.hash.size()), loading.hash));
    RequireSignatures(content, *receiver, parts->blocks);
    for (const AuthenticationBlock& block : parts->blocks) {
        Verify(content, loading, block);
    }
    return code;
}

}  // namespace Card
