// SPDX-License-Identifier: Apache-2.0
// What the in-house libraries ask of the virtual device, which is in the program that has loaded them. The
// program exports these functions to its libraries; with another program the device is a plain one.
#pragma once

#include <stdint.h>

extern "C" {

// What the device's configuration says about the libraries' work.
struct NavoLibrarySettings {
    int hasConvertedLength;   // whether handleCCM reports the next field instead of the length it came to
    int32_t convertedLength;  // any number
    int terminatesUid;        // whether dalm_readInjectedKeyUID ends the text with a zero byte
    char keyFile[4096];       // path
};

// Counts a call of an entry point. True: the entry point does its work, by `settings`. False: it returns
// `*result` at once, which is a fault's number, or `failure` where the configuration cannot be followed.
[[nodiscard]] bool navo_device_enter(
    const char* entryPoint, int failure, NavoLibrarySettings* settings, int* result) noexcept
    __attribute__((weak, visibility("default")));

// Writes a line to the device's log.
void navo_device_report(const char* line) noexcept __attribute__((weak, visibility("default")));

}  // extern "C"
