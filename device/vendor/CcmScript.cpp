// SPDX-License-Identifier: Apache-2.0
#include "device/vendor/CcmScript.h"

#include <functional>
#include <numeric>

namespace Vendor {

namespace {

constexpr std::uint8_t Mark = 0xC5;
constexpr std::uint8_t Mask = 0x5A;
constexpr std::uint8_t Tag = 0x00;
constexpr std::uint8_t LongForm = 0x81;
constexpr std::size_t ShortestLong = 0x80;

std::uint8_t CheckOf(const Bytes& list) {
    return std::accumulate(list.begin(), list.end(), std::uint8_t{0}, std::bit_xor<>());
}

void FlipMask(Bytes& bytes) {
    for (std::uint8_t& byte : bytes) {
        byte ^= Mask;
    }
}

}  // namespace

Bytes PackApdus(const std::vector<Bytes>& apdus) {
    Bytes list;
    for (const Bytes& apdu : apdus) {
        if (apdu.empty() || apdu.size() > LongestApdu) {
            throw BadScript(
                "a command of " + std::to_string(apdu.size()) + " bytes; a record holds 1 to " +
                std::to_string(LongestApdu));
        }
        list.push_back(Tag);
        if (apdu.size() >= ShortestLong) {
            list.push_back(LongForm);
        }
        list.push_back(static_cast<std::uint8_t>(apdu.size()));
        Device::Append(list, apdu);
    }
    return list;
}

std::vector<Bytes> UnpackApdus(const Bytes& packedList) {
    std::vector<Bytes> apdus;
    for (std::size_t at = 0; at < packedList.size();) {
        const bool isLong = at + 1 < packedList.size() && packedList[at + 1] >= ShortestLong;
        const std::size_t begin = at + (isLong ? 3 : 2);
        if (begin > packedList.size() || packedList.size() - begin < packedList[begin - 1]) {
            throw BadScript("the record at byte " + std::to_string(at) + " runs past the end of the list");
        }
        const std::size_t end = begin + packedList[begin - 1];
        apdus.emplace_back(packedList.data() + begin, packedList.data() + end);
        at = end;
    }
    return apdus;
}

Bytes MakeScript(const Bytes& packedList) {
    Bytes script = packedList;
    FlipMask(script);
    script.insert(script.begin(), Mark);
    script.push_back(CheckOf(packedList));
    return script;
}

Bytes PackedListOf(const Bytes& script) {
    if (script.empty()) {
        return {};
    }
    if (script.size() < 2 || script.front() != Mark) {
        throw BadScript("this is no script; one begins with C5 and ends with a check byte");
    }
    Bytes list(script.begin() + 1, script.end() - 1);
    FlipMask(list);
    if (script.back() != CheckOf(list)) {
        throw BadScript("the script's check byte is not the one of its list; the script is damaged");
    }
    return list;
}

}  // namespace Vendor
