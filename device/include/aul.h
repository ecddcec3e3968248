// SPDX-License-Identifier: Apache-2.0
// Which application a process runs.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    AUL_R_EREJECTED = -14,
    AUL_R_ENOAPP = -13,
    AUL_R_EHIDDENFORGUEST = -11,
    AUL_R_ENOLAUNCHPAD = -10,
    AUL_R_ETERMINATING = -9,
    AUL_R_EILLACC = -8,
    AUL_R_LOCAL = -7,
    AUL_R_ETIMEOUT = -6,
    AUL_R_ECANCELED = -5,
    AUL_R_EINVAL = -4,
    AUL_R_ECOMM = -3,
    AUL_R_ENOINIT = -2,
    AUL_R_ERROR = -1,
    AUL_R_OK = 0
} aul_return_val;

// Each writes a text into the caller's buffer of `len` bytes.
int aul_app_get_pkgname_bypid(int pid, char* pkgname, int len);
int aul_app_get_pkgid_bypid(int pid, char* pkgid, int len);
int aul_app_get_appid_bypid(int pid, char* appid, int len);

#ifdef __cplusplus
}
#endif
