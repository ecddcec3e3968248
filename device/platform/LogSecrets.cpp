// SPDX-License-Identifier: Apache-2.0
#include "device/platform/LogSecrets.h"

#include <algorithm>
#include <cctype>

#include "device/gate/Aliases.h"

namespace Device {

namespace {

using GlobalPlatform::Masking;

// What the service writes before a command or a response, one alone or a set, and before a script of
// commands.
constexpr char ApduMark[] = "APDU: ";
constexpr char ScriptMark[] = "CCM[";
constexpr std::size_t ItemMarkLength = 3;  // "/01"

std::size_t EndOfDigits(const std::string& text, std::size_t begin) {
    const auto first = text.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto last =
        std::find_if_not(first, text.end(), [](unsigned char each) { return std::isxdigit(each) != 0; });
    return static_cast<std::size_t>(last - text.begin());
}

std::string MaskedApdus(
    const Masking& masking, const std::string& message, std::size_t begin, bool isResponse) {
    std::string shown = message.substr(0, begin);
    for (std::size_t at = begin; at < message.size();) {
        if (message[at] == '/') {
            shown += message.substr(at, ItemMarkLength);
            at = std::min(at + ItemMarkLength, message.size());
        }
        const std::size_t end = EndOfDigits(message, at);
        const std::string digits = message.substr(at, end - at);
        shown += isResponse ? masking.Data(digits) : masking.Command(digits);
        at = end;
        if (at < message.size() && message[at] != '/') {
            return shown + message.substr(at);
        }
    }
    return shown;
}

std::string MaskedScript(const Masking& masking, const std::string& message, std::size_t begin) {
    const std::size_t end = EndOfDigits(message, begin);
    const std::string digits = message.substr(begin, end - begin);
    return digits.empty() ? message
                          : message.substr(0, begin) + masking.Alias("script", digits) + message.substr(end);
}

}  // namespace

std::string WithoutSecrets(std::string message) {
    const std::size_t apdu = message.find(ApduMark);
    const std::size_t script = apdu == std::string::npos ? message.find(ScriptMark) : apdu;
    if (script == std::string::npos || ShowsSecrets()) {
        return message;  // nearly every line
    }
    const Masking& masking = Aliases();
    if (apdu != std::string::npos) {
        const bool isResponse = apdu > 0 && (message[apdu - 1] == 'r' || message[apdu - 1] == 'R');
        return MaskedApdus(masking, message, apdu + sizeof ApduMark - 1, isResponse);
    }
    const std::size_t colon = message.find("]: ", script);
    return colon == std::string::npos ? message : MaskedScript(masking, message, colon + 3);
}

}  // namespace Device
