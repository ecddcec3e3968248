// SPDX-License-Identifier: Apache-2.0
// The device's configuration file.
#include "device/configuration/Configuration.h"
#include "tests/fuzz/FuzzTarget.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const Device::Configuration configuration = Device::ReadConfiguration("/nowhere/navo-device.conf", text);
    Require(configuration.Broken() == !configuration.mistakes.empty(), "a mistake breaks the device");
    for (const Device::Mistake& mistake : configuration.mistakes) {
        const std::string words = Device::Describe(configuration, mistake);
        Require(words.rfind("/nowhere/navo-device.conf:", 0) == 0, "a mistake is told with its place");
    }
    return 0;
}
