// SPDX-License-Identifier: Apache-2.0
#include "tests/matrix/Codes.h"

namespace Matrix {

const Codes& ForeignCodes() {
    static const Codes codes = {"-1", "1", "12345", "0x80000000"};
    return codes;
}

const Codes& NfcCodes() {
    static const Codes codes = {"NFC_ERROR_OUT_OF_MEMORY",         "NFC_ERROR_DEVICE_BUSY",
                                "NFC_ERROR_INVALID_PARAMETER",     "NFC_ERROR_TIMED_OUT",
                                "NFC_ERROR_OPERATION_FAILED",      "NFC_ERROR_INVALID_NDEF_MESSAGE",
                                "NFC_ERROR_INVALID_RECORD_TYPE",   "NFC_ERROR_NO_DEVICE",
                                "NFC_ERROR_NOT_ACTIVATED",         "NFC_ERROR_ALREADY_ACTIVATED",
                                "NFC_ERROR_ALREADY_DEACTIVATED",   "NFC_ERROR_READ_ONLY_NDEF",
                                "NFC_ERROR_NO_SPACE_ON_NDEF",      "NFC_ERROR_NO_NDEF_MESSAGE",
                                "NFC_ERROR_NOT_NDEF_FORMAT",       "NFC_ERROR_ILLEGAL_STATE",
                                "NFC_ERROR_NOT_INITIALIZED",       "NFC_ERROR_TAG_NOT_SUPPORTED",
                                "NFC_ERROR_AID_ALREADY_REGISTERED"};
    return codes;
}

const Codes& NfcAccessCodes() {
    static const Codes codes = {
        "NFC_ERROR_SECURITY_RESTRICTED", "NFC_ERROR_NOT_SUPPORTED", "NFC_ERROR_PERMISSION_DENIED"};
    return codes;
}

const Codes& ConnectionCodes() {
    static const Codes codes = {
        "CONNECTION_ERROR_OUT_OF_MEMORY",
        "CONNECTION_ERROR_PERMISSION_DENIED",
        "CONNECTION_ERROR_INVALID_PARAMETER",
        "CONNECTION_ERROR_INVALID_OPERATION",
        "CONNECTION_ERROR_ADDRESS_FAMILY_NOT_SUPPORTED",
        "CONNECTION_ERROR_NOW_IN_PROGRESS",
        "CONNECTION_ERROR_NOT_SUPPORTED",
        "CONNECTION_ERROR_OPERATION_FAILED",
        "CONNECTION_ERROR_ITERATOR_END",
        "CONNECTION_ERROR_NO_CONNECTION",
        "CONNECTION_ERROR_ALREADY_EXISTS",
        "CONNECTION_ERROR_OPERATION_ABORTED",
        "CONNECTION_ERROR_DHCP_FAILED",
        "CONNECTION_ERROR_INVALID_KEY",
        "CONNECTION_ERROR_NO_REPLY",
        "-1",
        "12345"};
    return codes;
}

const Codes& TelephonyCodes() {
    static const Codes codes = {
        "TELEPHONY_ERROR_OUT_OF_MEMORY",
        "TELEPHONY_ERROR_PERMISSION_DENIED",
        "TELEPHONY_ERROR_INVALID_PARAMETER",
        "TELEPHONY_ERROR_NOT_SUPPORTED",
        "TELEPHONY_ERROR_OPERATION_FAILED",
        "TELEPHONY_ERROR_SIM_NOT_AVAILABLE",
        "-1",
        "12345"};
    return codes;
}

const Codes& SettingsCodes() {
    static const Codes codes = {
        "SYSTEM_SETTINGS_ERROR_IO_ERROR",
        "SYSTEM_SETTINGS_ERROR_OUT_OF_MEMORY",
        "SYSTEM_SETTINGS_ERROR_PERMISSION_DENIED",
        "SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER",
        "SYSTEM_SETTINGS_ERROR_NOT_SUPPORTED",
        "SYSTEM_SETTINGS_ERROR_LOCKSCREEN_APP_PASSWORD_MODE",
        "12345"};
    return codes;
}

const Codes& SystemInfoCodes() {
    static const Codes codes = {
        "SYSTEM_INFO_ERROR_IO_ERROR", "SYSTEM_INFO_ERROR_OUT_OF_MEMORY",
        "SYSTEM_INFO_ERROR_PERMISSION_DENIED", "SYSTEM_INFO_ERROR_INVALID_PARAMETER", "12345"};
    return codes;
}

const Codes& VconfCodes() {
    static const Codes codes = {"-1", "-2", "-13", "0", "12345"};
    return codes;
}

const Codes& PackageInfoCodes() {
    static const Codes codes = {"-1", "-2", "-3", "-4", "-22", "12345"};
    return codes;
}

const Codes& CertificateCodes() {
    static const Codes codes = {"0", "-1", "-2", "-3", "-4", "-5", "-6", "-7", "2", "12345"};
    return codes;
}

const Codes& EmptySuccess() {
    static const Codes codes = {"0"};
    return codes;
}

const Codes& EmptyCertificateSuccess() {
    static const Codes codes = {"1"};
    return codes;
}

Codes Joined(Codes first, const Codes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

}  // namespace Matrix
