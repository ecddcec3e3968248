// SPDX-License-Identifier: Apache-2.0
#include "trace/Mask.h"

#include <algorithm>
#include <cctype>

#include "globalplatform/Masking.h"
#include "trace/Hidden.h"

namespace Trace {

namespace {

constexpr std::size_t CodeLength = 8;  // of a result code
constexpr std::size_t ShortestNumber = 14;
constexpr std::size_t LongestNumber = 19;

bool IsHexadecimal(char character) {
    return std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

bool IsWordCharacter(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0;
}

bool IsDecimal(const std::string& digits) {
    return digits.find_first_not_of("0123456789") == std::string::npos;
}

// Registered and national providers, as AIDs begin; ISO 7816-4, 8.2.1.2.
bool LooksLikeAid(const std::string& digits) {
    return digits.size() >= 10 && digits.size() <= 32 && digits.size() % 2 == 0 &&
           (digits.rfind("A0000", 0) == 0 || digits.rfind("D2760", 0) == 0);
}

bool MayBeSecret(const std::string& text, std::size_t begin, std::size_t end) {
    const std::string digits = text.substr(begin, end - begin);
    if (digits.size() < CodeLength || (digits.size() == CodeLength && IsDecimal(digits))) {
        return false;
    }
    const bool isOfUuid = (begin > 0 && text[begin - 1] == '-') || (end < text.size() && text[end] == '-');
    const bool isWord =
        (begin > 0 && IsWordCharacter(text[begin - 1])) || (end < text.size() && IsWordCharacter(text[end]));
    const bool mayBeInWord = digits.size() >= 2 * CodeLength;
    return !isOfUuid && (!isWord || mayBeInWord) && !LooksLikeAid(digits);
}

// One for the whole program, so that pages that follow each other have the same aliases.
const GlobalPlatform::Masking& Aliases() {
    static const GlobalPlatform::Masking aliases;
    return aliases;
}

}  // namespace

Mask::Mask(bool hides) : isOn(hides) {
    if (isOn) {
        Aliases();
    }
}

std::string Mask::Hide(const std::string& kind, const Bytes& secret) const {
    return HideText(kind, GlobalPlatform::HexText(secret));
}

std::string Mask::HideText(const std::string& kind, const std::string& secret) const {
    return !isOn || secret.empty() || EndOfAlias(secret, 0) == secret.size() ? secret
                                                                             : Aliases().Alias(kind, secret);
}

std::string Mask::Words(const std::string& text) const {
    if (!isOn) {
        return text;
    }
    std::string masked;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t end = begin;
        while (end < text.size() && IsHexadecimal(text[end])) {
            ++end;
        }
        const std::size_t endOfAlias = EndOfAlias(text, begin);
        if (endOfAlias != std::string::npos) {
            masked.append(text, begin, endOfAlias - begin);
            end = endOfAlias;
        } else if (end > begin && MayBeSecret(text, begin, end)) {
            masked += HideText("data", text.substr(begin, end - begin));
        } else {
            end = std::max(end, begin + 1);
            masked.append(text, begin, end - begin);
        }
        begin = end;
    }
    return masked;
}

// A number begins with a whole byte, as a bank's does, and ends where the decimal digits do.
bool HoldsCardNumber(const Bytes& bytes) {
    const std::string digits = GlobalPlatform::HexText(bytes);
    for (std::size_t begin = 0; begin + ShortestNumber <= digits.size(); begin += 2) {
        const std::size_t end = std::min(digits.find_first_not_of("0123456789", begin), digits.size());
        const std::size_t length = end - begin;
        const bool isBanks = digits[begin] >= '2' && digits[begin] <= '6';
        if (isBanks && length >= ShortestNumber && length <= LongestNumber &&
            GlobalPlatform::ChecksOut(digits.substr(begin, length))) {
            return true;
        }
    }
    return false;
}

}  // namespace Trace
