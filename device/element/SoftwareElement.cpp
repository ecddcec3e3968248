#include "element/SoftwareElement.h"

namespace Device {

namespace {

Card::Options OptionsOf(const CardSettings& settings) {
    Card::Options options;
    options.atr = settings.atr;
    options.cplc = settings.cplc;
    options.memory = settings.freeMemory;
    options.volatileMemory = settings.freeVolatileMemory;
    return options;
}

}  // namespace

std::unique_ptr<SecureElement> MakeSecureElement(const CardSettings& settings) {
    return std::make_unique<SoftwareElement>(settings);
}

SoftwareElement::SoftwareElement(const CardSettings& settings) : card(OptionsOf(settings)) {}

void SoftwareElement::Configure(const CardSettings& settings) {
    card.Configure(OptionsOf(settings));
}

}  // namespace Device
