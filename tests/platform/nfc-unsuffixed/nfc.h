// SPDX-License-Identifier: Apache-2.0
#pragma once
#pragma GCC system_header

// Starting comes in two calls, and a missing permission has no name here.
#define nfc_manager_initialize nfc_manager_initialize_sync
#define NFC_ERROR_PERMISSION_DENIED NFC_ERROR_PERMISSION_DENIED_elsewhere
#include_next <nfc.h>
#undef NFC_ERROR_PERMISSION_DENIED
#undef nfc_manager_initialize

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*nfc_initialize_completed_cb)(nfc_error_e error, void* user_data);
int nfc_manager_initialize(nfc_initialize_completed_cb callback, void* user_data);

int nfc_se_open_secure_element(nfc_se_type_e se_type, nfc_se_h* handle);
int nfc_se_send_apdu(
    nfc_se_h handle, unsigned char* cmd, unsigned int cmd_len, unsigned char** resp, unsigned int* resp_len);
int nfc_se_close_secure_element(nfc_se_h handle);
int nfc_se_get_atr(nfc_se_h handle, unsigned char** atr, unsigned int* atr_len);

#ifdef __cplusplus
}
#endif
