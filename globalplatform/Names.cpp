// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Names.h"

#include <iterator>

#include "globalplatform/LifeCycle.h"

namespace GlobalPlatform {

namespace {

constexpr const char* Privileges[] = {
    "Security Domain",
    "DAP Verification",
    "Delegated Management",
    "Card Lock",
    "Card Terminate",
    "Card Reset",
    "CVM Management",
    "Mandated DAP Verification",
    "Trusted Path",
    "Authorized Management",
    "Token Verification",
    "Global Delete",
    "Global Lock",
    "Global Registry",
    "Final Application",
    "Global Service",
    "Receipt Generation",
    "Ciphered Load File Data Block",
    "Contactless Activation",
    "Contactless Self-Activation",
};

}  // namespace

std::vector<std::string> PrivilegeNames(const Bytes& privileges) {
    std::vector<std::string> names;
    for (std::size_t bit = 0; bit < 8 * privileges.size() && bit < std::size(Privileges); ++bit) {
        const bool isSet = (privileges[bit / 8] & (0x80U >> bit % 8)) != 0;
        if (isSet) {
            names.emplace_back(Privileges[bit]);
        }
    }
    return names;
}

std::string CardStateName(std::uint8_t state) {
    switch (state) {
        case LifeCycle::CardReady:
            return "OP_READY";
        case LifeCycle::CardInitialized:
            return "INITIALIZED";
        case LifeCycle::CardSecured:
            return "SECURED";
        case LifeCycle::CardLocked:
            return "CARD_LOCKED";
        case LifeCycle::CardTerminated:
            return "TERMINATED";
        default:
            return {};
    }
}

std::string ApplicationStateName(std::uint8_t state) {
    if (!IsApplicationState(state)) {
        return {};
    }
    const std::uint8_t unlocked = state & static_cast<std::uint8_t>(~LifeCycle::LockedFlag);
    std::string name = "its own state";
    if (unlocked == LifeCycle::Installed) {
        name = "INSTALLED";
    } else if (unlocked == LifeCycle::Selectable) {
        name = "SELECTABLE";
    }
    return unlocked == state ? name : "LOCKED, was " + name;
}

}  // namespace GlobalPlatform
