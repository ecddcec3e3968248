// SPDX-License-Identifier: Apache-2.0
// Aliases of secrets in what the device writes for others to read.
#pragma once

#include "globalplatform/Masking.h"

namespace Device {

// One for the whole process, so that a secret has the same alias wherever it is written.
[[nodiscard]] const GlobalPlatform::Masking& Aliases();

}  // namespace Device
