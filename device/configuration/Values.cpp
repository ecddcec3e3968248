// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/Values.h"

#include <algorithm>
#include <charconv>

#include "device/names/ErrorCodes.h"

namespace Device {

namespace {

constexpr std::uint64_t LongestAnswer = 1 << 20;

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

template <typename Number>
bool ParseWhole(const std::string& text, Number* number, int base = 10) {
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, *number, base);
    return !text.empty() && parsed.ec == std::errc() && parsed.ptr == end;
}

std::string Join(const Choices& choices) {
    std::string text;
    for (const auto& choice : choices) {
        text += choice.first + ", ";
    }
    return text;
}

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(separator, start), text.size());
        parts.push_back(Trim(text.substr(start, end - start)));
        start = end + 1;
    }
    return parts;
}

// Writes out "00{300}" as 300 bytes of zero.
std::string WithoutRepetitions(const std::string& text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] != '{') {
            plain += text[at++];
            continue;
        }
        const std::size_t end = text.find('}', at);
        std::uint64_t count = 0;
        if (end == std::string::npos || plain.size() < 2 || plain.size() % 2 != 0 ||
            !ParseWhole(text.substr(at + 1, end - at - 1), &count) || count == 0 || count > LongestAnswer) {
            throw BadValue(Quoted(text) + " repeats nothing; write a byte and how often, as 00{300}");
        }
        const std::string byte = plain.substr(plain.size() - 2);
        for (std::uint64_t done = 1; done < count; ++done) {
            plain += byte;
        }
        at = end + 1;
    }
    return plain;
}

ScriptedAnswer AnswerValue(const std::string& text) {
    ScriptedAnswer answer;
    const std::size_t star = text.find('*');
    if (star != std::string::npos) {
        answer.times = NumberValue(Trim(text.substr(star + 1)), 1, UINT64_MAX);
    }
    const std::string form = Trim(text.substr(0, star));
    if (form == "card") {
        answer.fromCard = true;
    } else if (form != "empty") {
        answer.response = BytesValue(WithoutRepetitions(form), 1, LongestAnswer);
    }
    return answer;
}

}  // namespace

bool BooleanValue(const std::string& text) {
    if (text != "true" && text != "false") {
        throw BadValue(Quoted(text) + " is neither true nor false");
    }
    return text == "true";
}

std::uint64_t NumberValue(const std::string& text, std::uint64_t lowest, std::uint64_t highest) {
    std::uint64_t number = 0;
    if (!ParseWhole(text, &number) || number < lowest || number > highest) {
        throw BadValue(
            Quoted(text) + " is no number from " + std::to_string(lowest) + " to " + std::to_string(highest));
    }
    return number;
}

std::int32_t SignedValue(const std::string& text) {
    std::int32_t number = 0;
    if (!ParseWhole(text, &number)) {
        throw BadValue(Quoted(text) + " is no whole number from -2147483648 to 2147483647");
    }
    return number;
}

int ChoiceValue(const std::string& text, const Choices& choices, int highest) {
    const auto named = std::find_if(
        choices.begin(), choices.end(), [&](const auto& choice) { return choice.first == text; });
    if (named != choices.end()) {
        return named->second;
    }
    int number = 0;
    if (!ParseWhole(text, &number) || number < 0 || number > highest) {
        throw BadValue(
            Quoted(text) + " is not known; write " + Join(choices) + "or a number from 0 to " +
            std::to_string(highest));
    }
    return number;
}

std::string DigitsValue(const std::string& text, std::size_t lowest, std::size_t highest) {
    const bool digits = text.find_first_not_of("0123456789") == std::string::npos;
    if (!text.empty() && (!digits || text.size() < lowest || text.size() > highest)) {
        const std::string range = lowest == highest
                                      ? std::to_string(lowest)
                                      : std::to_string(lowest) + " to " + std::to_string(highest);
        throw BadValue(Quoted(text) + " is not right; write " + range + " decimal digits, or nothing");
    }
    return text;
}

Bytes BytesValue(const std::string& text, std::size_t lowest, std::size_t highest) {
    const std::optional<Bytes> bytes = FromHexText(text);
    if (!bytes || bytes->size() < lowest || bytes->size() > highest) {
        const std::string range = lowest == highest
                                      ? std::to_string(lowest)
                                      : std::to_string(lowest) + " to " + std::to_string(highest);
        throw BadValue(
            Quoted(text.substr(0, 100)) + " is not right; write " + range +
            " bytes, each as two hexadecimal digits");
    }
    return *bytes;
}

std::vector<std::string> ListValue(const std::string& text) {
    std::vector<std::string> parts = Split(text, ';');
    if (parts.back().empty()) {
        parts.pop_back();
    }
    if (std::find(parts.begin(), parts.end(), "") != parts.end()) {
        throw BadValue(Quoted(text) + " has an empty part; write one semicolon between two parts");
    }
    return parts;
}

int ResultValue(const std::string& text) {
    if (const std::optional<int> named = ErrorCodeNamed(text)) {
        return *named;
    }
    int number = 0;
    std::uint32_t bits = 0;
    if (text.compare(0, 2, "0x") == 0 && ParseWhole(text.substr(2), &bits, 16)) {
        return static_cast<int>(bits);
    }
    if (!ParseWhole(text, &number)) {
        throw BadValue(
            Quoted(text) +
            " is no result; write a number, 0x and hexadecimal digits, or a name such as "
            "NFC_ERROR_OPERATION_FAILED");
    }
    return number;
}

std::string FingerprintValue(const std::string& text) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), [](char each) { return each != ':'; });
    const std::optional<Bytes> bytes = FromHexText(digits);
    if (!bytes || bytes->size() != 32) {
        throw BadValue(
            Quoted(text) +
            " is no SHA-256 fingerprint; write its 32 bytes in hexadecimal, as "
            "openssl x509 -noout -fingerprint -sha256 shows them");
    }
    return HexText(*bytes);
}

std::vector<ScriptedAnswer> AnswersValue(const std::string& text) {
    std::vector<ScriptedAnswer> answers;
    for (const std::string& part : Split(text, ',')) {
        try {
            answers.push_back(AnswerValue(part));
        } catch (const BadValue& error) {
            throw BadValue(
                std::string(error.what()) +
                "; an answer is written as bytes, \"card\" or \"empty\", with *COUNT to limit it");
        }
    }
    // All but the last have an end, or those behind them would never be given.
    for (std::size_t at = 0; at + 1 < answers.size(); ++at) {
        answers[at].times = answers[at].times.value_or(1);
    }
    return answers;
}

std::string PathValue(const std::string& text, const std::string& configurationPath) {
    if (text.empty()) {
        throw BadValue("no file is named; write a path, absolute or from the folder of this file");
    }
    const std::size_t slash = configurationPath.rfind('/');
    return text.front() == '/' || slash == std::string::npos ? text
                                                             : configurationPath.substr(0, slash + 1) + text;
}

}  // namespace Device
