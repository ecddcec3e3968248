// SPDX-License-Identifier: Apache-2.0
// Facts about the platform and the hardware.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    SYSTEM_INFO_ERROR_NONE = 0,
    SYSTEM_INFO_ERROR_IO_ERROR = -5,
    SYSTEM_INFO_ERROR_OUT_OF_MEMORY = -12,
    SYSTEM_INFO_ERROR_PERMISSION_DENIED = -13,
    SYSTEM_INFO_ERROR_INVALID_PARAMETER = -22
} system_info_error_e;

// The caller releases the text with free(). An unknown key is an invalid parameter.
int system_info_get_platform_string(const char* key, char** value);

#ifdef __cplusplus
}
#endif
