// SPDX-License-Identifier: Apache-2.0
// The entry points of liborv_sem.so: a channel, and the conversion of CCM scripts while it is open.
#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "device/vendor/CcmScript.h"
#include "device/vendor/EntryPoint.h"

namespace {

constexpr int ChannelSuccess = 1;
constexpr int ChannelFailure = 0;
constexpr int Converted = 0;
constexpr int NotConverted = -1;

// What the service's buffer holds.
constexpr std::int32_t LongestScript = 92160;

// Lives as long as the library is loaded.
bool channelIsOpen = false;

int ConvertScript(unsigned char* buffer, std::int32_t* length, const NavoLibrarySettings& settings) {
    if (!channelIsOpen) {
        throw std::runtime_error("the secure channel is not open");
    }
    if (buffer == nullptr || length == nullptr || *length < 0 || *length > LongestScript) {
        throw std::runtime_error("there is no script of 0 to 92160 bytes");
    }
    const Vendor::Bytes list = Vendor::PackedListOf(Vendor::Bytes(buffer, buffer + *length));
    std::fill(std::copy(list.begin(), list.end(), buffer), buffer + *length, static_cast<unsigned char>(0));
    *length = settings.hasConvertedLength ? settings.convertedLength : static_cast<std::int32_t>(list.size());
    return Converted;
}

}  // namespace

NAVO_ENTRY_POINT int openSecureSpi() {
    return Vendor::Serve("openSecureSpi", ChannelFailure, [](const NavoLibrarySettings&) {
        if (channelIsOpen) {
            throw std::runtime_error("the secure channel is open already");
        }
        channelIsOpen = true;
        return ChannelSuccess;
    });
}

NAVO_ENTRY_POINT int closeSecureSpi() {
    return Vendor::Serve("closeSecureSpi", ChannelFailure, [](const NavoLibrarySettings&) {
        if (!channelIsOpen) {
            throw std::runtime_error("the secure channel is not open");
        }
        channelIsOpen = false;
        return ChannelSuccess;
    });
}

NAVO_ENTRY_POINT int handleCCM(unsigned char* buffer, std::int32_t* length) {
    return Vendor::Serve("handleCCM", NotConverted, [&](const NavoLibrarySettings& settings) {
        return ConvertScript(buffer, length, settings);
    });
}
