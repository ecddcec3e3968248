// SPDX-License-Identifier: Apache-2.0
// Life-cycle states as they stand in GET STATUS and SET STATUS; GlobalPlatform Card 2.3.1, 5 and 11.1.1.
#pragma once

#include <cstdint>

namespace GlobalPlatform {

namespace LifeCycle {
constexpr std::uint8_t Loaded = 0x01;
constexpr std::uint8_t Installed = 0x03;
constexpr std::uint8_t Selectable = 0x07;
constexpr std::uint8_t Personalized = 0x0F;  // of a supplementary security domain
constexpr std::uint8_t LockedFlag = 0x80;
constexpr std::uint8_t CardReady = 0x01;
constexpr std::uint8_t CardInitialized = 0x07;
constexpr std::uint8_t CardSecured = 0x0F;
constexpr std::uint8_t CardLocked = 0x7F;
constexpr std::uint8_t CardTerminated = 0xFF;
}  // namespace LifeCycle

// Whether the byte is a state that the standard knows, 5.1.1 and 5.3.1.
[[nodiscard]] constexpr bool IsCardState(std::uint8_t state) {
    return state == LifeCycle::CardReady || state == LifeCycle::CardInitialized ||
           state == LifeCycle::CardSecured || state == LifeCycle::CardLocked ||
           state == LifeCycle::CardTerminated;
}

[[nodiscard]] constexpr bool IsApplicationState(std::uint8_t state) {
    const std::uint8_t unlocked = state & ~LifeCycle::LockedFlag;
    return unlocked == LifeCycle::Installed || (unlocked & LifeCycle::Selectable) == LifeCycle::Selectable;
}

}  // namespace GlobalPlatform
