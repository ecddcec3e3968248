// SPDX-License-Identifier: Apache-2.0
// Values, settings and system information.
#include <gtest/gtest.h>
#include <system_info.h>
#include <system_info_internal.h>
#include <system_settings.h>
#include <vconf.h>

#include "tests/unit/device/DeviceDesk.h"

namespace {

class Facts : public DeviceDesk {
protected:
    static std::string Taken(int result, char* text) {
        const std::string answer = result == 0 ? text : std::to_string(result);
        free(text);
        return answer;
    }

    static std::string Value(const char* key) {
        char* text = vconf_get_str(key);
        return Taken(text == nullptr ? vconf_get_ext_errno() : VCONF_OK, text);
    }

    static std::string Setting(system_settings_key_e key) {
        char* text = nullptr;
        const int result = system_settings_get_value_string(key, &text);
        return Taken(result, text);
    }

    static std::string Information(const char* key) {
        char* text = nullptr;
        const int result = system_info_get_platform_string(key, &text);
        return Taken(result, text);
    }

    static std::string Information(system_info_key_e key) {
        char* text = nullptr;
        const int result = system_info_get_value_string(key, &text);
        return Taken(result, text);
    }
};

}  // namespace

TEST_F(Facts, AreThoseOfThePlainDeviceByThemselves) {
    EXPECT_EQ(Value("db/csc/salescode"), "NAV");
    EXPECT_EQ(Setting(SYSTEM_SETTINGS_KEY_LOCALE_COUNTRY), "en_GB");
    EXPECT_EQ(Setting(SYSTEM_SETTINGS_KEY_DEVICE_NAME), "Virtual Wearable");
    EXPECT_EQ(Information("http://tizen.org/system/model_name"), "NAVO Virtual Wearable");
    EXPECT_EQ(Information(SYSTEM_INFO_KEY_BUILD_STRING), "NAVOVW1ATA1");
}

TEST_F(Facts, AreThoseThatTheFileGives) {
    Configure(
        "[device]\nmodel-name=M\nbuild-string=B\ndevice-name=\xFFN\nlocale=de\nsales-code=S\nmanufacturer=F\n"
        "platform-name=P\nplatform-version=9\n");
    EXPECT_EQ(Value("db/csc/salescode"), "S");
    EXPECT_EQ(Setting(SYSTEM_SETTINGS_KEY_LOCALE_COUNTRY), "de");
    EXPECT_EQ(Setting(SYSTEM_SETTINGS_KEY_LOCALE_LANGUAGE), "de");
    EXPECT_EQ(Setting(SYSTEM_SETTINGS_KEY_DEVICE_NAME), "\xFFN");
    EXPECT_EQ(Information("http://tizen.org/system/model_name"), "M");
    EXPECT_EQ(Information("http://tizen.org/system/build.string"), "B");
    EXPECT_EQ(Information("http://tizen.org/system/manufacturer"), "F");
    EXPECT_EQ(Information("http://tizen.org/system/platform.name"), "P");
    EXPECT_EQ(Information("http://tizen.org/feature/platform.version"), "9");
    EXPECT_EQ(Information(SYSTEM_INFO_KEY_MODEL), "M");
    EXPECT_EQ(Information(SYSTEM_INFO_KEY_BUILD_STRING), "B");
    EXPECT_EQ(Information(SYSTEM_INFO_KEY_MANUFACTURER), "F");
    EXPECT_EQ(Information(SYSTEM_INFO_KEY_PLATFORM_NAME), "P");
    EXPECT_EQ(Information(SYSTEM_INFO_KEY_TIZEN_VERSION), "9");
}

TEST_F(Facts, AreMissingWhereTheFileLeavesThemEmpty) {
    Configure("[device]\nmodel-name=\nbuild-string=\ndevice-name=\nlocale=\nsales-code=\n");
    EXPECT_EQ(Value("db/csc/salescode"), std::to_string(VCONF_ERROR));
    EXPECT_EQ(Setting(SYSTEM_SETTINGS_KEY_DEVICE_NAME), std::to_string(SYSTEM_SETTINGS_ERROR_IO_ERROR));
    EXPECT_EQ(Setting(SYSTEM_SETTINGS_KEY_LOCALE_COUNTRY), std::to_string(SYSTEM_SETTINGS_ERROR_IO_ERROR));
    EXPECT_EQ(Information("http://tizen.org/system/model_name"), std::to_string(SYSTEM_INFO_ERROR_IO_ERROR));
    EXPECT_EQ(Information(SYSTEM_INFO_KEY_BUILD_STRING), std::to_string(SYSTEM_INFO_ERROR_IO_ERROR));
}

TEST_F(Facts, HaveAnyFurtherValueUnderItsPath) {
    Configure("[vconf]\ndb/some/where=a text\ndb/csc/salescode=XYZ\n[device]\nsales-code=ABC\n");
    EXPECT_EQ(Value("db/some/where"), "a text");
    EXPECT_EQ(Value("db/csc/salescode"), "XYZ");
    EXPECT_EQ(Value("db/no/where"), std::to_string(VCONF_ERROR));
    EXPECT_EQ(Value(nullptr), std::to_string(VCONF_ERROR));
}

TEST_F(Facts, AreRefusedForKeysThatAreNoTexts) {
    const std::string invalid = std::to_string(SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Setting(SYSTEM_SETTINGS_KEY_FONT_SIZE), invalid);
    EXPECT_EQ(Setting(SYSTEM_SETTINGS_KEY_DISPLAY_SCREEN_ROTATION_AUTO), invalid);
    EXPECT_EQ(Setting(static_cast<system_settings_key_e>(31)), invalid);
    EXPECT_EQ(Setting(SYSTEM_SETTINGS_KEY_FONT_TYPE), std::to_string(SYSTEM_SETTINGS_ERROR_IO_ERROR));
    EXPECT_EQ(
        Information("tizen.org/system/model_name"), std::to_string(SYSTEM_INFO_ERROR_INVALID_PARAMETER));
    EXPECT_EQ(Information(SYSTEM_INFO_KEY_SCREEN_WIDTH), std::to_string(SYSTEM_INFO_ERROR_INVALID_PARAMETER));
    const char* noKey = nullptr;
    EXPECT_EQ(Information(noKey), std::to_string(SYSTEM_INFO_ERROR_INVALID_PARAMETER));
    EXPECT_EQ(system_settings_get_value_string(SYSTEM_SETTINGS_KEY_DEVICE_NAME, nullptr), -22);
    EXPECT_EQ(system_info_get_platform_string("http://tizen.org/system/model_name", nullptr), -22);
    EXPECT_EQ(system_info_get_value_string(SYSTEM_INFO_KEY_MODEL, nullptr), -22);
}
