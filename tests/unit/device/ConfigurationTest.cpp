// SPDX-License-Identifier: Apache-2.0
// When the configuration is read, and what a device does whose configuration cannot be followed.
#include <aul.h>
#include <dlog.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <net_connection.h>
#include <nfc.h>
#include <package_manager.h>
#include <pkgmgr-info.h>
#include <sys/stat.h>
#include <system_info.h>
#include <system_settings.h>
#include <telephony.h>
#include <tizen_error.h>
#include <unistd.h>
#include <vconf.h>

#include "tests/unit/device/DeviceDesk.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class ConfigurationFile : public DeviceDesk {
protected:
    static std::string SalesCode() {
        char* text = vconf_get_str("db/csc/salescode");
        const std::string copy = text == nullptr ? "(null)" : text;
        free(text);
        return copy;
    }
};

}  // namespace

TEST_F(ConfigurationFile, HoldsFromTheNextCallOnWhenItIsReplaced) {
    Configure("[device]\nsales-code=ONE\n");
    EXPECT_EQ(SalesCode(), "ONE");
    Configure("[device]\nsales-code=TWO\n");
    EXPECT_EQ(SalesCode(), "TWO");
}

TEST_F(ConfigurationFile, IsSeenToBeAnotherThoughSizeAndTimeAreTheSame) {
    struct stat status = {};
    for (int round = 0; round < 20; ++round) {
        for (const std::string code : {"ONE", "TWO"}) {
            Configure("[device]\nsales-code=" + code + "\n");
            const std::string path = (folder.Path() / "navo-device.conf").string();
            ASSERT_EQ(stat(path.c_str(), &status), 0);
            const timespec times[2] = {{1000, 0}, {1000, 0}};
            ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
            ASSERT_EQ(SalesCode(), code);
        }
    }
}

TEST_F(ConfigurationFile, IsReadAgainOnlyWhenItChanged) {
    Configure("[device]\nsales-code=ONE\n");
    EXPECT_EQ(SalesCode(), "ONE");
    EXPECT_EQ(SalesCode(), "ONE");
    EXPECT_EQ(Device::Calls("vconf_get_str"), 2U);  // the count goes on: nothing was read in between
    Configure("[device]\nsales-code=ONE\n");
    EXPECT_EQ(SalesCode(), "ONE");
    EXPECT_EQ(Device::Calls("vconf_get_str"), 1U);
}

TEST_F(ConfigurationFile, CanBeAnotherOneWhenTheVariableChanges) {
    Configure("[device]\nsales-code=ONE\n");
    EXPECT_EQ(SalesCode(), "ONE");
    configurationVariable.Set(folder.Write("other.conf", "[device]\nsales-code=TWO\n").string());
    EXPECT_EQ(SalesCode(), "TWO");
    EXPECT_EQ(Device::ConfigurationPath(), (folder.Path() / "other.conf").string());
}

TEST_F(ConfigurationFile, AtTheDefaultLocationMayBeMissingAndGivesThePlainDevice) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    configurationVariable.Remove();
    EXPECT_EQ(SalesCode(), "NAV");
    EXPECT_THAT(Device::ConfigurationMistakes(), IsEmpty());
    std::filesystem::current_path(before);
}

TEST_F(ConfigurationFile, AtTheDefaultLocationIsReadOnceItIsThere) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    configurationVariable.Remove();
    EXPECT_EQ(SalesCode(), "NAV");
    folder.Write("etc/navo-device.conf", "[device]\nsales-code=ONE\n");
    EXPECT_EQ(SalesCode(), "ONE");
    std::filesystem::current_path(before);
}

TEST_F(ConfigurationFile, ThatTheVariableNamesHasToBeThere) {
    const std::string path = (folder.Path() / "missing.conf").string();
    configurationVariable.Set(path);
    testing::internal::CaptureStderr();
    EXPECT_EQ(SalesCode(), "(null)");
    EXPECT_THAT(
        testing::internal::GetCapturedStderr(),
        HasSubstr(path + ": cannot be opened: No such file or directory"));
}

TEST_F(ConfigurationFile, HasToBeAnOrdinaryFile) {
    configurationVariable.Set(folder.Path().string());
    testing::internal::CaptureStderr();
    EXPECT_EQ(SalesCode(), "(null)");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("is no ordinary file"));
}

TEST_F(ConfigurationFile, WithAMistakeIsReportedOnceOnStandardErrorAndInTheLog) {
    Configure("[network]\ntype=wlan\n");
    testing::internal::CaptureStderr();
    SalesCode();
    SalesCode();
    const std::string reported = testing::internal::GetCapturedStderr();
    const std::string expected = (folder.Path() / "navo-device.conf").string() +
                                 ":2: [network] type: \"wlan\" is not known; write disconnected, wifi, "
                                 "cellular, ethernet, bluetooth, or a number from 0 to 7";
    EXPECT_THAT(reported, HasSubstr("E/navo-device("));
    EXPECT_THAT(reported, HasSubstr(expected));
    EXPECT_EQ(reported.find(expected), reported.rfind(expected));
    EXPECT_THAT(LogLines(), Contains(HasSubstr(expected)));
    EXPECT_THAT(Device::ConfigurationMistakes(), ElementsAre(expected));
}

TEST_F(ConfigurationFile, WithAMistakeMakesEveryModuleFail) {
    Configure("[what]\n");
    testing::internal::CaptureStderr();
    connection_h connection = nullptr;
    telephony_handle_list_s list = {};
    pkgmgrinfo_certinfo_h certificates = nullptr;
    char* text = nullptr;
    char buffer[255];
    EXPECT_EQ(nfc_manager_initialize(), NFC_ERROR_OPERATION_FAILED);
    EXPECT_FALSE(nfc_manager_is_supported());
    EXPECT_EQ(get_last_result(), NFC_ERROR_OPERATION_FAILED);
    EXPECT_EQ(connection_create(&connection), CONNECTION_ERROR_OPERATION_FAILED);
    EXPECT_EQ(telephony_init(&list), TELEPHONY_ERROR_OPERATION_FAILED);
    EXPECT_EQ(
        system_settings_get_value_string(SYSTEM_SETTINGS_KEY_DEVICE_NAME, &text),
        SYSTEM_SETTINGS_ERROR_IO_ERROR);
    EXPECT_EQ(
        system_info_get_platform_string("http://tizen.org/system/model_name", &text),
        SYSTEM_INFO_ERROR_IO_ERROR);
    EXPECT_EQ(aul_app_get_pkgname_bypid(getpid(), buffer, sizeof buffer), AUL_R_ERROR);
    EXPECT_EQ(package_manager_get_package_id_by_app_id("a", &text), PACKAGE_MANAGER_ERROR_SYSTEM_ERROR);
    EXPECT_EQ(pkgmgrinfo_pkginfo_create_certinfo(&certificates), PMINFO_R_ERROR);
    EXPECT_EQ(SalesCode(), "(null)");
    testing::internal::GetCapturedStderr();
}

TEST_F(ConfigurationFile, WithAMistakeLeavesTheLogTheTextsAndTheReleasesWorking) {
    connection_h connection = nullptr;
    ASSERT_EQ(connection_create(&connection), CONNECTION_ERROR_NONE);
    Configure("[what]\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(connection_destroy(connection), CONNECTION_ERROR_NONE);
    EXPECT_STREQ(get_error_message(NFC_ERROR_NO_DEVICE), "No NFC device");
    EXPECT_GT(dlog_print(DLOG_ERROR, "Tag", "still here"), 0);
    testing::internal::GetCapturedStderr();
    EXPECT_THAT(LogLines(), Contains(HasSubstr("still here")));
}

TEST_F(ConfigurationFile, WorksAgainAsSoonAsTheMistakeIsMended) {
    Configure("[what]\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(SalesCode(), "(null)");
    testing::internal::GetCapturedStderr();
    Configure("[device]\nsales-code=NEW\n");
    EXPECT_EQ(SalesCode(), "NEW");
}
