// Names of the platform functions that the device answers.
#pragma once

#include <string>
#include <string_view>

namespace Device {

// Secure-element calls go by the name without "_internal"; every other name is returned as it is.
std::string CanonicalFunction(const std::string& name);

bool IsPlatformFunction(std::string_view canonicalName);

}  // namespace Device
