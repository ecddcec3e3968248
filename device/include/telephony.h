// SPDX-License-Identifier: Apache-2.0
// SIMs, the mobile network and the modem.
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    TELEPHONY_ERROR_NONE = 0,
    TELEPHONY_ERROR_OUT_OF_MEMORY = -12,
    TELEPHONY_ERROR_PERMISSION_DENIED = -13,
    TELEPHONY_ERROR_INVALID_PARAMETER = -22,
    TELEPHONY_ERROR_NOT_SUPPORTED = -1073741822,
    TELEPHONY_ERROR_OPERATION_FAILED = -39845887,
    TELEPHONY_ERROR_SIM_NOT_AVAILABLE = -39841791
} telephony_error_e;

typedef struct telephony_data* telephony_h;

typedef struct {
    unsigned int count;
    telephony_h* handle;
} telephony_handle_list_s;

// Fills the list with one handle for each SIM slot; telephony_deinit releases what it filled in.
int telephony_init(telephony_handle_list_s* list);
int telephony_deinit(telephony_handle_list_s* list);

// The caller releases the texts with free().
int telephony_network_get_mcc(telephony_h handle, char** mcc);
int telephony_network_get_mnc(telephony_h handle, char** mnc);
int telephony_modem_get_imei(telephony_h handle, char** imei);

int telephony_network_get_roaming_status(telephony_h handle, bool* status);

#ifdef __cplusplus
}
#endif
