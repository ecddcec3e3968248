// SPDX-License-Identifier: Apache-2.0
// Delegated management: tokens that allow a domain its commands, and receipts that confirm them. Clauses are
// those of GlobalPlatform Card 2.3.1.
#pragma once

#include "card/Runtime.h"
#include "globalplatform/Tlv.h"

namespace Card {

// A command as a token is over it, C.4, and the token that came with it.
struct Order {
    Bytes text;
    Bytes token;
    Bytes reference;  // the control reference of the token, table 11-48: who verifies it, and its number
};

// That of a form of INSTALL, whose last two fields are parameters and token. The other form of a combined
// process is the text in front of it.
[[nodiscard]] Order InstallOrder(
    const CommandApdu& command, const std::vector<Bytes>& fields, const Bytes& before = {});

// That of DELETE, of the objects of its data.
[[nodiscard]] Order DeletionOrder(const CommandApdu& command, const std::vector<TlvObject>& objects);

// Under authorized management a token is an error; under delegated management it has to be there, and the
// next domain above with the privilege verifies it; 9.1.3. Throws a Refusal: 6A80, 6985 when it is missing or
// nobody can verify it, 6982 when it is wrong.
[[nodiscard]] Mandate RequireMandate(const Runtime& card, const Application& manager, const Order& order);

// Makes the changed content last, and answers the command that changed it: with nothing, or with the
// confirmation of the next domain above that gives receipts, over these fields, C.5, whose counter goes up.
// Throws a Refusal (6985) when it has no key for them, or has counted to the end; nothing has changed then.
[[nodiscard]] Answer CommitAndConfirm(
    Runtime& card, CardContent changed, const Mandate& mandate, const std::vector<Bytes>& fields);

constexpr std::size_t ConfirmationCounterLength = 2;

}  // namespace Card
