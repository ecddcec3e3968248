// SPDX-License-Identifier: Apache-2.0
#include <tizen_error.h>

#include <cstdio>

#include "device/gate/Gate.h"
#include "device/names/ErrorCodes.h"

using Device::Configuration;
using Device::OnBrokenDevice;
using Device::Pass;

namespace {

thread_local int lastResult = TIZEN_ERROR_NONE;

}  // namespace

// A fault of any number means that there is no text.
char* get_error_message(int err) {
    thread_local char text[128];
    return Pass<char*>(
        "get_error_message", OnBrokenDevice::Works, nullptr, [](int) -> char* { return nullptr; },
        [&](const Configuration&) -> char* {
            std::snprintf(text, sizeof text, "%s", Device::ErrorText(err));
            return text;
        });
}

int get_last_result(void) {
    return Pass(
        "get_last_result", OnBrokenDevice::Works, TIZEN_ERROR_UNKNOWN + 0, [](int fault) { return fault; },
        [](const Configuration&) { return lastResult; });
}

// A fault means that nothing is set.
void set_last_result(int err) {
    Pass(
        "set_last_result", OnBrokenDevice::Works, 0, [](int fault) { return fault; },
        [&](const Configuration&) { return lastResult = err; });
}
