// SPDX-License-Identifier: Apache-2.0
#include <system_info.h>
#include <system_info_internal.h>

#include <map>
#include <string>

#include "device/gate/Gate.h"
#include "device/platform/CText.h"

using Device::Call;
using Device::Configuration;
using Device::Facts;

namespace {

using Fact = std::string Facts::*;

// Null for a key that the platform does not have.
Fact FactOf(const std::string& key) {
    if (key == "http://tizen.org/system/model_name") {
        return &Facts::modelName;
    }
    if (key == "http://tizen.org/system/build.string") {
        return &Facts::buildString;
    }
    if (key == "http://tizen.org/system/manufacturer") {
        return &Facts::manufacturer;
    }
    if (key == "http://tizen.org/system/platform.name") {
        return &Facts::platformName;
    }
    return key == "http://tizen.org/feature/platform.version" ? &Facts::platformVersion : nullptr;
}

Fact FactOf(system_info_key_e key) {
    switch (key) {
        case SYSTEM_INFO_KEY_MODEL:
            return &Facts::modelName;
        case SYSTEM_INFO_KEY_TIZEN_VERSION:
            return &Facts::platformVersion;
        case SYSTEM_INFO_KEY_PLATFORM_NAME:
            return &Facts::platformName;
        case SYSTEM_INFO_KEY_MANUFACTURER:
            return &Facts::manufacturer;
        case SYSTEM_INFO_KEY_BUILD_STRING:
            return &Facts::buildString;
        default:
            return nullptr;
    }
}

int Give(const Facts& facts, Fact fact, char** value) {
    if (fact == nullptr || value == nullptr) {
        return SYSTEM_INFO_ERROR_INVALID_PARAMETER;
    }
    if ((facts.*fact).empty()) {
        return SYSTEM_INFO_ERROR_IO_ERROR;
    }
    *value = Device::NewText(facts.*fact);
    return SYSTEM_INFO_ERROR_NONE;
}

}  // namespace

int system_info_get_platform_string(const char* key, char** value) {
    return Call(
        "system_info_get_platform_string", SYSTEM_INFO_ERROR_IO_ERROR, [&](const Configuration& device) {
            return Give(device.facts, key == nullptr ? nullptr : FactOf(std::string(key)), value);
        });
}

int system_info_get_value_string(system_info_key_e key, char** value) {
    return Call("system_info_get_value_string", SYSTEM_INFO_ERROR_IO_ERROR, [&](const Configuration& device) {
        return Give(device.facts, FactOf(key), value);
    });
}
