// SPDX-License-Identifier: Apache-2.0
// The platform's configuration values.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

#define VCONF_OK 0
#define VCONF_ERROR -1

// Null on any error; the caller releases the text with free().
char* vconf_get_str(const char* in_key);

// Reason of the thread's last failure.
int vconf_get_ext_errno(void);

#ifdef __cplusplus
}
#endif
