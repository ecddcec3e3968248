// SPDX-License-Identifier: Apache-2.0
// Installed packages by application.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    PACKAGE_MANAGER_ERROR_NONE = 0,
    PACKAGE_MANAGER_ERROR_IO_ERROR = -5,
    PACKAGE_MANAGER_ERROR_OUT_OF_MEMORY = -12,
    PACKAGE_MANAGER_ERROR_PERMISSION_DENIED = -13,
    PACKAGE_MANAGER_ERROR_INVALID_PARAMETER = -22,
    PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE = -18153359,
    PACKAGE_MANAGER_ERROR_SYSTEM_ERROR = -18153358
} package_manager_error_e;

// The caller releases the text with free().
int package_manager_get_package_id_by_app_id(const char* app_id, char** package_id);

#ifdef __cplusplus
}
#endif
