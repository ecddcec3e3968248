// SPDX-License-Identifier: Apache-2.0
#include <vconf.h>

#include "device/gate/Gate.h"
#include "device/platform/CText.h"

using Device::Configuration;
using Device::OnBrokenDevice;
using Device::Pass;

namespace {

constexpr char SalesCodeKey[] = "db/csc/salescode";

thread_local int lastError = VCONF_OK;

char* Fail(int error) {
    lastError = error;
    return nullptr;
}

// The sales code stands among the device's facts; a value of its own under [vconf] goes first.
std::string ValueOf(const Configuration& device, const std::string& key) {
    const auto value = device.values.find(key);
    if (value != device.values.end()) {
        return value->second;
    }
    return key == SalesCodeKey ? device.facts.salesCode : "";
}

}  // namespace

// A fault means a null text, and its number is the reason.
char* vconf_get_str(const char* in_key) {
    lastError = VCONF_ERROR;
    return Pass<char*>(
        "vconf_get_str", OnBrokenDevice::Fails, nullptr, Fail, [&](const Configuration& device) -> char* {
            const std::string value = in_key == nullptr ? "" : ValueOf(device, in_key);
            if (value.empty()) {
                return Fail(VCONF_ERROR);
            }
            lastError = VCONF_OK;
            return Device::NewText(value);
        });
}

int vconf_get_ext_errno(void) {
    return Pass(
        "vconf_get_ext_errno", OnBrokenDevice::Works, VCONF_ERROR, [](int fault) { return fault; },
        [](const Configuration&) { return lastError; });
}
