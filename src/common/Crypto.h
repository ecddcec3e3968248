// SPDX-License-Identifier: Apache-2.0
// Digests.
#pragma once

#include "common/Utils.h"

namespace Na {

// SHA-256 (FIPS 180-4): 32 bytes, none when the library fails.
Bytes Sha256(const Bytes& data);

}  // namespace Na
