// SPDX-License-Identifier: Apache-2.0
// Facts about the device, the clock and the calling application. Each has a definition for each platform.
//
// This is the platform's face towards every part of the service, so it is complete: nobody asks for the time
// in milliseconds, the IMEI, the data service, the device's name, or an application's package and version as
// yet.
#pragma once

#include <cstdint>
#include <string>

namespace Na {

// UTC, 12 digits: YYMMDDhhmmss.
std::string GetCurrentDateTime();

// Milliseconds since the epoch, in whole seconds: the value always ends in 000. 0 when the clock fails.
std::int64_t GetCurrentTimeMillis();

// Each of these gives the empty text (false) when the platform has no answer. `simSlot` counts from 0.
std::string GetCscSalesCode();
std::string GetMnc(unsigned simSlot);
std::string GetMcc(unsigned simSlot);
std::string GetImei(unsigned simSlot);
bool IsRoaming(unsigned simSlot);
bool IsDataServiceAvailable();
std::string GetCountryCode();
std::string GetModelName();
std::string GetDeviceName();
std::string GetDeviceBuildVersion();

// True only when the distributor's root certificate of the package has exactly platform visibility.
bool IsClientPrivileged(const std::string& packageId);

// An empty application id asks for the service's own. Empty when unknown.
std::string GetApplicationPackageId(const std::string& applicationId);
std::string GetApplicationVersion(const std::string& applicationId);

}  // namespace Na
