// SPDX-License-Identifier: Apache-2.0
#include "app/Se.h"

#include <algorithm>
#include <cctype>
#include <limits>

#include "app/ResultCode.h"
#include "common/Debug.h"

namespace Na {

namespace {

// SELECT by name with an empty name, which selects the card's default application, then GET DATA.
const char* const CplcQuery[] = {"00A4040000", "80CA9F7F00"};
const char* const FreeMemoryQuery[] = {"00A4040000", "80CAFF2100"};

constexpr char Success[] = "9000";
constexpr char RefetchPrefix[] = "000C00";
constexpr char ResourceTemplateTag[] = "FF21";
constexpr char FreeMemoryTag[] = "82";

// First status bytes that ask for a follow-up (ISO 7816-4).
constexpr std::uint8_t MoreData = 0x61;
constexpr std::uint8_t WrongLength = 0x6C;

constexpr std::size_t StatusWordLength = 4;  // in characters
constexpr std::size_t CplcHeaderLength = 6;  // tag 9F7F and one byte of length

constexpr std::size_t ShortestResponse = 2;  // in bytes
constexpr std::size_t LongestResponse = 65538;

// Where following a card that never comes to an end, or asks for ever longer commands, ends.
constexpr unsigned MostFollowUps = 65536;
constexpr std::size_t LongestFollowUp = 1048576;  // in characters

// Length field of a BER-TLV object: where its value begins, counted from the field, and how many characters
// the value has. Counted in 64 bits, so that no length of a card can wrap it.
struct LengthField {
    std::size_t digits;
    std::uint64_t valueLength;
    bool wellFormed;
};

// Number that `count` hexadecimal digits at `position` write, read up to the first other character. Raises
// std::out_of_range when the text ends before.
std::uint64_t NumberAt(const std::string& text, std::size_t position, std::size_t count) {
    std::string digits;
    for (std::size_t i = 0; i < count; ++i) {
        digits.push_back(text.at(position + i));
    }
    std::uint64_t number = 0;
    for (const char digit : digits) {
        const int character = static_cast<unsigned char>(digit);
        if (std::isxdigit(character) == 0) {
            break;
        }
        const int nibble =
            std::isdigit(character) != 0 ? character - '0' : std::toupper(character) - 'A' + 10;
        number = number * 16 + static_cast<std::uint64_t>(nibble);
    }
    return number;
}

// The marker of the long form is not counted among the digits, so a value in long form begins one byte
// early. Card queries only meet the short form.
LengthField LengthAt(const std::string& data, std::size_t position) {
    if (data.at(position) != '8') {
        return {2, 2 * NumberAt(data, position, 2), true};
    }
    const char form = data.at(position + 1);
    if (form < '1' || form > '4') {
        return {0, 0, false};
    }
    const auto digits = static_cast<std::size_t>(form - '0') * 2;
    return {digits, 2 * NumberAt(data, position + 2, digits), true};
}

std::string FindTag(const std::string& data, const std::string& tag) {
    std::uint64_t next = 0;
    while (next < data.size()) {
        const auto position = static_cast<std::size_t>(next);
        const std::size_t tagWidth = data.at(position + 1) == 'F' ? 4 : 2;
        const LengthField length = LengthAt(data, position + tagWidth);
        if (!length.wellFormed) {
            LogPrint(LogWarning, LOCATED_IN("GetTagValue", "ill-formed card response"));
            break;
        }
        const std::size_t value = position + tagWidth + length.digits;
        if (data.compare(position, tagWidth, tag) == 0) {
            const auto characters = std::min<std::uint64_t>(length.valueLength, data.size());
            return value < data.size() ? data.substr(value, static_cast<std::size_t>(characters))
                                       : std::string();
        }
        next = value + length.valueLength;
    }
    return std::string();
}

// Follow-up to a response that asks for one. After 61xx a fixed prefix, after 6Cxx the command that was sent
// last without its final digit; either followed by as many zero bytes as SW2 says.
std::string FollowUp(const std::string& command, std::uint8_t sw1, std::uint8_t sw2) {
    std::string next =
        sw1 == MoreData ? RefetchPrefix : command.substr(0, command.empty() ? 0 : command.size() - 1);
    return next.append(std::size_t{2} * sw2, '0');
}

}  // namespace

Se::Se(int kind) : pReader(CreateSeReader(kind)) {}

bool Se::Open() {
    return pReader != nullptr && pReader->Open();
}

void Se::Close() {
    if (pReader != nullptr) {
        pReader->Close();
    }
}

std::string Se::Apdu(const std::string& command) {
    std::string result;
    std::string next;
    unsigned followUps = 0;
    for (;; ++followUps) {
        const std::string& sent = followUps == 0 ? command : next;
        SetResultCode(ResultCode::UnknownError);
        if (pReader == nullptr) {
            LogPrint(LogError, LOCATED("FATAL: pReader is NULL"));
            return result;
        }
        LogPrint(LogTrace, LOCATED("APDU: %s"), sent.c_str());
        const Bytes response = pReader->Apdu(HexToBytes(sent));
        const std::size_t length = response.size();
        if (length < ShortestResponse || length > LongestResponse) {
            LogPrint(LogError, LOCATED("eSE communication problem. rAPDU len %d"), static_cast<int>(length));
            break;
        }
        const std::uint8_t sw1 = response[length - 2];
        const std::uint8_t sw2 = response[length - 1];
        if (sw1 != MoreData && sw1 != WrongLength) {
            result = BytesToHex(response);
            break;
        }
        next = FollowUp(sent, sw1, sw2);
        if (sw1 == MoreData) {
            LogPrint(LogTrace, LOCATED("0x61: %s"), next.c_str());
        } else {
            LogPrint(LogTrace, LOCATED("0x6C: %s"), next.c_str());
        }
        if (followUps == MostFollowUps || next.size() > LongestFollowUp) {
            LogPrint(
                LogError, LOCATED("eSE never completes its response. Gave up after %u re-sends"), followUps);
            break;
        }
    }
    // Every exchange of a chain has the response of its last one.
    for (unsigned exchanges = 0; exchanges <= followUps; ++exchanges) {
        LogPrint(LogTrace, LOCATED("RAPDU: %s"), result.c_str());
    }
    return result;
}

std::string Se::Apdu(const char* const commands[], std::size_t count) {
    std::string response;
    for (std::size_t i = 0; i < count; ++i) {
        response = Apdu(commands[i]);
        if (response.empty()) {
            break;
        }
    }
    return response;
}

bool Se::isValidSW(const std::string& response) {
    const std::string statusWord = response.substr(response.size() - StatusWordLength);
    if (statusWord == Success) {
        return true;
    }
    LogPrint(LogError, LOCATED("Card responded with error SW: %s"), statusWord.c_str());
    return false;
}

std::string Se::GetTagValue(const std::string& data, const std::string& tag) {
    if (data.empty() || tag.empty()) {
        LogPrint(LogWarning, LOCATED("empty data structure in card response"));
        return std::string();
    }
    const std::string value = FindTag(data, tag);
    if (value.empty()) {
        LogPrint(LogWarning, LOCATED("failed to find %s tag in tlv structure"), tag.c_str());
    }
    return value;
}

std::string Se::GetCplc() {
    std::string cplc;
    const std::string response = Apdu(CplcQuery, 2);
    LogPrint(LogTrace, LOCATED("rAPDU: %s"), response.c_str());
    if (response.empty()) {
        LogPrint(LogError, LOCATED("Empty response from card"));
    } else if (!isValidSW(response)) {
        LogPrint(LogDebug, LOCATED("Error indicated in SW"));
    } else if (response.size() > CplcHeaderLength + StatusWordLength) {
        cplc = response.substr(CplcHeaderLength, response.size() - CplcHeaderLength - StatusWordLength);
    }
    LogPrint(LogTrace, LOCATED("ret: %s"), cplc.c_str());
    return cplc;
}

std::uint32_t Se::GetFreeMemory() {
    long amount = 0;
    const std::string response = Apdu(FreeMemoryQuery, 2);
    LogPrint(LogTrace, LOCATED("rAPDU: %s"), response.c_str());
    if (response.empty()) {
        SetResultCode(ResultCode::NoApdu);
    } else if (isValidSW(response)) {
        const std::string resources = GetTagValue(response, ResourceTemplateTag);
        amount = StringToLong(GetTagValue(resources, FreeMemoryTag), 16);
    }
    // Saturated alike where long has 64 bits.
    const auto freeMemory =
        static_cast<std::uint32_t>(std::min<long>(amount, std::numeric_limits<std::int32_t>::max()));
    LogPrint(LogDebug, LOCATED("SE memory: %u"), freeMemory);
    return freeMemory;
}

}  // namespace Na
