// SPDX-License-Identifier: Apache-2.0
// Security domains above and below each other, and what they may do with each other's content. Clauses are
// those of GlobalPlatform Card 2.3.1.
#pragma once

#include "card/Runtime.h"

namespace Card {

// The domain above, or nothing: the issuer domain and what was extradited to itself have none; 7.2.
[[nodiscard]] const Application* Above(const CardContent& content, const Application& domain);

// Whether what is associated so belongs to the domain, directly or through other domains; 7.2.
[[nodiscard]] bool IsBelow(
    const CardContent& content, const Association& association, const Application& domain);

// Whether a domain has what it needs to manage and to serve: the issuer domain always, another once it is
// personalized, and not while it is locked; 5.3.2.
[[nodiscard]] bool IsOperational(const CardContent& content, const Application& domain);

// The nearest domain with the privilege, from this one upwards; nothing when there is none.
[[nodiscard]] const Application* NearestWith(
    const CardContent& content, const Application& domain, std::uint32_t privilege);

// Whether the card or the domain may no longer manage in this manner, as restrictions have it; table 11-53.
[[nodiscard]] bool IsRestricted(const CardContent& content, const Application& domain, std::uint8_t manner);

// The selected domain, when nothing keeps it from managing content in this manner: the bits of P1 of INSTALL,
// or 01 for DELETE, as restrictions have them; 9.1.3 and table 11-53.
[[nodiscard]] const Application& Manager(const Runtime& card, std::uint8_t manner);

// The domain by its name, where another one is to get content; 9.3.5 and 9.4.1. Throws a Refusal when it is
// none (6A88) or takes nothing (6985).
[[nodiscard]] const Application& AcceptingDomain(const CardContent& content, const Bytes& aid);

// What is associated so is changed by the domain that has it, and by those above; 9.3.7, 9.4 and 9.5.
void RequireConsent(const CardContent& content, const Association& association, const Application& manager);

}  // namespace Card
