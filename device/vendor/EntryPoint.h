// SPDX-License-Identifier: Apache-2.0
// The shape of every entry point of the in-house libraries.
#pragma once

#include <cstring>
#include <exception>
#include <string>

#include "device/vendor/HostDevice.h"

// The libraries show their entry points only; everything else in them stays inside.
#define NAVO_ENTRY_POINT extern "C" __attribute__((visibility("default")))

namespace Vendor {

[[nodiscard]] inline NavoLibrarySettings PlainSettings() {
    NavoLibrarySettings settings = {};
    settings.terminatesUid = 1;
    std::strcpy(settings.keyFile, "navo-device-keys.conf");
    return settings;
}

inline void Report(const char* entryPoint, const std::string& problem) noexcept {
    if (navo_device_report != nullptr) {
        try {
            navo_device_report((std::string(entryPoint) + ": " + problem).c_str());
        } catch (const std::exception&) {
            // No memory for a line: the result has to speak for itself.
        }
    }
}

// Does `work`, unless the device's configuration has another result for the call. Nothing is thrown into the
// caller, who may be no C++ at all: it becomes `failure`.
template <typename Work>
int Serve(const char* entryPoint, int failure, Work work) noexcept {
    NavoLibrarySettings settings = PlainSettings();
    int result = failure;
    if (navo_device_enter != nullptr && !navo_device_enter(entryPoint, failure, &settings, &result)) {
        return result;
    }
    try {
        return work(settings);
    } catch (const std::exception& error) {
        Report(entryPoint, error.what());
        return failure;
    }
}

}  // namespace Vendor
