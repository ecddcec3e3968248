// SPDX-License-Identifier: Apache-2.0
// The form of the CCM scripts that the stand-in for the secure-SPI library converts. The form is this
// device's own; docs/in-house-libraries.md describes it for people.
//
//   script       = mark list check          mark: C5; check: exclusive or of the list's bytes
//   list         = each byte of the packed list, exclusive or 5A
//   packed list  = records of a tag byte, a length (below 80 as it is, above as 81 and the length) and a
//                  command APDU
//
// An empty script stands for an empty list.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "device/names/Bytes.h"

namespace Vendor {

using Device::Bytes;

// Says what is wrong with a script.
class BadScript : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

constexpr std::size_t LongestApdu = 255;

// The packed list of commands of 1 to LongestApdu bytes. Throws BadScript.
[[nodiscard]] Bytes PackApdus(const std::vector<Bytes>& apdus);

// The other way round. Throws BadScript for a record that runs past the end.
std::vector<Bytes> UnpackApdus(const Bytes& packedList);

// Any list can be made a script, also one that no library would make.
[[nodiscard]] Bytes MakeScript(const Bytes& packedList);

// Throws BadScript.
Bytes PackedListOf(const Bytes& script);

}  // namespace Vendor
