// SPDX-License-Identifier: Apache-2.0
// What the functions of PC/SC return, in the platform's terms.
#pragma once

#include <string>

#include "device/recording/ElementFailure.h"

namespace Device {

// The failure of `action` with `result`, a code of SCard functions. Its cause has the code and its text:
// "SCardConnect of reader \"...\": Card was removed. (0x80100069)".
[[nodiscard]] ElementFailure PcscFailure(const std::string& action, long result);

// The platform's code for a result of an SCard function; docs/virtual-device.md has the table.
[[nodiscard]] int NfcErrorOf(long result);

}  // namespace Device
