// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Masking.h"

#include <openssl/rand.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "globalplatform/CommandApdu.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Scp03.h"
#include "globalplatform/Sha256.h"

namespace GlobalPlatform {

namespace {

constexpr std::size_t AliasLength = 4;  // bytes of a digest

// ISO/IEC 7812-1: a card number has 8 to 19 digits; of those in use, none has fewer than 13.
constexpr std::size_t FewestDigits = 13;
constexpr std::size_t MostDigits = 19;

struct SecretInstruction {
    std::uint8_t code;
    const char* kind;
};

// Those that carry keys, data of a person, or what a person knows.
constexpr SecretInstruction SecretInstructions[] = {
    {Instruction::Verify, "reference data"},
    {Instruction::ChangeReferenceData, "reference data"},
    {Instruction::ResetRetryCounter, "reference data"},
    {Instruction::PutKey, "key data"},
    {Instruction::PutData, "card data"},
    {Instruction::PutListedData, "card data"},
    {Instruction::StoreData, "card data"},
};

const char* SecretKind(std::uint8_t instruction) {
    for (const SecretInstruction& each : SecretInstructions) {
        if (each.code == instruction) {
            return each.kind;
        }
    }
    return nullptr;
}

std::string HexOf(const Bytes& bytes, std::size_t begin, std::size_t end) {
    const auto first = bytes.begin();
    return HexText(
        Bytes(first + static_cast<std::ptrdiff_t>(begin), first + static_cast<std::ptrdiff_t>(end)));
}

// A card number in data: bytes that stay, such as its tag, and those that it takes.
struct Found {
    std::size_t shown = 0;
    std::size_t hidden = 0;  // none: there is no number
    std::string digits;
};

// Two digits in each byte up to the end, to the padding "F" or to the separator "D".
std::string PackedDigits(const Bytes& data, std::size_t begin, std::size_t length) {
    const std::string text = HexOf(data, begin, begin + length);
    return text.substr(0, text.find_first_not_of("0123456789"));
}

bool IsNumber(const std::string& digits) {
    return digits.size() >= FewestDigits && digits.size() <= MostDigits;
}

// EMV 4.3, book 3, annex A: 5A is the number itself; 57, and 9F6B of contactless cards, a track that begins
// with it.
Found TaggedNumberAt(const Bytes& data, std::size_t at) {
    const bool isLong = data[at] == 0x9F && at + 1 < data.size() && data[at + 1] == 0x6B;
    const std::size_t head = isLong ? 3 : 2;
    if ((!isLong && data[at] != 0x5A && data[at] != 0x57) || at + head > data.size()) {
        return {};
    }
    const std::size_t length = data[at + head - 1];
    if (length > MostDigits || at + head + length > data.size()) {
        return {};
    }
    std::string digits = PackedDigits(data, at + head, length);
    return IsNumber(digits) ? Found{head, length, std::move(digits)} : Found{};
}

bool IsWrittenDigit(std::uint8_t byte) {
    return byte >= '0' && byte <= '9';
}

Found WrittenNumberAt(const Bytes& data, std::size_t at) {
    std::size_t end = at;
    while (end < data.size() && IsWrittenDigit(data[end])) {
        ++end;
    }
    std::string digits(
        data.begin() + static_cast<std::ptrdiff_t>(at), data.begin() + static_cast<std::ptrdiff_t>(end));
    const bool isWhole = at == 0 || !IsWrittenDigit(data[at - 1]);
    return isWhole && IsNumber(digits) && ChecksOut(digits) ? Found{0, end - at, digits} : Found{};
}

Found NumberAt(const Bytes& data, std::size_t at) {
    Found tagged = TaggedNumberAt(data, at);
    return tagged.hidden > 0 ? tagged : WrittenNumberAt(data, at);
}

// Of a text that may end with half a byte, and is looked at all the same.
struct Digits {
    explicit Digits(const std::string& text) {
        std::optional<Bytes> whole = FromHexText(text);
        if (!whole && !text.empty()) {
            half = text.substr(text.size() - 1);
            whole = FromHexText(text.substr(0, text.size() - 1));
        }
        bytes = whole.value_or(Bytes());
    }

    Bytes bytes;  // none of a text that has other characters
    std::string half;
};

// Bytes of the data that are no part of a message code; ISO 7816-4, 5.4.1 (2005), and Amendment D.
std::size_t WithoutCode(const CommandApdu& apdu) {
    const bool isFirst = (apdu.cla & 0x40U) == 0;
    const bool hasCode = (apdu.cla & (isFirst ? SecureMessagingClassBit : 0x20U)) != 0;
    return hasCode && apdu.data.size() > CommandMacLength ? apdu.data.size() - CommandMacLength
                                                          : apdu.data.size();
}

}  // namespace

bool ChecksOut(const std::string& digits) {
    unsigned sum = 0;
    bool isDoubled = false;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, isDoubled = !isDoubled) {
        const unsigned value = static_cast<unsigned>(*digit - '0') * (isDoubled ? 2U : 1U);
        sum += value > 9 ? value - 9 : value;
    }
    return sum % 10 == 0;
}

Masking::Masking() : key(Sha256Length) {
    if (RAND_bytes(key.data(), static_cast<int>(key.size())) != 1) {
        throw std::runtime_error("no random key for aliases");
    }
}

std::string Masking::Alias(const std::string& kind, std::string_view secret) const {
    std::string text(key.begin(), key.end());
    text += kind + ":" + std::string(secret);
    return "{" + kind + " " + HexText(First(Sha256(text), AliasLength)) + "}";
}

std::string Masking::Command(const std::string& text) const {
    const Digits digits(text);
    const Bytes& bytes = digits.bytes;
    const char* const kind = bytes.size() > CommandHeaderLength + 1 ? SecretKind(bytes[1]) : nullptr;
    const std::optional<CommandApdu> apdu = digits.half.empty() ? ParseCommand(bytes) : std::nullopt;
    if (kind == nullptr || (apdu && apdu->data.empty())) {
        return Data(text);
    }
    const std::size_t begin = CommandHeaderLength + (apdu && apdu->extended ? 3 : 1);
    const std::size_t end = apdu ? begin + WithoutCode(*apdu) : bytes.size();
    const std::string secret = HexOf(bytes, begin, end) + digits.half;
    return HexOf(bytes, 0, begin) + Alias(kind, secret) + HexOf(bytes, end, bytes.size());
}

std::string Masking::Data(const std::string& text) const {
    const Digits digits(text);
    const Bytes& bytes = digits.bytes;
    std::string shown;
    std::size_t done = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const Found found = NumberAt(bytes, at);
        if (found.hidden == 0) {
            ++at;
            continue;
        }
        shown += HexOf(bytes, done, at + found.shown) + Alias("card number", found.digits);
        at += found.shown + found.hidden;
        done = at;
    }
    return done == 0 ? text : shown + HexOf(bytes, done, bytes.size()) + digits.half;
}

std::string Masking::Sentence(const std::string& text) const {
    const auto isDigit = [](unsigned char each) { return std::isxdigit(each) != 0; };
    std::string shown;
    for (auto at = text.begin(); at != text.end();) {
        const auto end = std::find_if_not(at, text.end(), isDigit);
        shown += Data({at, end});
        const auto next = std::find_if(end, text.end(), isDigit);
        shown.append(end, next);
        at = next;
    }
    return shown;
}

}  // namespace GlobalPlatform
