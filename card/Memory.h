// SPDX-License-Identifier: Apache-2.0
// The memory of a card, who has how much of it, and what may not be taken: GlobalPlatform Card 2.3.1, 9.7.
#pragma once

#include "card/CardContent.h"

namespace Card {

// What an entry takes beside its code, its parameters and its value.
constexpr std::uint64_t LoadFileMemory = 64;
constexpr std::uint64_t InstanceMemory = 512;
constexpr std::uint64_t ObjectMemory = 4;
constexpr std::uint64_t CounterMemory = 8;

// Bytes of non-volatile memory that are in use or reserved, beyond what a card has at first.
[[nodiscard]] std::uint64_t UsedMemory(const CardContent& content);

// 0 when there is less memory than the content takes.
[[nodiscard]] std::uint64_t FreeMemory(const CardContent& content, const Options& options);
[[nodiscard]] std::uint64_t FreeVolatileMemory(const CardContent& content, const Options& options);

// Throws a Refusal (no memory) when a change takes more than the card has, or an application more than its
// quota.
void RequireMemory(const CardContent& before, const CardContent& changed, const Options& options);

}  // namespace Card
