// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/ProgramText.h"

#include <algorithm>

#include "device/configuration/Values.h"
#include "globalplatform/CommandApdu.h"
#include "globalplatform/Instruction.h"

namespace Device {

namespace {

using Card::AnswerPart;

constexpr std::size_t MostParts = 256;  // of one answer
constexpr std::size_t MostDepth = 8;
constexpr std::size_t LongestTag = 3;

std::string Quoted(const std::string& text) {
    return "\"" + text.substr(0, 100) + "\"";
}

std::string WithoutBlanks(const std::string& text) {
    std::string plain;
    std::copy_if(text.begin(), text.end(), std::back_inserter(plain), [](char each) {
        return each != ' ' && each != '\t';
    });
    return plain;
}

class PatternReader {
public:
    explicit PatternReader(const std::string& written) : text(WithoutBlanks(written)) {}

    Card::CommandPattern Read() {
        Card::CommandPattern pattern;
        const bool open = !text.empty() && text.back() == '*';
        if (open) {
            text.pop_back();
        }
        while (at < text.size()) {
            (pattern.header.size() < GlobalPlatform::CommandHeaderLength ? pattern.header : pattern.data)
                .push_back(Byte());
        }
        if (pattern.header.size() < GlobalPlatform::CommandHeaderLength) {
            Fail();
        }
        if (!pattern.data.empty()) {
            pattern.extent = open ? Card::CommandPattern::Data::Beginning : Card::CommandPattern::Data::Whole;
        }
        return pattern;
    }

private:
    [[noreturn]] static void Fail() {
        throw BadValue(
            "the command is not right; write CLA INS P1 P2 and what its data have to be, each byte as two "
            "hexadecimal digits, x for any digit, /F0 behind a byte for a mask, * at the end for data that "
            "go "
            "on");
    }

    char Next() {
        if (at == text.size()) {
            Fail();
        }
        return text[at++];
    }

    static std::uint8_t Digit(char digit) {
        const std::optional<Bytes> byte = FromHexText(std::string("0") + digit);
        if (!byte || byte->size() != 1) {
            Fail();
        }
        return byte->front();
    }

    Card::MaskedByte Byte() {
        unsigned value = 0;
        unsigned mask = 0;
        for (int half = 0; half < 2; ++half) {
            const char digit = Next();
            const bool any = digit == 'x' || digit == 'X';
            value = value << 4 | (any ? 0 : Digit(digit));
            mask = mask << 4 | (any ? 0 : 0xF);
        }
        if (at < text.size() && text[at] == '/') {
            ++at;
            const unsigned high = Digit(Next());
            mask &= high << 4 | Digit(Next());
        }
        return {static_cast<std::uint8_t>(value & mask), static_cast<std::uint8_t>(mask)};
    }

    std::string text;
    std::size_t at = 0;
};

// What could never get to an application is a mistake.
void RequireReachable(const Card::CommandPattern& pattern) {
    namespace Instruction = GlobalPlatform::Instruction;
    const Card::MaskedByte cla = pattern.header[0];
    const Card::MaskedByte ins = pattern.header[1];
    if (!cla.Matches(0) && !cla.Matches(GlobalPlatform::ProprietaryClassBit)) {
        throw BadValue(
            "no command of this class gets to an application; write 00 or 80, to which the number of the "
            "logical channel does not count");
    }
    const bool exact = ins.mask == 0xFF;
    if (exact && (ins.value == Instruction::GetResponse || ins.value == Instruction::ManageChannel)) {
        throw BadValue("the card itself answers this instruction; write another");
    }
}

bool IsTag(const Bytes& bytes) {
    constexpr std::uint8_t NumberMask = 0x1F;
    constexpr std::uint8_t GoesOn = 0x80;
    if (bytes.empty() || bytes.size() > LongestTag) {
        return false;
    }
    const bool several = (bytes[0] & NumberMask) == NumberMask;
    if (several != (bytes.size() > 1)) {
        return false;
    }
    for (std::size_t at = 1; at < bytes.size(); ++at) {
        if (((bytes[at] & GoesOn) != 0) != (at + 1 < bytes.size())) {
            return false;
        }
    }
    return true;
}

std::uint32_t TagValue(const std::string& text) {
    const std::optional<Bytes> bytes = FromHexText(text);
    if (!bytes || !IsTag(*bytes)) {
        throw BadValue(Quoted(text) + " is no tag of BER-TLV; write one such as 5F20");
    }
    return static_cast<std::uint32_t>(GlobalPlatform::FromBigEndian(*bytes));
}

// A data group's identifier, or a tag; then tags within.
std::vector<std::uint32_t> PathOf(const std::string& text) {
    std::vector<std::uint32_t> path;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('/', begin), text.size());
        const std::string part = text.substr(begin, end - begin);
        if (path.empty()) {
            path.push_back(
                static_cast<std::uint32_t>(GlobalPlatform::FromBigEndian(BytesValue(part, 1, LongestTag))));
        } else {
            path.push_back(TagValue(part));
        }
        begin = end + 1;
    }
    return path;
}

AnswerPart CounterPart(AnswerPart::Kind kind, const std::string& text) {
    AnswerPart part;
    part.kind = kind;
    const std::size_t colon = text.find(':');
    part.counter = text.substr(0, colon);
    if (!Card::IsCounterName(part.counter)) {
        throw BadValue(
            Quoted(part.counter) + " is no name of a counter; write lower-case letters, digits and hyphens");
    }
    if (colon != std::string::npos) {
        part.width = NumberValue(text.substr(colon + 1), 1, Card::GreatestCounterWidth);
    }
    return part;
}

AnswerPart StoredPart(AnswerPart::Kind kind, const std::string& text) {
    AnswerPart part;
    part.kind = kind;
    part.path = PathOf(text);
    return part;
}

AnswerPart PlainPart(AnswerPart::Kind kind) {
    AnswerPart part;
    part.kind = kind;
    return part;
}

AnswerPart LiteralPart(const std::string& word) {
    const std::optional<Bytes> bytes = FromHexText(word);
    if (!bytes) {
        throw BadValue(
            Quoted(word) +
            " is no part of an answer; write bytes in hexadecimal, \"text\", TAG( parts ), echo, aid, "
            "counter:NAME, next:NAME, value:TAG, object:TAG, or status:6985 at the end");
    }
    AnswerPart part;
    part.bytes = *bytes;
    return part;
}

AnswerPart WordPart(const std::string& word) {
    const std::size_t colon = word.find(':');
    const std::string kind = word.substr(0, colon);
    const std::string rest = colon == std::string::npos ? "" : word.substr(colon + 1);
    if (word == "echo") {
        return PlainPart(AnswerPart::Kind::CommandData);
    }
    if (word == "aid") {
        return PlainPart(AnswerPart::Kind::ApplicationAid);
    }
    if (kind == "counter") {
        return CounterPart(AnswerPart::Kind::Counter, rest);
    }
    if (kind == "next") {
        return CounterPart(AnswerPart::Kind::NextCounter, rest);
    }
    if (kind == "value") {
        return StoredPart(AnswerPart::Kind::StoredValue, rest);
    }
    if (kind == "object") {
        return StoredPart(AnswerPart::Kind::StoredObject, rest);
    }
    return LiteralPart(word);
}

GlobalPlatform::StatusWord StatusValue(const std::string& text) {
    const std::uint64_t status = GlobalPlatform::FromBigEndian(BytesValue(text, 2, 2));
    const std::uint64_t first = status >> 8;
    if (first >> 4 != 9 && (first >> 4 != 6 || first == 0x60)) {
        throw BadValue(Quoted(text) + " is no status word; write 9000, or one from 6100 to 6FFF or 9FFF");
    }
    return static_cast<GlobalPlatform::StatusWord>(status);
}

class AnswersReader {
public:
    explicit AnswersReader(const std::string& written) : text(written) {}

    Card::Alternatives Read() {
        Card::Alternatives answers;
        do {
            answers.push_back(Answer());
        } while (Take(','));
        if (at < text.size()) {
            throw BadValue("a parenthesis stands alone; write TAG( parts )");
        }
        return answers;
    }

private:
    static constexpr char Status[] = "status:";

    Card::ProgramAnswer Answer() {
        count = 0;
        Card::ProgramAnswer answer;
        answer.parts = Parts(0);
        const std::string word = Word();
        if (!word.empty()) {
            answer.status = StatusValue(word.substr(sizeof Status - 1));
            if (!Parts(0).empty()) {
                throw BadValue("something stands behind the status; write it in front");
            }
        } else if (answer.parts.empty()) {
            throw BadValue("there is no answer; write what it consists of, or status:9000");
        }
        return answer;
    }

    // Until something that is no part.
    std::vector<AnswerPart> Parts(std::size_t depth) {
        std::vector<AnswerPart> parts;
        for (;;) {
            SkipBlanks();
            const std::size_t begin = at;
            if (Take('"')) {
                parts.push_back(Text());
            } else {
                const std::string word = Word();
                if (word.empty() || word.compare(0, sizeof Status - 1, Status) == 0) {
                    at = begin;
                    return parts;
                }
                parts.push_back(Take('(') ? Object(word, depth + 1) : WordPart(word));
            }
            if (++count > MostParts) {
                throw BadValue("the answer has more than " + std::to_string(MostParts) + " parts");
            }
        }
    }

    AnswerPart Object(const std::string& tag, std::size_t depth) {
        if (depth > MostDepth) {
            throw BadValue("more than " + std::to_string(MostDepth) + " objects stand in each other");
        }
        AnswerPart part;
        part.kind = AnswerPart::Kind::Object;
        part.tag = TagValue(tag);
        part.parts = Parts(depth);
        if (!Take(')')) {
            throw BadValue("the object " + tag + "( has no end; write ) behind its parts");
        }
        return part;
    }

    AnswerPart Text() {
        const std::size_t end = text.find('"', at);
        if (end == std::string::npos) {
            throw BadValue("a text has no end; write \" behind it");
        }
        AnswerPart part;
        part.bytes.assign(
            text.begin() + static_cast<std::ptrdiff_t>(at), text.begin() + static_cast<std::ptrdiff_t>(end));
        at = end + 1;
        return part;
    }

    std::string Word() {
        SkipBlanks();
        const std::size_t end = std::min(text.find_first_of(" \t,()\"", at), text.size());
        const std::string word = text.substr(at, end - at);
        at = end;
        return word;
    }

    bool Take(char sign) {
        SkipBlanks();
        const bool there = at < text.size() && text[at] == sign;
        at += there ? 1 : 0;
        return there;
    }

    void SkipBlanks() { at = std::min(text.find_first_not_of(" \t", at), text.size()); }

    const std::string& text;
    std::size_t at = 0;
    std::size_t count = 0;
};

}  // namespace

Card::CommandPattern CommandPatternValue(const std::string& text) {
    Card::CommandPattern pattern = PatternReader(text).Read();
    RequireReachable(pattern);
    return pattern;
}

Card::Alternatives ProgramAnswersValue(const std::string& text) {
    return AnswersReader(text).Read();
}

}  // namespace Device
