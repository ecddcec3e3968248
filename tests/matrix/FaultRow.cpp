#include "matrix/FaultRow.h"

#include <algorithm>

namespace Matrix {

namespace {

Case CaseOf(const FaultyJob& job, const Outcome& outcome) {
    Case result;
    result.request = job.request;
    result.before = job.before;
    result.after = job.after;
    result.reactions = outcome.reactions.empty() ? job.reactions : outcome.reactions;
    result.reply = outcome.reply;
    result.sent = outcome.sent;
    result.opening = outcome.opening;
    result.keeps = outcome.keeps;
    result.newAddress = outcome.newAddress;
    return result;
}

}  // namespace

std::vector<Case> CasesOf(const FaultyJob& job, const FaultRow& row) {
    std::vector<Case> cases;
    const std::vector<Outcome>& onwards = row.onwards.empty() ? row.once : row.onwards;
    for (const std::string& code : row.codes) {
        for (unsigned call = 1; call <= row.once.size(); ++call) {
            for (const bool lasting : {false, true}) {
                Case result = CaseOf(job, (lasting ? onwards : row.once)[call - 1]);
                result.label = job.name + "/" + row.function + " " + code + " at call " +
                               std::to_string(call) + (lasting ? " and onwards" : "");
                result.faults = {{row.function, code, call, lasting ? 0U : 1U}};
                result.network = row.network;
                cases.push_back(result);
            }
        }
    }
    return cases;
}

std::vector<Outcome> Each(std::size_t calls, const Outcome& outcome) {
    return std::vector<Outcome>(calls, outcome);
}

const std::vector<std::string>& PlatformFunctions() {
    static const std::vector<std::string> names = {
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
        "vconf_get_str"};
    return names;
}

std::vector<Case> CasesOfUncalled(
    const FaultyJob& job, const Outcome& ordinary, const std::vector<std::string>& called) {
    std::vector<Case> cases;
    for (const std::string& function : PlatformFunctions()) {
        if (std::find(called.begin(), called.end(), function) == called.end()) {
            Case result = CaseOf(job, ordinary);
            result.label = job.name + "/" + function + " -1 is never called";
            result.faults = {{function, "-1", 1, 0}};
            result.meetsFaults = false;
            cases.push_back(result);
        }
    }
    return cases;
}

}  // namespace Matrix
