// SPDX-License-Identifier: Apache-2.0
// The numbers that tell a card and its security domains from others.
#pragma once

#include "card/CardContent.h"

namespace Card {

// The ten bytes that tell one card's keys from another's; Amendment D, 7.1.1.
[[nodiscard]] Bytes KeyDiversificationData(const Options& options);

// What a domain has under one of the tags 42 and 45: what was stored there; of the issuer domain, else what
// the card was made with.
[[nodiscard]] std::optional<Bytes> DomainNumber(
    const CardContent& content, const Options& options, const Application& domain, std::uint32_t tag);

}  // namespace Card
