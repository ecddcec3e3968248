// SPDX-License-Identifier: Apache-2.0
// A failure of a secure element that the caller of the platform's functions is told by a code of its own.
#pragma once

#include <stdexcept>
#include <string>

namespace Device {

class ElementFailure : public std::runtime_error {
public:
    // `nfcError` is one of nfc_error_e, and never NFC_ERROR_NONE.
    ElementFailure(int nfcError, const std::string& cause) : std::runtime_error(cause), code(nfcError) {}

    int Code() const { return code; }

private:
    int code;
};

}  // namespace Device
