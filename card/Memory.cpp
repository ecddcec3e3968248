// SPDX-License-Identifier: Apache-2.0
#include "card/Memory.h"

#include <algorithm>

#include "card/Refusal.h"
#include "globalplatform/Aes.h"

namespace Card {

namespace {

// The set of three that a card has at first is no part of what it is sold as.
constexpr std::uint64_t FirstKeysMemory = 3 * AesKeyLength;

std::uint64_t DataMemory(const StoredData& data) {
    std::uint64_t size = 0;
    for (const auto& object : data) {
        size += ObjectMemory + object.second.size();
    }
    return size;
}

std::uint64_t KeysMemory(const KeySets& sets) {
    std::uint64_t size = 0;
    for (const auto& versioned : sets) {
        for (const auto& numbered : versioned.second.keys) {
            size += numbered.second.Length();
        }
    }
    return size;
}

// What it keeps by itself: its quota is of that.
std::uint64_t OwnMemory(const Application& application) {
    return DataMemory(application.data) + KeysMemory(application.keySets) +
           CounterMemory * application.counters.size();
}

std::uint64_t Remainder(std::uint64_t whole, std::uint64_t taken) {
    return whole - std::min(whole, taken);
}

}  // namespace

// What is reserved is used first, so that the larger of both counts.
std::uint64_t UsedMemory(const CardContent& content) {
    const std::uint64_t keys = KeysMemory(content.issuerDomain.keySets);
    std::uint64_t used = DataMemory(content.issuerDomain.data) + Remainder(keys, FirstKeysMemory);
    for (const LoadFile& file : content.loadFiles) {
        used += file.CameWithTheCard() ? 0 : LoadFileMemory + file.size;
    }
    for (const Application& application : content.applications) {
        used += InstanceMemory + application.parameters +
                std::max(application.memory.reserved, OwnMemory(application));
    }
    return used;
}

std::uint64_t FreeMemory(const CardContent& content, const Options& options) {
    return Remainder(options.memory, UsedMemory(content));
}

std::uint64_t FreeVolatileMemory(const CardContent& content, const Options& options) {
    std::uint64_t reserved = 0;
    for (const Application& application : content.applications) {
        reserved += application.volatileMemory.reserved;
    }
    return Remainder(options.volatileMemory, reserved);
}

// What takes no more memory than before is let through also on a card whose memory was made smaller.
void RequireMemory(const CardContent& before, const CardContent& changed, const Options& options) {
    const std::uint64_t needed = UsedMemory(changed);
    const bool beyondQuota = std::any_of(
        changed.applications.begin(), changed.applications.end(),
        [](const Application& each) { return each.memory.quota && OwnMemory(each) > *each.memory.quota; });
    if (beyondQuota || (needed > options.memory && needed > UsedMemory(before))) {
        Refuse(StatusWord::NotEnoughMemory);
    }
}

}  // namespace Card
