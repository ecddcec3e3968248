// SPDX-License-Identifier: Apache-2.0
// Aliases of secrets in what the device writes for others to read.
#pragma once

#include "globalplatform/Masking.h"

namespace Device {

// One for the whole process, so that a secret has the same alias wherever it is written.
[[nodiscard]] const GlobalPlatform::Masking& Aliases();

// Whether the variable NAVO_MASK is "none", so that everything is written as it is. Looked at again each
// time.
[[nodiscard]] bool ShowsSecrets();

}  // namespace Device
