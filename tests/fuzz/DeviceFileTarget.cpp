// SPDX-License-Identifier: Apache-2.0
// The device's configuration file; the same text as a card's profile.
#include "device/configuration/CardProfile.h"
#include "device/configuration/Configuration.h"
#include "tests/fuzz/FuzzTarget.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const Device::Configuration configuration = Device::ReadConfiguration("/nowhere/navo-device.conf", text);
    Require(configuration.Broken() == !configuration.mistakes.empty(), "a mistake breaks the device");
    for (const Device::Mistake& mistake : configuration.mistakes) {
        const std::string words = Device::Describe(configuration, mistake);
        const std::string file = mistake.file.empty() ? configuration.path : mistake.file;
        Require(words.rfind(file + ":", 0) == 0, "a mistake is told with its place");
    }
    Card::Options options;
    std::vector<Device::Mistake> mistakes;
    Device::ReadCardProfileText("/nowhere/a.profile", text, options, mistakes);
    Card::Check(options);
    for (const Device::Mistake& mistake : mistakes) {
        Require(mistake.file == "/nowhere/a.profile", "a profile's mistake names the profile");
    }
    return 0;
}
