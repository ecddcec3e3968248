// SPDX-License-Identifier: Apache-2.0
#include <system_settings.h>

#include "device/gate/Gate.h"
#include "device/platform/CText.h"

using Device::Configuration;

namespace {

bool IsTextKey(system_settings_key_e key) {
    switch (key) {
        case SYSTEM_SETTINGS_KEY_INCOMING_CALL_RINGTONE:
        case SYSTEM_SETTINGS_KEY_WALLPAPER_HOME_SCREEN:
        case SYSTEM_SETTINGS_KEY_WALLPAPER_LOCK_SCREEN:
        case SYSTEM_SETTINGS_KEY_FONT_TYPE:
        case SYSTEM_SETTINGS_KEY_EMAIL_ALERT_RINGTONE:
        case SYSTEM_SETTINGS_KEY_LOCKSCREEN_APP:
        case SYSTEM_SETTINGS_KEY_DEFAULT_FONT_TYPE:
        case SYSTEM_SETTINGS_KEY_LOCALE_COUNTRY:
        case SYSTEM_SETTINGS_KEY_LOCALE_LANGUAGE:
        case SYSTEM_SETTINGS_KEY_LOCALE_TIMEZONE:
        case SYSTEM_SETTINGS_KEY_DEVICE_NAME:
        case SYSTEM_SETTINGS_KEY_SOUND_NOTIFICATION:
            return true;
        default:
            return false;
    }
}

std::string TextOf(const Device::Facts& facts, system_settings_key_e key) {
    switch (key) {
        case SYSTEM_SETTINGS_KEY_LOCALE_COUNTRY:
        case SYSTEM_SETTINGS_KEY_LOCALE_LANGUAGE:
            return facts.locale;
        case SYSTEM_SETTINGS_KEY_DEVICE_NAME:
            return facts.deviceName;
        default:
            return {};
    }
}

}  // namespace

// A key of another type is an invalid parameter; a text that the device does not have is an input error.
int system_settings_get_value_string(system_settings_key_e key, char** value) {
    return Device::Call(
        "system_settings_get_value_string", SYSTEM_SETTINGS_ERROR_IO_ERROR,
        [&](const Configuration& device) -> int {
            if (value == nullptr || !IsTextKey(key)) {
                return SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER;
            }
            const std::string text = TextOf(device.facts, key);
            if (text.empty()) {
                return SYSTEM_SETTINGS_ERROR_IO_ERROR;
            }
            *value = Device::NewText(text);
            return SYSTEM_SETTINGS_ERROR_NONE;
        });
}
