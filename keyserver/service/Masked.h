// SPDX-License-Identifier: Apache-2.0
// An exchange as a log may have it.
#pragma once

#include "globalplatform/Masking.h"
#include "keyserver/service/Exchange.h"

namespace KeyServer {

// With aliases for keys, card data and card numbers in commands, responses, bodies and words, and for the
// session key that a device sends.
[[nodiscard]] Exchange Masked(const GlobalPlatform::Masking& masking, Exchange exchange);

}  // namespace KeyServer
