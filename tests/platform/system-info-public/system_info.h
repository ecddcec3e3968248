// SPDX-License-Identifier: Apache-2.0
#pragma once
#pragma GCC system_header

#include_next <system_info.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum { SYSTEM_INFO_KEY_MODEL = 0, SYSTEM_INFO_KEY_BUILD_STRING = 7 } system_info_key_e;

int system_info_get_value_string(system_info_key_e key, char** value);

#ifdef __cplusplus
}
#endif
