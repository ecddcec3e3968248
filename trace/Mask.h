// SPDX-License-Identifier: Apache-2.0
// Keeps what nobody has to see out of what is written: each such value has an alias in its place, always the
// same one as long as the program runs.
#pragma once

#include <string>

#include "globalplatform/Bytes.h"

namespace Trace {

using GlobalPlatform::Bytes;

class Mask {
public:
    // Throws std::runtime_error when nothing can be masked.
    explicit Mask(bool hides);

    [[nodiscard]] bool IsOn() const { return isOn; }

    // The alias of a secret, or its digits where nothing is hidden. Nothing is nothing to hide, and neither
    // is an alias that another program has put there.
    [[nodiscard]] std::string Hide(const std::string& kind, const Bytes& secret) const;
    [[nodiscard]] std::string HideText(const std::string& kind, const std::string& secret) const;

    // A text of anybody's words. Of its runs of hexadecimal digits, those that may be more than a code, a
    // status word or an AID have an alias in their place.
    [[nodiscard]] std::string Words(const std::string& text) const;

private:
    bool isOn;
};

// Whether decimal digits among these bytes are a card number, two in a byte: 14 to 19 of them, which their
// check digit confirms.
[[nodiscard]] bool HoldsCardNumber(const Bytes& bytes);

}  // namespace Trace
