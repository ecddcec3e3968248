// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/LoadFile.h"

#include "globalplatform/LoadFile.h"
#include "globalplatform/Sha256.h"
#include "globalplatform/Signature.h"

namespace KeyServer {

namespace {

using namespace GlobalPlatform;

// The data block of a whole load file.
Bytes DataBlockOf(const Bytes& file) {
    std::optional<LoadFileParts> parts = ParseLoadFile(file);
    if (!parts || parts->ciphered) {
        throw std::invalid_argument(
            "begins like a load file, but is no sequence of objects E2 that ends with one object C4");
    }
    return std::move(parts->dataBlock);
}

}  // namespace

LoadFile MakeLoadFile(const std::string& bytes, const std::vector<Signer>& signers) {
    const Bytes file(bytes.begin(), bytes.end());
    if (file.empty() || file.size() > LongestLoadFile) {
        throw std::invalid_argument(
            "has " + std::to_string(file.size()) + " bytes; a load file has 1 to " +
            std::to_string(LongestLoadFile));
    }
    if (bytes.rfind("PK", 0) == 0) {
        throw std::invalid_argument(
            "is an archive; the components in it must be joined in the order in which cards load them");
    }
    const Bytes hash = Sha256(BeginsLikeLoadFile(file) ? DataBlockOf(file) : file);
    Bytes whole;
    for (const Signer& signer : signers) {
        Append(whole, AuthenticationObject({signer.domain, Sign(signer.key, hash)}));
    }
    Append(whole, BeginsLikeLoadFile(file) ? file : GlobalPlatform::MakeLoadFile(file));
    return {whole, hash};
}

}  // namespace KeyServer
