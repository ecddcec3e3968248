// SPDX-License-Identifier: Apache-2.0
#include <aul.h>

#include <cstring>

#include "device/gate/Gate.h"
#include "device/platform/Caller.h"

using Device::Call;
using Device::Configuration;

namespace {

// Nothing is cut off: a part of a name could be another's name.
int Give(const std::string& text, char* buffer, int length) {
    if (text.empty()) {
        return AUL_R_ERROR;
    }
    if (text.size() >= static_cast<std::size_t>(length)) {
        return AUL_R_EINVAL;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return AUL_R_OK;
}

int GivePackage(const char* function, int pid, char* buffer, int length) {
    return Call(function, AUL_R_ERROR, [&](const Configuration& device) -> int {
        if (pid <= 0 || buffer == nullptr || length <= 0) {
            return AUL_R_EINVAL;
        }
        return Give(Device::PackageOfProcess(device, pid), buffer, length);
    });
}

}  // namespace

int aul_app_get_pkgname_bypid(int pid, char* pkgname, int len) {
    return GivePackage("aul_app_get_pkgname_bypid", pid, pkgname, len);
}

int aul_app_get_pkgid_bypid(int pid, char* pkgid, int len) {
    return GivePackage("aul_app_get_pkgid_bypid", pid, pkgid, len);
}

// The first application that the package lists.
int aul_app_get_appid_bypid(int pid, char* appid, int len) {
    return Call("aul_app_get_appid_bypid", AUL_R_ERROR, [&](const Configuration& device) -> int {
        if (pid <= 0 || appid == nullptr || len <= 0) {
            return AUL_R_EINVAL;
        }
        const auto package = device.packages.find(Device::PackageOfProcess(device, pid));
        if (package == device.packages.end() || package->second.applications.empty()) {
            return AUL_R_ERROR;
        }
        return Give(package->second.applications.front(), appid, len);
    });
}
