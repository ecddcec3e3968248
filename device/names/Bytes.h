// SPDX-License-Identifier: Apache-2.0
// Bytes and their hexadecimal text under the device's own name.
#pragma once

#include "globalplatform/Bytes.h"

namespace Device {

using GlobalPlatform::Append;
using GlobalPlatform::BigEndian;
using GlobalPlatform::Bytes;
using GlobalPlatform::FromHexText;
using GlobalPlatform::HexText;

}  // namespace Device
