// The software card as a secure element of the device.
#pragma once

#include "card/SoftwareCard.h"
#include "element/SecureElement.h"

namespace Device {

class SoftwareElement : public SecureElement {
public:
    explicit SoftwareElement(const CardSettings& settings);

    void Configure(const CardSettings& settings) override;
    Bytes Reset() override { return card.Reset(); }
    Bytes Transmit(const Bytes& command) override { return card.Transmit(command); }

private:
    Card::SoftwareCard card;
};

}  // namespace Device
