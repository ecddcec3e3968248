// SPDX-License-Identifier: Apache-2.0
// NFC manager: life cycle, presence, and the types of the secure-element calls in nfc_internal.h.
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    NFC_ERROR_NONE = 0,
    NFC_ERROR_OUT_OF_MEMORY = -12,
    NFC_ERROR_PERMISSION_DENIED = -13,
    NFC_ERROR_DEVICE_BUSY = -16,
    NFC_ERROR_INVALID_PARAMETER = -22,
    NFC_ERROR_TIMED_OUT = -1073741823,
    NFC_ERROR_NOT_SUPPORTED = -1073741822,
    NFC_ERROR_OPERATION_FAILED = -29491199,
    NFC_ERROR_INVALID_NDEF_MESSAGE = -29491198,
    NFC_ERROR_INVALID_RECORD_TYPE = -29491197,
    NFC_ERROR_NO_DEVICE = -29491196,
    NFC_ERROR_NOT_ACTIVATED = -29491195,
    NFC_ERROR_ALREADY_ACTIVATED = -29491194,
    NFC_ERROR_ALREADY_DEACTIVATED = -29491193,
    NFC_ERROR_READ_ONLY_NDEF = -29491192,
    NFC_ERROR_NO_SPACE_ON_NDEF = -29491191,
    NFC_ERROR_NO_NDEF_MESSAGE = -29491190,
    NFC_ERROR_NOT_NDEF_FORMAT = -29491189,
    NFC_ERROR_SECURITY_RESTRICTED = -29491188,
    NFC_ERROR_ILLEGAL_STATE = -29491187,
    NFC_ERROR_NOT_INITIALIZED = -29491186,
    NFC_ERROR_TAG_NOT_SUPPORTED = -29491185,
    NFC_ERROR_AID_ALREADY_REGISTERED = -29491184
} nfc_error_e;

typedef enum {
    NFC_SE_TYPE_DISABLE = 0,
    NFC_SE_TYPE_ESE = 1,
    NFC_SE_TYPE_UICC = 2,
    NFC_SE_TYPE_SDCARD = 3,
    NFC_SE_TYPE_HCE = 4
} nfc_se_type_e;

typedef void* nfc_se_h;

// Must precede every other call but nfc_manager_is_supported.
int nfc_manager_initialize(void);
int nfc_manager_deinitialize(void);

// Leaves the detailed code in get_last_result().
bool nfc_manager_is_supported(void);

#ifdef __cplusplus
}
#endif
