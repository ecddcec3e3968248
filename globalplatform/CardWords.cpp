// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/CardWords.h"

#include <cctype>
#include <cstdint>
#include <numeric>
#include <optional>

#include "globalplatform/Bytes.h"
#include "globalplatform/Names.h"

namespace GlobalPlatform {

namespace {

std::optional<Bytes> BytesOf(const std::string& hexadecimal, std::size_t least, std::size_t most) {
    std::optional<Bytes> bytes = FromHexText(hexadecimal);
    return bytes && bytes->size() >= least && bytes->size() <= most ? bytes : std::nullopt;
}

void AddNamed(const char* whose, const std::string& name, std::vector<std::string>& words) {
    if (!name.empty()) {
        words.push_back(whose + name);
    }
}

// Elementary time unit of ISO 7816-3, tables 7 and 8; 0 where a code is reserved.
constexpr int Fi[] = {372, 372, 558, 744, 1116, 1488, 1860, 0, 0, 512, 768, 1024, 1536, 2048, 0, 0};
constexpr int Di[] = {0, 1, 2, 4, 8, 16, 32, 64, 12, 20, 0, 0, 0, 0, 0, 0};

class AtrReader {
public:
    explicit AtrReader(const Bytes& answer) : atr(answer) {}

    std::vector<std::string> Words() {
        if (atr[0] != 0x3B && atr[0] != 0x3F) {
            return {};
        }
        words.emplace_back(atr[0] == 0x3B ? "direct convention" : "inverse convention");
        const std::size_t historical = atr[1] & 0x0FU;
        at = 2;
        ReadInterface(atr[1]);
        if (protocols.empty()) {
            protocols = "T=0";
        }
        words.push_back("protocols: " + protocols);
        const bool hasCheck = needsCheck && at + historical + 1 == atr.size();
        if (isCut || at + historical + (hasCheck ? 1 : 0) != atr.size() || needsCheck != hasCheck) {
            words.emplace_back("its length is wrong");
            return words;
        }
        AddHistorical(historical);
        if (hasCheck) {
            const unsigned sum = std::accumulate(
                atr.begin() + 1, atr.end(), 0U,
                [](unsigned left, std::uint8_t right) { return left ^ right; });
            words.emplace_back(sum == 0 ? "its check byte is right" : "its check byte is wrong");
        }
        return words;
    }

private:
    std::uint8_t Take() {
        isCut = isCut || at >= atr.size();
        return isCut ? 0 : atr[at++];
    }

    // Groups of interface bytes; each says which ones the next has.
    void ReadInterface(std::uint8_t indicator) {
        for (int group = 1; !isCut; ++group) {
            if ((indicator & 0x10U) != 0) {
                AddFirst(group, Take());
            }
            if ((indicator & 0x20U) != 0) {
                Take();
            }
            if ((indicator & 0x40U) != 0) {
                Take();
            }
            if ((indicator & 0x80U) == 0) {
                return;
            }
            indicator = Take();
            const int protocol = indicator & 0x0F;
            needsCheck = needsCheck || protocol != 0;
            if (protocol != 15) {
                protocols += (protocols.empty() ? "T=" : ", T=") + std::to_string(protocol);
            }
        }
    }

    void AddFirst(int group, std::uint8_t byte) {
        const int clock = Fi[byte >> 4U];
        const int rate = Di[byte & 0x0FU];
        if (group == 1 && clock != 0 && rate != 0) {
            words.push_back(
                "a bit takes " + std::to_string(clock) + "/" + std::to_string(rate) + " clock cycles");
        }
    }

    void AddHistorical(std::size_t count) {
        std::string text;
        for (std::size_t index = at; index < at + count; ++index) {
            text += std::isprint(atr[index]) != 0 ? static_cast<char>(atr[index]) : '.';
        }
        words.push_back(count == 0 ? "no historical bytes" : "historical bytes: \"" + text + "\"");
    }

    const Bytes& atr;
    std::size_t at = 0;
    bool isCut = false;
    bool needsCheck = false;
    std::string protocols;
    std::vector<std::string> words;
};

}  // namespace

std::vector<std::string> PrivilegeWords(const std::string& hexadecimal) {
    const std::optional<Bytes> bytes = BytesOf(hexadecimal, 1, 3);
    if (!bytes || bytes->size() == 2) {
        return {};
    }
    std::vector<std::string> words = GlobalPlatform::PrivilegeNames(*bytes);
    return words.empty() ? std::vector<std::string>{"none"} : words;
}

std::vector<std::string> LifeCycleWords(const std::string& hexadecimal) {
    const std::optional<Bytes> bytes = BytesOf(hexadecimal, 1, 1);
    if (!bytes) {
        return {};
    }
    const std::uint8_t value = bytes->front();
    std::vector<std::string> words;
    AddNamed("of a card: ", GlobalPlatform::CardStateName(value), words);
    if ((value & 0x7FU) == 0x0F) {
        words.emplace_back(
            value == 0x0F ? "of a security domain: PERSONALIZED" : "of a security domain: LOCKED");
    }
    AddNamed("of an application: ", GlobalPlatform::ApplicationStateName(value), words);
    if (value == 0x01) {
        words.emplace_back("of a load file: LOADED");
    }
    return words.empty() ? std::vector<std::string>{"unknown to the standards"} : words;
}

std::vector<std::string> AtrWords(const std::string& hexadecimal) {
    const std::optional<Bytes> bytes = BytesOf(hexadecimal, 2, 33);
    return bytes ? AtrReader(*bytes).Words() : std::vector<std::string>{};
}

}  // namespace GlobalPlatform
