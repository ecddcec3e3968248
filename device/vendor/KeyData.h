// SPDX-License-Identifier: Apache-2.0
// Key data in the encodings of the key-provisioning library's calls.
#pragma once

#include "device/names/Bytes.h"

namespace Vendor {

using Device::Bytes;

// Numbers of the service's vocabulary. Hexadecimal text is the service's business on both ways: the library
// gets and gives bytes.
enum Encoding { HexadecimalEncoding = 1, PlainEncoding = 2, Base64Encoding = 4 };

// The value of data that came in an encoding. Throws Refusal (BadData).
[[nodiscard]] Bytes Decode(const Bytes& data, int encoding);

// The other way round, for data that goes out.
[[nodiscard]] Bytes Encode(const Bytes& value, int encoding);

// A fresh key of 32 bytes.
[[nodiscard]] Bytes RandomKey();

}  // namespace Vendor
