// SPDX-License-Identifier: Apache-2.0
// Aliases in the place of what a log must not hold: data of STORE DATA, PUT KEY and their like, and card
// numbers.
#pragma once

#include <string>
#include <string_view>

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

// Of decimal digits of a card number: the last one checks the others; ISO/IEC 7812-1, annex B.
[[nodiscard]] bool ChecksOut(const std::string& digits);

// The same secret has the same alias as long as one object lives: "{card number 8D1F03A2}". Nobody can try
// out which secret an alias stands for, because it is made with a random key that is never told. Never
// changes, so any thread may use it.
class Masking {
public:
    // Throws std::runtime_error when there is no random key.
    Masking();

    // A command APDU in hexadecimal digits. What cannot be one is masked like any data.
    [[nodiscard]] std::string Command(const std::string& text) const;

    // Hexadecimal digits of a response, or of any data: card numbers by their tags (5A, 57, 9F6B), and those
    // that are written in ASCII. A text of other characters comes back as it is.
    [[nodiscard]] std::string Data(const std::string& text) const;

    // Words, in which data may stand.
    [[nodiscard]] std::string Sentence(const std::string& text) const;

    // Of what is secret as a whole.
    [[nodiscard]] std::string Alias(const std::string& kind, std::string_view secret) const;

private:
    Bytes key;
};

}  // namespace GlobalPlatform
