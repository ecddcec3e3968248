// SPDX-License-Identifier: Apache-2.0
// What a whole load file has to be before it is taken: GlobalPlatform Card 2.3.1, 9.2, 9.3.5 and 11.6.2.3,
// and C.
#pragma once

#include "card/Runtime.h"

namespace Card {

// The code, in the clear. Throws a Refusal: 6985 for a file of another structure, a wrong hash, a signature
// that is missing or that nobody can verify, and 6982 for a wrong one; LOAD knows no wrong data, table 11-60.
[[nodiscard]] Bytes VerifiedCode(const CardContent& content, const Loading& loading);

}  // namespace Card
