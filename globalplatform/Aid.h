// SPDX-License-Identifier: Apache-2.0
// Application identifiers; ISO 7816-4, 8.2.1.2.
#pragma once

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

constexpr std::size_t ShortestAid = 5;
constexpr std::size_t LongestAid = 16;

[[nodiscard]] inline bool IsAid(const Bytes& bytes) {
    return bytes.size() >= ShortestAid && bytes.size() <= LongestAid;
}

// What cards call the package and the module that supplementary security domains are installed from.
[[nodiscard]] inline Bytes DomainPackageAid() {
    return {0xA0, 0x00, 0x00, 0x01, 0x51, 0x53, 0x50};
}
[[nodiscard]] inline Bytes DomainModuleAid() {
    return {0xA0, 0x00, 0x00, 0x01, 0x51, 0x53, 0x50, 0x41};
}

}  // namespace GlobalPlatform
