// SPDX-License-Identifier: Apache-2.0
// Names of the platform functions that the device answers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Device {

// Secure-element calls go by the name without "_internal"; every other name is returned as it is.
[[nodiscard]] std::string CanonicalFunction(const std::string& name);

[[nodiscard]] bool IsPlatformFunction(std::string_view canonicalName);

// All canonical names, in byte order.
[[nodiscard]] std::vector<std::string> AllPlatformFunctions();

}  // namespace Device
