// SPDX-License-Identifier: Apache-2.0
#include "device/element/PcscFailure.h"

#include <nfc.h>
#include <winscard.h>

#include <cstdio>

namespace Device {

namespace {

std::string InHexadecimal(long result) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "0x%08lX", static_cast<unsigned long>(result) & 0xFFFFFFFFUL);
    return digits;
}

}  // namespace

int NfcErrorOf(long result) {
    switch (result) {
        case SCARD_E_NO_SERVICE:
        case SCARD_E_SERVICE_STOPPED:
        case SCARD_E_INVALID_HANDLE:  // of a service that has been started anew meanwhile
            return NFC_ERROR_NOT_ACTIVATED;
        case SCARD_E_NO_READERS_AVAILABLE:
        case SCARD_E_UNKNOWN_READER:
        case SCARD_E_READER_UNAVAILABLE:
            return NFC_ERROR_NO_DEVICE;
        case SCARD_E_NO_SMARTCARD:
        case SCARD_W_REMOVED_CARD:
            return NFC_ERROR_ALREADY_DEACTIVATED;
        case SCARD_W_RESET_CARD:
            return NFC_ERROR_ILLEGAL_STATE;
        case SCARD_E_SHARING_VIOLATION:
            return NFC_ERROR_DEVICE_BUSY;
        case SCARD_E_TIMEOUT:
        case SCARD_E_CANCELLED:
            return NFC_ERROR_TIMED_OUT;
        case SCARD_E_PROTO_MISMATCH:
        case SCARD_W_UNSUPPORTED_CARD:
        case SCARD_W_UNRESPONSIVE_CARD:
        case SCARD_W_UNPOWERED_CARD:
            return NFC_ERROR_TAG_NOT_SUPPORTED;
        case SCARD_W_SECURITY_VIOLATION:
            return NFC_ERROR_PERMISSION_DENIED;
        case SCARD_E_NO_MEMORY:
            return NFC_ERROR_OUT_OF_MEMORY;
        default:
            return NFC_ERROR_OPERATION_FAILED;
    }
}

ElementFailure PcscFailure(const std::string& action, long result) {
    return {
        NfcErrorOf(result),
        action + ": " + pcsc_stringify_error(result) + " (" + InHexadecimal(result) + ")"};
}

}  // namespace Device
