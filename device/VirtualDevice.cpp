// SPDX-License-Identifier: Apache-2.0
#include "device/VirtualDevice.h"

#include "device/element/CardSlot.h"
#include "device/gate/Gate.h"
#include "device/gate/HandleTable.h"
#include "device/names/FunctionNames.h"

namespace Device {

namespace {

CardSlot& SlotOf(Element element) {
    return element == Element::Embedded ? EmbeddedElementSlot() : UiccSlot();
}

}  // namespace

std::string ConfigurationPath() {
    return Enquire().device->path;
}

std::vector<std::string> ConfigurationMistakes() {
    const std::shared_ptr<const Configuration> configuration = Enquire().device;
    std::vector<std::string> texts;
    for (const Mistake& mistake : configuration->mistakes) {
        texts.push_back(Describe(*configuration, mistake));
    }
    return texts;
}

std::uint64_t Calls(const std::string& function) {
    return CallCount(CanonicalFunction(function));
}

std::size_t OpenHandles() {
    return OpenHandleCount();
}

std::vector<Exchange> Exchanges(Element element) {
    return SlotOf(element).Exchanges(Enquire().device->number);
}

std::uint64_t ExchangeCount(Element element) {
    return SlotOf(element).ExchangeCount(Enquire().device->number);
}

void ForgetExchanges(Element element) {
    SlotOf(element).ForgetExchanges();
}

}  // namespace Device
