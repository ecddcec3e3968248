// SPDX-License-Identifier: Apache-2.0
// Version and certificates of installed packages. Texts belong to the handle they were read from.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

#define PMINFO_R_EINVAL -2
#define PMINFO_R_ERROR -1
#define PMINFO_R_OK 0

typedef void* pkgmgrinfo_pkginfo_h;
typedef void* pkgmgrinfo_certinfo_h;

typedef enum {
    PMINFO_AUTHOR_ROOT_CERT = 0,
    PMINFO_AUTHOR_INTERMEDIATE_CERT = 1,
    PMINFO_AUTHOR_SIGNER_CERT = 2,
    PMINFO_DISTRIBUTOR_ROOT_CERT = 3,
    PMINFO_DISTRIBUTOR_INTERMEDIATE_CERT = 4,
    PMINFO_DISTRIBUTOR_SIGNER_CERT = 5,
    PMINFO_DISTRIBUTOR2_ROOT_CERT = 6,
    PMINFO_DISTRIBUTOR2_INTERMEDIATE_CERT = 7,
    PMINFO_DISTRIBUTOR2_SIGNER_CERT = 8
} pkgmgrinfo_cert_type;

int pkgmgrinfo_pkginfo_create_certinfo(pkgmgrinfo_certinfo_h* handle);
int pkgmgrinfo_pkginfo_load_certinfo(const char* pkgid, pkgmgrinfo_certinfo_h handle);
int pkgmgrinfo_pkginfo_get_cert_value(
    pkgmgrinfo_certinfo_h handle, pkgmgrinfo_cert_type cert_type, const char** cert_value);
int pkgmgrinfo_pkginfo_destroy_certinfo(pkgmgrinfo_certinfo_h handle);

int pkgmgrinfo_pkginfo_get_pkginfo(const char* pkgid, pkgmgrinfo_pkginfo_h* handle);
int pkgmgrinfo_pkginfo_get_version(pkgmgrinfo_pkginfo_h handle, char** version);
int pkgmgrinfo_pkginfo_destroy_pkginfo(pkgmgrinfo_pkginfo_h handle);

#ifdef __cplusplus
}
#endif
