// SPDX-License-Identifier: Apache-2.0
#include "trace/Hidden.h"

#include <algorithm>
#include <cctype>

#include "globalplatform/CommandApdu.h"
#include "globalplatform/CommandWords.h"
#include "globalplatform/Scp03.h"

namespace Trace {

namespace {

constexpr std::size_t DigestDigits = 8;  // of an alias
constexpr std::size_t MostZeros = 4096;  // so that a few characters are never very many bytes

// Visible digits up to the first alias and behind the last one.
struct Ends {
    std::string_view front;
    std::string_view back;
};

Ends EndsOf(std::string_view text) {
    const std::size_t begin = text.find('{');
    const std::size_t end = text.rfind('}');
    return {text.substr(0, begin), end == std::string_view::npos ? text : text.substr(end + 1)};
}

// Digits that are shown, as if nothing were hidden between them; nothing for a text of anything else.
std::optional<Bytes> ShownOf(std::string_view text) {
    std::string digits;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = EndOfAlias(text, at);
        if (end == std::string_view::npos) {
            digits += text[at++];
        } else {
            at = end;
        }
    }
    return GlobalPlatform::FromHexText(digits);
}

// How many bytes of a command's data are hidden: all but a code right behind the length, else what is
// missing.
std::size_t HiddenOf(const Bytes& front, std::size_t shown) {
    const std::size_t shortHead = GlobalPlatform::CommandHeaderLength + 1;
    if (front.size() < shortHead) {
        return 0;
    }
    const bool isExtended = front[4] == 0 && front.size() >= shortHead + 2;
    const std::size_t head = isExtended ? shortHead + 2 : shortHead;
    const std::size_t length = isExtended ? static_cast<std::size_t>(front[5]) << 8U | front[6] : front[4];
    if (front.size() > head) {
        return head + length > shown ? head + length - shown : 0;
    }
    const std::size_t code =
        GlobalPlatform::HasSecureMessaging(front[0]) ? GlobalPlatform::CommandMacLength : 0;
    return length > code ? length - code : length;
}

}  // namespace

std::size_t EndOfAlias(std::string_view text, std::size_t begin) {
    const std::size_t end =
        begin < text.size() && text[begin] == '{' ? text.find('}', begin) : std::string_view::npos;
    if (end == std::string_view::npos || end - begin < DigestDigits + 3) {
        return std::string_view::npos;
    }
    const std::string_view inside = text.substr(begin + 1, end - begin - 1);
    const std::string_view kind = inside.substr(0, inside.size() - DigestDigits);
    const std::string_view digest = inside.substr(kind.size());
    const bool isKind = kind.back() == ' ' && std::all_of(kind.begin(), kind.end(), [](char each) {
                            return (each >= 'a' && each <= 'z') || each == ' ';
                        });
    const bool isDigest = std::all_of(
        digest.begin(), digest.end(), [](unsigned char each) { return std::isxdigit(each) != 0; });
    return isKind && isDigest ? end + 1 : std::string_view::npos;
}

bool IsHidden(std::string_view text) {
    return text.find('{') != std::string_view::npos;
}

std::string TextOf(const Seen& seen) {
    return seen.masked.empty() ? GlobalPlatform::HexText(seen.bytes) : seen.masked;
}

std::string ComparableText(const Seen& seen) {
    const std::string text = TextOf(seen);
    std::string comparable;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = EndOfAlias(text, at);
        comparable += end == std::string::npos ? text.substr(at, 1) : "{}";
        at = end == std::string::npos ? at + 1 : end;
    }
    return comparable;
}

std::string KeyOf(const Seen& seen) {
    return seen.masked.empty() ? std::string(seen.bytes.begin(), seen.bytes.end()) : std::string();
}

std::optional<Seen> SeeResponse(const std::string& text) {
    std::optional<Bytes> shown = ShownOf(text);
    if (!shown) {
        return std::nullopt;
    }
    return Seen{std::move(*shown), IsHidden(text) ? text : std::string()};
}

std::optional<Seen> SeeCommand(const std::string& text) {
    std::optional<Seen> seen = SeeResponse(text);
    if (seen && !seen->masked.empty()) {
        const Bytes front = GlobalPlatform::FromHexText(text.substr(0, text.find('{'))).value_or(Bytes());
        const std::size_t hidden = std::min(HiddenOf(front, seen->bytes.size()), MostZeros);
        seen->bytes.insert(seen->bytes.begin() + static_cast<std::ptrdiff_t>(front.size()), hidden, 0);
    }
    return seen;
}

bool MayBeSameText(std::string_view left, std::string_view right) {
    if (!IsHidden(left) && !IsHidden(right)) {
        return left == right;
    }
    const Ends one = EndsOf(left);
    const Ends other = EndsOf(right);
    const std::size_t front = std::min(one.front.size(), other.front.size());
    const std::size_t back = std::min(one.back.size(), other.back.size());
    return one.front.substr(0, front) == other.front.substr(0, front) &&
           one.back.substr(one.back.size() - back) == other.back.substr(other.back.size() - back);
}

bool MayBeSame(const Seen& left, const Seen& right) {
    if (left.masked.empty() && right.masked.empty()) {
        return left.bytes == right.bytes;
    }
    return MayBeSameText(TextOf(left), TextOf(right));
}

}  // namespace Trace
