// SPDX-License-Identifier: Apache-2.0
#include <package_manager.h>

#include <algorithm>

#include "device/gate/Gate.h"
#include "device/platform/CText.h"

using Device::Configuration;

int package_manager_get_package_id_by_app_id(const char* app_id, char** package_id) {
    return Device::Call(
        "package_manager_get_package_id_by_app_id", PACKAGE_MANAGER_ERROR_SYSTEM_ERROR,
        [&](const Configuration& device) -> int {
            if (app_id == nullptr || package_id == nullptr) {
                return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
            }
            for (const auto& package : device.packages) {
                const auto& applications = package.second.applications;
                if (std::find(applications.begin(), applications.end(), app_id) != applications.end()) {
                    *package_id = Device::NewText(package.first);
                    return PACKAGE_MANAGER_ERROR_NONE;
                }
            }
            return PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE;
        });
}
