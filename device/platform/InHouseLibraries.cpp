// SPDX-License-Identifier: Apache-2.0
// The device's side of the maker's in-house libraries. The link options --wrap=dlopen and --wrap=dlsym lead
// the program's calls here, where a library or an entry point can be missing; what the libraries themselves
// ask of the device is exported to them.
#include <dlfcn.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "device/gate/Gate.h"
#include "device/gate/LogWriter.h"
#include "device/vendor/HostDevice.h"

using Device::Configuration;
using Device::Pass;

namespace {

// No library and no symbol has such a name, so that the loader itself says what is missing.
constexpr char LeftOut[] = " (left out by the device's configuration)";

bool IsLeftOut(const std::string& name) {
    const Device::Visit visit = Device::Enquire();
    return visit.device->libraries.leftOut.count(name) > 0;
}

// Sanitizers look symbols up while the program is not ready for anything yet: no library call for other
// names, and no instrumentation.
__attribute__((no_sanitize("address", "undefined", "thread"))) bool MayBeEntryPoint(const char* name) {
    constexpr const char* Beginnings[] = {"dalm_", "openSecureSpi", "closeSecureSpi", "handleCCM"};
    for (const char* beginning : Beginnings) {
        const char* at = name;
        while (*beginning != '\0' && *at == *beginning) {
            ++at;
            ++beginning;
        }
        if (*beginning == '\0') {
            return true;
        }
    }
    return false;
}

void FillSettings(const Configuration& device, NavoLibrarySettings& settings) {
    const Device::InHouseLibraries& libraries = device.libraries;
    settings.hasConvertedLength = libraries.convertedLength ? 1 : 0;
    settings.convertedLength = libraries.convertedLength.value_or(0);
    settings.terminatesUid = libraries.terminatesUid ? 1 : 0;
    if (libraries.keyFile.size() >= sizeof settings.keyFile) {
        throw std::runtime_error("the name of the key file is longer than any path");
    }
    *std::copy(libraries.keyFile.begin(), libraries.keyFile.end(), settings.keyFile) = '\0';
}

}  // namespace

extern "C" {

void* __real_dlopen(const char* path, int mode);
void* __wrap_dlopen(const char* path, int mode);
void* __real_dlsym(void* library, const char* name);
void* __wrap_dlsym(void* library, const char* name);

void* __wrap_dlopen(const char* path, int mode) {
    if (path == nullptr) {
        return __real_dlopen(path, mode);
    }
    const std::string name = path;
    const bool leftOut = IsLeftOut(name.substr(name.rfind('/') + 1));
    return __real_dlopen(leftOut ? (name + LeftOut).c_str() : path, mode);
}

__attribute__((no_sanitize("address", "undefined", "thread"))) void* __wrap_dlsym(
    void* library, const char* name) {
    if (MayBeEntryPoint(name) && IsLeftOut(name)) {
        return __real_dlsym(library, (std::string(name) + LeftOut).c_str());
    }
    return __real_dlsym(library, name);
}

bool navo_device_enter(
    const char* entryPoint, int failure, NavoLibrarySettings* settings, int* result) noexcept {
    bool works = false;
    *result = Pass(
        entryPoint, Device::OnBrokenDevice::Fails, failure, [](int fault) { return fault; },
        [&](const Configuration& device) {
            FillSettings(device, *settings);
            works = true;
            return failure;
        });
    return works;
}

void navo_device_report(const char* line) noexcept {
    try {
        Device::WriteDeviceLog(line);
    } catch (const std::exception&) {
        // Not even memory for a line.
    }
}

}  // extern "C"
