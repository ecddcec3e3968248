// SPDX-License-Identifier: Apache-2.0
// Facts about the platform by number. Results are system_info_error_e.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    SYSTEM_INFO_KEY_MODEL = 0,
    SYSTEM_INFO_KEY_TIZEN_VERSION = 1,
    SYSTEM_INFO_KEY_PLATFORM_NAME = 2,
    SYSTEM_INFO_KEY_TIZEN_VERSION_NAME = 3,
    SYSTEM_INFO_KEY_MANUFACTURER = 4,
    SYSTEM_INFO_KEY_CORE_CPU_ARCH = 5,
    SYSTEM_INFO_KEY_CORE_CPU_FREQ = 6,
    SYSTEM_INFO_KEY_BUILD_STRING = 7,
    SYSTEM_INFO_KEY_BUILD_DATE = 8,
    SYSTEM_INFO_KEY_BUILD_TIME = 9,
    SYSTEM_INFO_KEY_SCREEN_HEIGHT = 10,
    SYSTEM_INFO_KEY_SCREEN_WIDTH = 11,
    SYSTEM_INFO_KEY_PHYSICAL_SCREEN_HEIGHT = 12,
    SYSTEM_INFO_KEY_PHYSICAL_SCREEN_WIDTH = 13,
    SYSTEM_INFO_KEY_TETHERING_SUPPORTED = 14
} system_info_key_e;

// The caller releases the text with free().
int system_info_get_value_string(system_info_key_e key, char** value);

#ifdef __cplusplus
}
#endif
