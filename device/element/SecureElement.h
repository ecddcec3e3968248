// SPDX-License-Identifier: Apache-2.0
// What a secure element is to the device, whatever stands behind it.
#pragma once

#include "device/configuration/Configuration.h"

namespace Device {

// A card that takes one command after the other. An operation that does not reach the card throws
// ElementFailure where the caller is to be told the kind of it, else std::runtime_error, always with the
// cause; what the card itself refuses is a status word.
class SecureElement {
public:
    SecureElement() = default;
    virtual ~SecureElement() = default;
    SecureElement(const SecureElement&) = delete;
    SecureElement& operator=(const SecureElement&) = delete;

    // Takes over settings that need no other element; what the card holds stays.
    virtual void Configure(const CardSettings& /*settings*/) {}

    // For the first channel, and again for a card that is lost: nothing is selected but what the card selects
    // by itself, and no session is open. The answer-to-reset.
    [[nodiscard]] virtual Bytes Open() = 0;

    // After the last channel. Never waits for a card or a service that does not answer.
    virtual void Close() noexcept {}

    // Whether the card is out of reach until it is opened again.
    [[nodiscard]] virtual bool IsLost() const { return false; }

    // One command APDU as ISO 7816-4 has it, of any length, even malformed. The response ends with the status
    // word.
    [[nodiscard]] virtual Bytes Transmit(const Bytes& command) = 0;
};

}  // namespace Device
