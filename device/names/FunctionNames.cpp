// SPDX-License-Identifier: Apache-2.0
#include "device/names/FunctionNames.h"

#include <algorithm>
#include <iterator>

namespace Device {

namespace {

constexpr std::string_view PlatformFunctions[] = {
    "aul_app_get_appid_bypid",
    "aul_app_get_pkgid_bypid",
    "aul_app_get_pkgname_bypid",
    "certsvc_certificate_free",
    "certsvc_certificate_get_visibility",
    "certsvc_certificate_new_from_memory",
    "certsvc_instance_free",
    "certsvc_instance_new",
    "closeSecureSpi",
    "connection_create",
    "connection_destroy",
    "connection_get_bt_state",
    "connection_get_cellular_state",
    "connection_get_ethernet_state",
    "connection_get_proxy",
    "connection_get_type",
    "connection_get_wifi_state",
    "curl_easy_init",
    "dalm_createGetKeySession",
    "dalm_injectedKeyVerification",
    "dalm_keyInjection",
    "dalm_readInjectedKeyUID",
    "dalm_releaseGetKeySession",
    "dlog_print",
    "dlog_vprint",
    "get_error_message",
    "get_last_result",
    "handleCCM",
    "nfc_manager_deinitialize",
    "nfc_manager_initialize",
    "nfc_manager_is_supported",
    "nfc_se_close_secure_element",
    "nfc_se_get_atr",
    "nfc_se_open_secure_element",
    "nfc_se_send_apdu",
    "openSecureSpi",
    "package_manager_get_package_id_by_app_id",
    "pkgmgrinfo_pkginfo_create_certinfo",
    "pkgmgrinfo_pkginfo_destroy_certinfo",
    "pkgmgrinfo_pkginfo_destroy_pkginfo",
    "pkgmgrinfo_pkginfo_get_cert_value",
    "pkgmgrinfo_pkginfo_get_pkginfo",
    "pkgmgrinfo_pkginfo_get_version",
    "pkgmgrinfo_pkginfo_load_certinfo",
    "set_last_result",
    "system_info_get_platform_string",
    "system_info_get_value_string",
    "system_settings_get_value_string",
    "telephony_deinit",
    "telephony_init",
    "telephony_modem_get_imei",
    "telephony_network_get_mcc",
    "telephony_network_get_mnc",
    "telephony_network_get_roaming_status",
    "vconf_get_ext_errno",
    "vconf_get_str",
};

constexpr bool IsInByteOrder() {
    for (std::size_t i = 1; i < std::size(PlatformFunctions); ++i) {
        if (PlatformFunctions[i - 1] >= PlatformFunctions[i]) {
            return false;
        }
    }
    return true;
}
static_assert(IsInByteOrder(), "a name is looked for by halves, so the list is in order and names each once");

}  // namespace

std::string CanonicalFunction(const std::string& name) {
    constexpr char Suffix[] = "_internal";
    constexpr std::size_t SuffixLength = sizeof(Suffix) - 1;
    const bool secureElementCall = name.compare(0, 7, "nfc_se_") == 0 && name.size() > SuffixLength &&
                                   name.compare(name.size() - SuffixLength, SuffixLength, Suffix) == 0;
    return secureElementCall ? name.substr(0, name.size() - SuffixLength) : name;
}

bool IsPlatformFunction(std::string_view canonicalName) {
    return std::binary_search(std::begin(PlatformFunctions), std::end(PlatformFunctions), canonicalName);
}

std::vector<std::string> AllPlatformFunctions() {
    return {std::begin(PlatformFunctions), std::end(PlatformFunctions)};
}

}  // namespace Device
