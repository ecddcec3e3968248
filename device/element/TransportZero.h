// SPDX-License-Identifier: Apache-2.0
// Commands as the half-duplex character protocol T=0 carries them (ISO 7816-3:2006, 12.2).
#pragma once

#include "device/names/Bytes.h"

namespace Device {

// What goes to a card that speaks T=0 in place of the command APDU: a header of five bytes, whose last one is
// the length of what follows or of what is expected, and the data. What the card has in answer to data it
// announces with 61xx; fetching it is the caller's business. A command whose lengths do not agree goes as it
// stands. Throws ElementFailure with NFC_ERROR_NOT_SUPPORTED for a command that T=0 carries only in parts:
// more than 255 bytes of data.
[[nodiscard]] Bytes TransportCommand(const Bytes& command);

}  // namespace Device
