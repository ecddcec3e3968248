// SPDX-License-Identifier: Apache-2.0
// What the log of the desk has of the commands that the service tells it.
#pragma once

#include <string>

namespace Device {

// The message with aliases for keys, card data and card numbers in the commands and responses that it shows,
// unless the variable NAVO_MASK is "none". A device's own log has them as they are.
[[nodiscard]] std::string WithoutSecrets(std::string message);

}  // namespace Device
