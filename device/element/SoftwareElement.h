// SPDX-License-Identifier: Apache-2.0
// The software card as a secure element of the device.
#pragma once

#include "card/SoftwareCard.h"
#include "device/element/SecureElement.h"

namespace Device {

class SoftwareElement : public SecureElement {
public:
    explicit SoftwareElement(const CardSettings& settings) : card(settings.software) {}

    void Configure(const CardSettings& settings) override { card.Configure(settings.software); }
    Bytes Open() override { return card.Reset(); }
    Bytes Transmit(const Bytes& command) override { return card.Transmit(command); }

private:
    Card::SoftwareCard card;
};

}  // namespace Device
