// SPDX-License-Identifier: Apache-2.0
// The log's way out of the process.
#pragma once

#include <string>

namespace Device {

// Writes `message` in the platform's line form, "E/NavoAgent( 1234): message", to the file that the variable
// NAVO_DLOG names, else to standard error. A message of several lines becomes as many lines of the log. One
// write for each call, so that lines of several processes never mix. Bytes written. Thread-safe.
int WriteLog(char priority, const std::string& tag, const std::string& message);

// A line of the device itself, under its own tag: on standard error, and in the log's file if there is one.
void WriteDeviceLog(const std::string& message);

}  // namespace Device
