// SPDX-License-Identifier: Apache-2.0
// The device's own trust store. The link option --wrap=curl_easy_init leads the service's calls here, so that
// the service itself sets no TLS option.
#include <curl/curl.h>

#include "device/gate/Gate.h"

using Device::Configuration;
using Device::OnBrokenDevice;
using Device::Pass;

extern "C" {

CURL* __real_curl_easy_init(void);
CURL* __wrap_curl_easy_init(void);

// A fault of any number means that there is no handle. Without a trust store in the configuration, the handle
// has libcurl's own.
CURL* __wrap_curl_easy_init(void) {
    return Pass<CURL*>(
        "curl_easy_init", OnBrokenDevice::Fails, nullptr, [](int) -> CURL* { return nullptr; },
        [](const Configuration& device) -> CURL* {
            CURL* handle = __real_curl_easy_init();
            if (handle != nullptr && !device.trustStore.empty()) {
                // The folder that libcurl was built with stays active beside a file unless it is taken away.
                curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
                curl_easy_setopt(handle, CURLOPT_CAINFO, device.trustStore.c_str());
            }
            return handle;
        });
}

}  // extern "C"
