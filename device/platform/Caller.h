// SPDX-License-Identifier: Apache-2.0
// Which package a process belongs to.
#pragma once

#include <string>

#include "device/configuration/Configuration.h"

namespace Device {

// The package that the process names in its environment, where the device trusts that, else the package that
// lists the process's executable. Empty when there is none.
[[nodiscard]] std::string PackageOfProcess(const Configuration& device, int pid);

}  // namespace Device
