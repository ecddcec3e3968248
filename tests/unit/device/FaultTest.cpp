// SPDX-License-Identifier: Apache-2.0
// Any platform function can be made to fail: with which code, from which call on and how often.
#include <aul.h>
#include <cert-svc/ccert.h>
#include <cert-svc/cinstance.h>
#include <curl/curl.h>
#include <dlog.h>
#include <gmock/gmock.h>
#include <net_connection.h>
#include <nfc.h>
#include <nfc_internal.h>
#include <package_manager.h>
#include <pkgmgr-info.h>
#include <system_info.h>
#include <system_info_internal.h>
#include <system_settings.h>
#include <telephony.h>
#include <tizen_error.h>
#include <vconf.h>

#include <functional>
#include <ostream>

#include "tests/unit/device/DeviceDesk.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Fault : public DeviceDesk {
protected:
    // Replaces the configuration and lets the device see it, as another call than one of the log does.
    void ConfigureSeen(const std::string& text) {
        Configure(text);
        EXPECT_THAT(Device::ConfigurationMistakes(), IsEmpty());
    }
};

// A function whose result is a code, and a call of it with nothing to work on.
struct CodeFunction {
    const char* name;
    std::function<int()> call;
};

void PrintTo(const CodeFunction& function, std::ostream* stream) {
    *stream << function.name;
}

int PrintNothing(log_priority priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

int PrintNothing(log_priority priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = dlog_vprint(priority, "Tag", format, arguments);
    va_end(arguments);
    return result;
}

const CodeFunction CodeFunctions[] = {
    {"aul_app_get_appid_bypid", [] { return aul_app_get_appid_bypid(0, nullptr, 0); }},
    {"aul_app_get_pkgid_bypid", [] { return aul_app_get_pkgid_bypid(0, nullptr, 0); }},
    {"aul_app_get_pkgname_bypid", [] { return aul_app_get_pkgname_bypid(0, nullptr, 0); }},
    {"certsvc_certificate_get_visibility", [] { return certsvc_certificate_get_visibility({}, nullptr); }},
    {"certsvc_certificate_new_from_memory",
     [] { return certsvc_certificate_new_from_memory({}, nullptr, 0, CERTSVC_FORM_DER, nullptr); }},
    {"certsvc_instance_new", [] { return certsvc_instance_new(nullptr); }},
    {"connection_create", [] { return connection_create(nullptr); }},
    {"connection_destroy", [] { return connection_destroy(nullptr); }},
    {"connection_get_bt_state", [] { return connection_get_bt_state(nullptr, nullptr); }},
    {"connection_get_cellular_state", [] { return connection_get_cellular_state(nullptr, nullptr); }},
    {"connection_get_ethernet_state", [] { return connection_get_ethernet_state(nullptr, nullptr); }},
    {"connection_get_proxy",
     [] { return connection_get_proxy(nullptr, CONNECTION_ADDRESS_FAMILY_IPV4, nullptr); }},
    {"connection_get_type", [] { return connection_get_type(nullptr, nullptr); }},
    {"connection_get_wifi_state", [] { return connection_get_wifi_state(nullptr, nullptr); }},
    {"dlog_print", [] { return dlog_print(DLOG_ERROR, "Tag", "lost"); }},
    {"dlog_vprint", [] { return PrintNothing(DLOG_ERROR, "lost"); }},
    {"get_last_result", [] { return get_last_result(); }},
    {"nfc_manager_deinitialize", [] { return nfc_manager_deinitialize(); }},
    {"nfc_manager_initialize",
     [] {
         const int result = nfc_manager_initialize();
         if (result == NFC_ERROR_NONE) {
             nfc_manager_deinitialize();
         }
         return result;
     }},
    {"nfc_se_close_secure_element", [] { return nfc_se_close_secure_element_internal(nullptr); }},
    {"nfc_se_get_atr", [] { return nfc_se_get_atr_internal(nullptr, nullptr, nullptr); }},
    {"nfc_se_open_secure_element",
     [] { return nfc_se_open_secure_element_internal(NFC_SE_TYPE_ESE, nullptr); }},
    {"nfc_se_send_apdu", [] { return nfc_se_send_apdu_internal(nullptr, nullptr, 0, nullptr, nullptr); }},
    {"package_manager_get_package_id_by_app_id",
     [] { return package_manager_get_package_id_by_app_id(nullptr, nullptr); }},
    {"pkgmgrinfo_pkginfo_create_certinfo", [] { return pkgmgrinfo_pkginfo_create_certinfo(nullptr); }},
    {"pkgmgrinfo_pkginfo_destroy_certinfo", [] { return pkgmgrinfo_pkginfo_destroy_certinfo(nullptr); }},
    {"pkgmgrinfo_pkginfo_destroy_pkginfo", [] { return pkgmgrinfo_pkginfo_destroy_pkginfo(nullptr); }},
    {"pkgmgrinfo_pkginfo_get_cert_value",
     [] { return pkgmgrinfo_pkginfo_get_cert_value(nullptr, PMINFO_DISTRIBUTOR_ROOT_CERT, nullptr); }},
    {"pkgmgrinfo_pkginfo_get_pkginfo", [] { return pkgmgrinfo_pkginfo_get_pkginfo(nullptr, nullptr); }},
    {"pkgmgrinfo_pkginfo_get_version", [] { return pkgmgrinfo_pkginfo_get_version(nullptr, nullptr); }},
    {"pkgmgrinfo_pkginfo_load_certinfo", [] { return pkgmgrinfo_pkginfo_load_certinfo(nullptr, nullptr); }},
    {"system_info_get_platform_string", [] { return system_info_get_platform_string(nullptr, nullptr); }},
    {"system_info_get_value_string",
     [] { return system_info_get_value_string(SYSTEM_INFO_KEY_MODEL, nullptr); }},
    {"system_settings_get_value_string",
     [] { return system_settings_get_value_string(SYSTEM_SETTINGS_KEY_DEVICE_NAME, nullptr); }},
    {"telephony_deinit", [] { return telephony_deinit(nullptr); }},
    {"telephony_init", [] { return telephony_init(nullptr); }},
    {"telephony_modem_get_imei", [] { return telephony_modem_get_imei(nullptr, nullptr); }},
    {"telephony_network_get_mcc", [] { return telephony_network_get_mcc(nullptr, nullptr); }},
    {"telephony_network_get_mnc", [] { return telephony_network_get_mnc(nullptr, nullptr); }},
    {"telephony_network_get_roaming_status",
     [] { return telephony_network_get_roaming_status(nullptr, nullptr); }},
    {"vconf_get_ext_errno", [] { return vconf_get_ext_errno(); }},
};

class FaultOfACodeFunction : public Fault, public testing::WithParamInterface<CodeFunction> {};

int OpenAndClose() {
    connection_h connection = nullptr;
    const int result = connection_create(&connection);
    if (result == 0) {
        connection_destroy(connection);
    }
    return result;
}

}  // namespace

TEST_P(FaultOfACodeFunction, IsItsResultAndTheCallIsCounted) {
    EXPECT_NE(GetParam().call(), -1234567);
    ConfigureSeen("[fault " + std::string(GetParam().name) + "]\nresult=-1234567\n");
    EXPECT_EQ(GetParam().call(), -1234567);
    EXPECT_EQ(Device::Calls(GetParam().name), 1U);
    ConfigureSeen("");
    EXPECT_NE(GetParam().call(), -1234567);
}

INSTANTIATE_TEST_SUITE_P(
    OfThePlatform, FaultOfACodeFunction, testing::ValuesIn(CodeFunctions),
    [](const testing::TestParamInfo<CodeFunction>& parameter) { return parameter.param.name; });

TEST_F(Fault, StartsAtTheStatedCallAndEndsAfterTheStatedNumber) {
    Configure("[fault connection_create]\nresult=-5\nfrom=2\ntimes=3\n");
    std::vector<int> results;
    for (int call = 0; call < 6; ++call) {
        results.push_back(OpenAndClose());
    }
    EXPECT_THAT(results, ElementsAre(0, -5, -5, -5, 0, 0));
}

TEST_F(Fault, WithoutANumberHasNoEnd) {
    Configure("[fault connection_create]\nresult=-5\nfrom=2\n");
    EXPECT_EQ(OpenAndClose(), 0);
    for (int call = 0; call < 100; ++call) {
        ASSERT_EQ(OpenAndClose(), -5);
    }
}

TEST_F(Fault, BeginsAnewWithANewFile) {
    const std::string once = "[fault connection_create]\nresult=-5\ntimes=1\n";
    Configure(once);
    EXPECT_EQ(OpenAndClose(), -5);
    EXPECT_EQ(OpenAndClose(), 0);
    Configure(once);
    EXPECT_EQ(OpenAndClose(), -5);
    EXPECT_EQ(OpenAndClose(), 0);
}

TEST_F(Fault, CountsEachFunctionOnItsOwn) {
    Configure("[fault connection_create]\nresult=-5\nfrom=2\n[fault telephony_init]\nresult=-6\nfrom=2\n");
    EXPECT_EQ(OpenAndClose(), 0);
    EXPECT_EQ(OpenAndClose(), -5);
    telephony_handle_list_s list = {};
    EXPECT_EQ(telephony_init(&list), 0);
    EXPECT_EQ(telephony_deinit(&list), 0);
    EXPECT_EQ(telephony_init(&list), -6);
}

TEST_F(Fault, CanBeNamedWithAndWithoutTheInternalSuffix) {
    for (const char* name : {"nfc_se_get_atr", "nfc_se_get_atr_internal"}) {
        Configure(std::string("[fault ") + name + "]\nresult=-7\n");
        EXPECT_EQ(nfc_se_get_atr_internal(nullptr, nullptr, nullptr), -7) << name;
        EXPECT_EQ(Device::Calls(name), 1U);
    }
}

TEST_F(Fault, CanBeWrittenAsAnErrorsNameAndInHexadecimal) {
    Configure("[fault connection_create]\nresult=CONNECTION_ERROR_NO_CONNECTION\n");
    EXPECT_EQ(OpenAndClose(), CONNECTION_ERROR_NO_CONNECTION);
    Configure("[fault connection_create]\nresult=0xFE3E000C\n");
    EXPECT_EQ(OpenAndClose(), NFC_ERROR_SECURITY_RESTRICTED);
}

TEST_F(Fault, WithTheSuccessCodeSucceedsWithoutDoingAnything) {
    Configure("[fault connection_create]\nresult=0\n");
    int marker = 0;
    connection_h connection = &marker;
    EXPECT_EQ(connection_create(&connection), CONNECTION_ERROR_NONE);
    EXPECT_EQ(connection, &marker);
    EXPECT_EQ(Device::OpenHandles(), 0U);
}

TEST_F(Fault, OfTheConfigurationValueIsANullTextWithTheReasonSet) {
    Configure("[fault vconf_get_str]\nresult=-77\n");
    EXPECT_EQ(vconf_get_str("db/csc/salescode"), nullptr);
    EXPECT_EQ(vconf_get_ext_errno(), -77);
}

TEST_F(Fault, OfTheErrorTextIsANullText) {
    Configure("[fault get_error_message]\nresult=0\n");
    EXPECT_EQ(get_error_message(0), nullptr);
}

TEST_F(Fault, OfTheSupportQuestionIsANoWithTheDetailedCode) {
    EXPECT_TRUE(nfc_manager_is_supported());
    EXPECT_EQ(get_last_result(), NFC_ERROR_NONE);
    Configure("[fault nfc_manager_is_supported]\nresult=NFC_ERROR_ILLEGAL_STATE\n");
    EXPECT_FALSE(nfc_manager_is_supported());
    EXPECT_EQ(get_last_result(), NFC_ERROR_ILLEGAL_STATE);
}

TEST_F(Fault, OfTheHttpHandleIsANullHandle) {
    Configure("[fault curl_easy_init]\nresult=0\ntimes=1\n");
    EXPECT_EQ(curl_easy_init(), nullptr);
    CURL* handle = curl_easy_init();
    EXPECT_NE(handle, nullptr);
    curl_easy_cleanup(handle);
}

TEST_F(Fault, OfSettingTheLastResultLeavesItAsItWas) {
    set_last_result(5);
    Configure("[fault set_last_result]\nresult=0\n");
    set_last_result(6);
    EXPECT_EQ(get_last_result(), 5);
}

TEST_F(Fault, OfARelaseWithoutAResultKeepsTheThing) {
    CertSvcInstance instance = {};
    ASSERT_EQ(certsvc_instance_new(&instance), CERTSVC_SUCCESS);
    Configure("[fault certsvc_instance_free]\nresult=0\n");
    certsvc_instance_free(instance);
    EXPECT_EQ(Device::OpenHandles(), 1U);
    Configure("");
    certsvc_instance_free(instance);
    EXPECT_EQ(Device::OpenHandles(), 0U);
}

TEST_F(Fault, OfTheLogLosesTheLine) {
    ConfigureSeen("[fault dlog_print]\nresult=DLOG_ERROR_NOT_PERMITTED\ntimes=1\n");
    EXPECT_EQ(dlog_print(DLOG_ERROR, "Tag", "lost"), -1);
    EXPECT_THAT(LogLines(), IsEmpty());
    EXPECT_GT(dlog_print(DLOG_ERROR, "Tag", "kept"), 0);
    EXPECT_THAT(LogLines(), testing::SizeIs(1));
}

// The file of a device whose log is all that is called is still followed.
TEST_F(Fault, OfTheLogIsSeenByLinesAloneToo) {
    ConfigureSeen("");
    Configure("[fault dlog_print]\nresult=-1\n");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    int result = 0;
    while (result != -1 && std::chrono::steady_clock::now() < deadline) {
        result = dlog_print(DLOG_ERROR, "Tag", "line");
    }
    EXPECT_EQ(result, -1);
}
