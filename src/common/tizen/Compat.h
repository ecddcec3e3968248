// SPDX-License-Identifier: Apache-2.0
// One face for platform calls that differ between releases. The build probes which form the headers have
// (NAVO_HAVE_...); what a type can tell is left to the compiler.
#pragma once

#include <nfc.h>
#if NAVO_HAVE_NFC_INTERNAL
#include <nfc_internal.h>
#endif
#include <system_info.h>
#if NAVO_HAVE_SYSTEM_INFO_INTERNAL
#include <system_info_internal.h>
#endif
#include <cert-svc/ccert.h>
#include <cert-svc/cinstance.h>
#include <pkgmgr-info.h>
#include <unistd.h>

#include <cstring>

namespace Compat {

inline int InitializeNfc() {
#if NAVO_HAVE_NFC_INITIALIZE_CALLBACK
    return nfc_manager_initialize_sync();
#else
    return nfc_manager_initialize();
#endif
}

#if NAVO_HAVE_NFC_INTERNAL
inline int OpenSecureElement(nfc_se_type_e type, nfc_se_h* handle) {
    return nfc_se_open_secure_element_internal(type, handle);
}
inline int SendApdu(
    nfc_se_h handle, unsigned char* command, unsigned length, unsigned char** response,
    unsigned* responseLength) {
    return nfc_se_send_apdu_internal(handle, command, length, response, responseLength);
}
inline int CloseSecureElement(nfc_se_h handle) {
    return nfc_se_close_secure_element_internal(handle);
}
inline int GetAtr(nfc_se_h handle, unsigned char** atr, unsigned* length) {
    return nfc_se_get_atr_internal(handle, atr, length);
}
#else
inline int OpenSecureElement(nfc_se_type_e type, nfc_se_h* handle) {
    return nfc_se_open_secure_element(type, handle);
}
inline int SendApdu(
    nfc_se_h handle, unsigned char* command, unsigned length, unsigned char** response,
    unsigned* responseLength) {
    return nfc_se_send_apdu(handle, command, length, response, responseLength);
}
inline int CloseSecureElement(nfc_se_h handle) {
    return nfc_se_close_secure_element(handle);
}
inline int GetAtr(nfc_se_h handle, unsigned char** atr, unsigned* length) {
    return nfc_se_get_atr(handle, atr, length);
}
#endif

// The platform's build string; the caller frees it.
inline int GetBuildString(char** value) {
#if NAVO_HAVE_SYSTEM_INFO_INTERNAL || NAVO_HAVE_SYSTEM_INFO_VALUE
    return system_info_get_value_string(SYSTEM_INFO_KEY_BUILD_STRING, value);
#else
    return system_info_get_platform_string("http://tizen.org/system/build.string", value);
#endif
}

inline int LoadCertificateInfo(const char* packageId, pkgmgrinfo_certinfo_h handle) {
#if NAVO_HAVE_CERTINFO_UID
    return pkgmgrinfo_pkginfo_load_certinfo(packageId, handle, getuid());
#else
    return pkgmgrinfo_pkginfo_load_certinfo(packageId, handle);
#endif
}

// A number of the platform as it stands in memory: a release may know more values than its enumeration lists,
// and to read one of those as the enumeration is undefined.
template <typename Enumeration>
int NumberOf(const Enumeration& value) {
    static_assert(sizeof(Enumeration) == sizeof(int), "the platform's enumerations are as wide as an int");
    int number = 0;
    std::memcpy(&number, &value, sizeof number);
    return number;
}

// The visibility is an int in some releases and an enumeration in others.
template <typename Visibility>
int VisibilityAsInt(
    int (*getVisibility)(CertSvcCertificate, Visibility*), CertSvcCertificate certificate, int* visibility) {
    Visibility value{};
    const int result = getVisibility(certificate, &value);
    *visibility = NumberOf(value);
    return result;
}

inline int GetCertificateVisibility(CertSvcCertificate certificate, int* visibility) {
    return VisibilityAsInt(certsvc_certificate_get_visibility, certificate, visibility);
}

}  // namespace Compat
