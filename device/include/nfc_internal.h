// SPDX-License-Identifier: Apache-2.0
// Secure-element channel of the NFC manager. Results are nfc_error_e.
#pragma once

#include <nfc.h>

#ifdef __cplusplus
extern "C" {
#endif

int nfc_se_open_secure_element_internal(nfc_se_type_e se_type, nfc_se_h* handle);

// The response is allocated; the caller releases it with free().
int nfc_se_send_apdu_internal(
    nfc_se_h handle, unsigned char* cmd, unsigned int cmd_len, unsigned char** resp, unsigned int* resp_len);

int nfc_se_close_secure_element_internal(nfc_se_h handle);

// The answer-to-reset belongs to the handle, ends with a zero byte beyond its length, and holds until the
// handle is closed.
int nfc_se_get_atr_internal(nfc_se_h handle, unsigned char** atr, unsigned int* atr_len);

#ifdef __cplusplus
}
#endif
