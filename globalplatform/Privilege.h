// SPDX-License-Identifier: Apache-2.0
// Privileges of applications and security domains, three bytes as one number; GlobalPlatform Card 2.3.1, 6.6
// and 11.1.2.
#pragma once

#include <cstddef>
#include <cstdint>

namespace GlobalPlatform {

constexpr std::size_t PrivilegesLength = 3;

// Some are several bits: without the others they do not stand.
namespace Privilege {
constexpr std::uint32_t SecurityDomain = 0x800000;
constexpr std::uint32_t DapVerification = 0xC00000;
constexpr std::uint32_t DelegatedManagement = 0xA00000;
constexpr std::uint32_t CardLock = 0x100000;
constexpr std::uint32_t CardTerminate = 0x080000;
constexpr std::uint32_t CardReset = 0x040000;
constexpr std::uint32_t CvmManagement = 0x020000;
constexpr std::uint32_t MandatedDapVerification = 0xC10000;
constexpr std::uint32_t TrustedPath = 0x008000;
constexpr std::uint32_t AuthorizedManagement = 0x004000;
constexpr std::uint32_t TokenVerification = 0x002000;
constexpr std::uint32_t GlobalDelete = 0x001000;
constexpr std::uint32_t GlobalLock = 0x000800;
constexpr std::uint32_t GlobalRegistry = 0x000400;
constexpr std::uint32_t FinalApplication = 0x000200;
constexpr std::uint32_t GlobalService = 0x000100;
constexpr std::uint32_t ReceiptGeneration = 0x000080;
constexpr std::uint32_t CipheredLoadFile = 0x000040;

constexpr std::uint32_t Reserved = 0x00000F;  // is passed over
}  // namespace Privilege

}  // namespace GlobalPlatform
