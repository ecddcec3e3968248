// SPDX-License-Identifier: Apache-2.0
#include "common/Runtime.h"

#include <aul.h>
#include <cert-svc/cerror.h>
#include <package_manager.h>
#include <sys/time.h>
#include <system_settings.h>
#include <telephony.h>
#include <tizen_error.h>
#include <unistd.h>
#include <vconf.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

#include "common/Debug.h"
#include "common/Owned.h"
#include "common/tizen/Compat.h"

namespace Na {

namespace {

constexpr char ModelNameKey[] = "http://tizen.org/system/model_name";
constexpr char SalesCodeKey[] = "db/csc/salescode";

// Takes over a text that the platform allocated, or none.
std::string TakeText(char* text) {
    const OwnedMemory<char> owner(text);
    return text != nullptr ? text : "";
}

std::string VconfText(const char* key) {
    return TakeText(vconf_get_str(key));
}

std::string SettingsText(system_settings_key_e key) {
    char* text = nullptr;
    return system_settings_get_value_string(key, &text) == SYSTEM_SETTINGS_ERROR_NONE ? TakeText(text) : "";
}

std::string PlatformText(const char* key) {
    char* text = nullptr;
    return system_info_get_platform_string(key, &text) == SYSTEM_INFO_ERROR_NONE ? TakeText(text) : "";
}

// The handles of the device's SIMs, for as long as it lives.
class Telephony {
public:
    Telephony() : ready(telephony_init(&list) == TELEPHONY_ERROR_NONE) {}
    ~Telephony() {
        if (ready) {
            telephony_deinit(&list);
        }
    }
    Telephony(const Telephony&) = delete;
    Telephony& operator=(const Telephony&) = delete;

    // Null when the device has no such slot.
    telephony_h SimAt(unsigned slot) const {
        return ready && slot < list.count ? list.handle[slot] : nullptr;
    }

private:
    telephony_handle_list_s list{};
    bool ready;
};

std::string TelephonyText(unsigned simSlot, int (*get)(telephony_h, char**)) {
    const Telephony telephony;
    const telephony_h sim = telephony.SimAt(simSlot);
    char* text = nullptr;
    return sim != nullptr && get(sim, &text) == TELEPHONY_ERROR_NONE ? TakeText(text) : "";
}

bool TelephonyFlag(unsigned simSlot, int (*get)(telephony_h, bool*)) {
    const Telephony telephony;
    const telephony_h sim = telephony.SimAt(simSlot);
    bool flag = false;
    return sim != nullptr && get(sim, &flag) == TELEPHONY_ERROR_NONE && flag;
}

}  // namespace

std::string GetCurrentDateTime() {
    const std::time_t now = std::time(nullptr);
    const std::tm* const utc = std::gmtime(&now);
    if (utc == nullptr) {
        return {};
    }
    std::array<char, 6 * sizeof "4294967295"> text{};
    std::snprintf(
        text.data(), text.size(), "%02u%02u%02u%02u%02u%02u",
        static_cast<unsigned>(utc->tm_year + 1900) % 100, static_cast<unsigned>(utc->tm_mon + 1),
        static_cast<unsigned>(utc->tm_mday), static_cast<unsigned>(utc->tm_hour),
        static_cast<unsigned>(utc->tm_min), static_cast<unsigned>(utc->tm_sec));
    LogPrint(LogTrace, LOCATED("Local time: %s"), text.data());
    return text.data();
}

std::int64_t GetCurrentTimeMillis() {
    timeval now = {};
    const bool known = gettimeofday(&now, nullptr) == 0;
    const std::int64_t millis = known ? std::int64_t{1000} * now.tv_sec : 0;
    // The line shows the low 32 bits.
    LogPrint(LogDebug, LOCATED("Current millis: %d"), static_cast<int>(millis));
    return millis;
}

std::string GetCscSalesCode() {
    const std::string code = VconfText(SalesCodeKey);
    LogPrint(LogDebug, LOCATED("Sales Code: %s"), code.c_str());
    return code;
}

std::string GetMnc(unsigned simSlot) {
    const std::string mnc = TelephonyText(simSlot, telephony_network_get_mnc);
    LogPrint(LogDebug, LOCATED("MNC: %s"), mnc.c_str());
    return mnc;
}

std::string GetMcc(unsigned simSlot) {
    const std::string mcc = TelephonyText(simSlot, telephony_network_get_mcc);
    LogPrint(LogDebug, LOCATED("MCC: %s"), mcc.c_str());
    return mcc;
}

std::string GetImei(unsigned simSlot) {
    const std::string imei = TelephonyText(simSlot, telephony_modem_get_imei);
    LogPrint(LogDebug, LOCATED("IMEI: %s"), imei.c_str());
    return imei;
}

bool IsRoaming(unsigned simSlot) {
    const bool roaming = TelephonyFlag(simSlot, telephony_network_get_roaming_status);
    LogPrint(LogDebug, LOCATED("Roaming: %s"), roaming ? "true" : "false");
    return roaming;
}

bool IsDataServiceAvailable() {
    LogPrint(LogDebug, LOCATED("Unimplemented"));
    return false;
}

std::string GetCountryCode() {
    const std::string locale = SettingsText(SYSTEM_SETTINGS_KEY_LOCALE_COUNTRY);
    const std::string::size_type separator = locale.find('_');
    const std::string country = separator != std::string::npos ? locale.substr(separator + 1) : "";
    LogPrint(LogDebug, LOCATED("Country Code: %s"), country.c_str());
    return country;
}

std::string GetModelName() {
    const std::string model = PlatformText(ModelNameKey);
    LogPrint(LogDebug, LOCATED("Model Name: %s"), model.c_str());
    return model;
}

std::string GetDeviceName() {
    const std::string name = SettingsText(SYSTEM_SETTINGS_KEY_DEVICE_NAME);
    LogPrint(LogDebug, LOCATED("Device Name: %s"), name.c_str());
    return name;
}

std::string GetDeviceBuildVersion() {
    char* text = nullptr;
    const std::string version = Compat::GetBuildString(&text) == SYSTEM_INFO_ERROR_NONE ? TakeText(text) : "";
    LogPrint(LogDebug, LOCATED("Device PDA build version: %s"), version.c_str());
    return version;
}

namespace {

constexpr std::size_t ProcessTextLength = 1024;

// Each handle is null when the platform did not make it.
struct CertificateInfoRelease {
    void operator()(pkgmgrinfo_certinfo_h handle) const { pkgmgrinfo_pkginfo_destroy_certinfo(handle); }
};
using CertificateInfo = std::unique_ptr<void, CertificateInfoRelease>;

struct PackageInfoRelease {
    void operator()(pkgmgrinfo_pkginfo_h handle) const { pkgmgrinfo_pkginfo_destroy_pkginfo(handle); }
};
using PackageInfo = std::unique_ptr<void, PackageInfoRelease>;

// The certificate service, and one certificate made by it.
class CertificateService {
public:
    CertificateService() : creation(certsvc_instance_new(&instance)) {}
    ~CertificateService() {
        if (hasCertificate) {
            certsvc_certificate_free(certificate);
        }
        if (Creation() == CERTSVC_SUCCESS) {
            certsvc_instance_free(instance);
        }
    }
    CertificateService(const CertificateService&) = delete;
    CertificateService& operator=(const CertificateService&) = delete;

    // Each of these gives a code of the service. The certificate comes before its visibility.
    int Creation() const { return creation; }
    int LoadCertificate(const char* base64) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(base64);
        const int result = certsvc_certificate_new_from_memory(
            instance, bytes, static_cast<int>(std::strlen(base64)), CERTSVC_FORM_DER_BASE64, &certificate);
        hasCertificate = result == CERTSVC_SUCCESS;
        return result;
    }
    int GetVisibility(int* visibility) { return Compat::GetCertificateVisibility(certificate, visibility); }

private:
    CertSvcInstance instance{};
    CertSvcCertificate certificate{};
    int creation;
    bool hasCertificate = false;
};

// Exactly platform visibility: further bits make it another one.
bool HasPlatformVisibility(const char* base64Certificate) {
    CertificateService service;
    if (service.Creation() != CERTSVC_SUCCESS) {
        LogPrint(
            LogDebug, LOCATED_IN("IsClientPrivileged", "Error creating certsvc instance: %s"),
            get_error_message(service.Creation()));
        return false;
    }
    const int loading = service.LoadCertificate(base64Certificate);
    if (loading != CERTSVC_SUCCESS) {
        LogPrint(
            LogTrace, LOCATED_IN("IsClientPrivileged", "Can't create certificate from data: %d"), loading);
        return false;
    }
    int visibility = 0;
    const int reading = service.GetVisibility(&visibility);
    if (reading != CERTSVC_SUCCESS) {
        LogPrint(
            LogTrace, LOCATED_IN("IsClientPrivileged", "Error obtaining certificate visibility: %d"),
            reading);
        return false;
    }
    if (visibility != CERTSVC_VISIBILITY_PLATFORM) {
        return false;
    }
    LogPrint(LogTrace, LOCATED_IN("IsClientPrivileged", "found cert with platform visibility"));
    return true;
}

// A fact about the service's own process, empty when the platform does not know it.
std::string OwnProcessText(int (*get)(int, char*, int), int* result) {
    std::array<char, ProcessTextLength> text{};
    *result = get(getpid(), text.data(), static_cast<int>(text.size()));
    text.back() = '\0';
    return *result == AUL_R_OK ? text.data() : "";
}

std::string VersionOfPackage(const std::string& packageId) {
    pkgmgrinfo_pkginfo_h handle = nullptr;
    if (pkgmgrinfo_pkginfo_get_pkginfo(packageId.c_str(), &handle) != PMINFO_R_OK) {
        return {};
    }
    const PackageInfo package(handle);
    char* version = nullptr;  // belongs to the handle
    const int result = pkgmgrinfo_pkginfo_get_version(package.get(), &version);
    return result == PMINFO_R_OK && version != nullptr ? version : "";
}

}  // namespace

bool IsClientPrivileged(const std::string& packageId) {
    pkgmgrinfo_certinfo_h handle = nullptr;
    const int creation = pkgmgrinfo_pkginfo_create_certinfo(&handle);
    if (creation != PMINFO_R_OK) {
        LogPrint(LogDebug, LOCATED("pkgmgr_pkginfo_create_certinfo failed: %s"), get_error_message(creation));
        return false;
    }
    const CertificateInfo info(handle);
    const int loading = Compat::LoadCertificateInfo(packageId.c_str(), info.get());
    if (loading != PMINFO_R_OK) {
        LogPrint(LogDebug, LOCATED("Error loading certificate: %s"), get_error_message(loading));
        return false;
    }
    LogPrint(LogTrace, LOCATED("Checking permission of %s"), packageId.c_str());
    const char* certificate = nullptr;  // belongs to the handle
    const int reading =
        pkgmgrinfo_pkginfo_get_cert_value(info.get(), PMINFO_DISTRIBUTOR_ROOT_CERT, &certificate);
    if (reading != PMINFO_R_OK || certificate == nullptr || *certificate == '\0') {
        return false;
    }
    LogPrint(LogTrace, LOCATED("Cert: %s"), certificate);
    return HasPlatformVisibility(certificate);
}

std::string GetApplicationPackageId(const std::string& applicationId) {
    std::string packageId;
    int result = 0;
    if (applicationId.empty()) {
        packageId = OwnProcessText(aul_app_get_pkgid_bypid, &result);
        if (result != AUL_R_OK) {
            LogPrint(LogError, LOCATED("Can't determine own package ID: %d"), result);
        }
    } else {
        char* text = nullptr;
        result = package_manager_get_package_id_by_app_id(applicationId.c_str(), &text);
        if (result == PACKAGE_MANAGER_ERROR_NONE) {
            packageId = TakeText(text);
        } else {
            LogPrint(
                LogError, LOCATED("Can't determine package ID for application \"%s\": %d"),
                applicationId.c_str(), result);
        }
    }
    LogPrint(LogDebug, LOCATED("Package ID for %s: %s"), applicationId.c_str(), packageId.c_str());
    return packageId;
}

std::string GetApplicationVersion(const std::string& applicationId) {
    int result = 0;
    const std::string id =
        applicationId.empty() ? OwnProcessText(aul_app_get_appid_bypid, &result) : applicationId;
    std::string version;
    if (id.empty()) {
        LogPrint(LogError, LOCATED("Can't determine version for \"%s\""), id.c_str());
    } else {
        version = VersionOfPackage(id);
    }
    LogPrint(LogDebug, LOCATED("Application \"%s\" version: %s"), id.c_str(), version.c_str());
    return version;
}

}  // namespace Na
