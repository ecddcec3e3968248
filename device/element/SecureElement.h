// What a secure element is to the device, whatever stands behind it.
#pragma once

#include <memory>

#include "configuration/Configuration.h"

namespace Device {

// A card that takes one command after the other. An operation that does not reach the card throws
// std::runtime_error with the cause; what the card itself refuses is a status word.
class SecureElement {
public:
    SecureElement() = default;
    virtual ~SecureElement() = default;
    SecureElement(const SecureElement&) = delete;
    SecureElement& operator=(const SecureElement&) = delete;

    // Takes over settings from the device's configuration; what the card holds stays.
    virtual void Configure(const CardSettings& settings) = 0;

    // Warm reset: nothing is selected but what the card selects by itself, and no session is open. The answer
    // to it.
    virtual Bytes Reset() = 0;

    // One command APDU as ISO 7816-4 has it, of any length, even malformed. The response ends with the status
    // word.
    virtual Bytes Transmit(const Bytes& command) = 0;
};

std::unique_ptr<SecureElement> MakeSecureElement(const CardSettings& settings);

}  // namespace Device
