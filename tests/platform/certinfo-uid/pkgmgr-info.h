// SPDX-License-Identifier: Apache-2.0
#pragma once
#pragma GCC system_header

#include <sys/types.h>

#define pkgmgrinfo_pkginfo_load_certinfo pkgmgrinfo_pkginfo_load_certinfo_without_user
#include_next <pkgmgr-info.h>
#undef pkgmgrinfo_pkginfo_load_certinfo

#ifdef __cplusplus
extern "C" {
#endif

int pkgmgrinfo_pkginfo_load_certinfo(const char* pkgid, pkgmgrinfo_certinfo_h handle, uid_t uid);

#ifdef __cplusplus
}
#endif
