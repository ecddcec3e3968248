// SPDX-License-Identifier: Apache-2.0
#include "card/Identification.h"

#include "globalplatform/Tags.h"

namespace Card {

namespace {

// In the production life-cycle data: date, serial and batch number.
constexpr std::size_t FabricationDataAt = 10;
constexpr std::size_t FabricationDataLength = 8;

Bytes Part(const Bytes& bytes, std::size_t at, std::size_t length) {
    return First(Last(bytes, bytes.size() - at), length);
}

}  // namespace

Bytes KeyDiversificationData(const Options& options) {
    Bytes data = First(options.cplc, 4);
    Append(data, Part(options.cplc, FabricationDataAt, 6));
    return data;
}

std::optional<Bytes> DomainNumber(
    const CardContent& content, const Options& options, const Application& domain, std::uint32_t tag) {
    const auto stored = domain.data.find(tag);
    if (stored != domain.data.end()) {
        return stored->second;
    }
    if (!content.IsIssuer(domain)) {
        return std::nullopt;
    }
    return tag == Tag::IssuerNumber ? options.issuerNumber
                                    : Part(options.cplc, FabricationDataAt, FabricationDataLength);
}

}  // namespace Card
