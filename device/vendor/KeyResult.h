// SPDX-License-Identifier: Apache-2.0
// What the stand-in for the key-provisioning library answers, besides amounts of data. The numbers are this
// device's own.
#pragma once

#include <stdexcept>
#include <string>

namespace Vendor {

enum KeyResult {
    KeyDone = 0,
    NoSuchKey = -101,
    KeyExists = -102,
    WrongType = -103,  // not the key's own key type or injection type, or a number that means nothing
    BadName = -104,    // empty, too long, or with characters that the key file cannot hold
    BufferTooSmall = -105,
    BadData = -106,  // missing where the injection type asks for it, or not of its encoding
    SessionIsOpen = -107,
    NoSession = -108,
    StoreFailure = -109,  // the key file is damaged, or cannot be read or written
};

// Ends a call with a result and the reason for the device's log.
class Refusal : public std::runtime_error {
public:
    Refusal(KeyResult keyResult, const std::string& reason) : std::runtime_error(reason), result(keyResult) {}

    const KeyResult result;
};

}  // namespace Vendor
