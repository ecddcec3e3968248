// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/CardKeys.h"

#include <algorithm>

#include "device/configuration/Values.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Aid.h"
#include "globalplatform/LifeCycle.h"
#include "globalplatform/Scp03.h"

namespace Device {

namespace {

namespace LifeCycle = GlobalPlatform::LifeCycle;

Card::Bytes KeyValue(const std::string& text) {
    return BytesValue(text, GlobalPlatform::AesKeyLength, GlobalPlatform::LongestAesKey);
}

// A comma needs no quotes in a shell.
GlobalPlatform::StaticKeys KeysValue(std::string text) {
    std::replace(text.begin(), text.end(), ',', ';');
    const std::vector<std::string> parts = ListValue(text);
    if (parts.size() != 3) {
        throw BadValue(
            "the card has three keys; write ENC,MAC,DEK, each as 16, 24 or 32 bytes in hexadecimal");
    }
    GlobalPlatform::StaticKeys keys{KeyValue(parts[0]), KeyValue(parts[1]), KeyValue(parts[2])};
    if (!GlobalPlatform::AreChannelKeys(keys)) {
        throw BadValue(
            "the keys differ in length, or have none of AES; write three of the same 16, 24 or 32 bytes");
    }
    return keys;
}

std::uint8_t ChannelOptionValue(const std::string& text) {
    const std::uint8_t option = BytesValue(text, 1, 1).front();
    if (!GlobalPlatform::IsChannelOption(option)) {
        throw BadValue("\"" + text + "\" is no option of the secure channel; write 00, 10, 20, 30, 60 or 70");
    }
    return option;
}

std::uint8_t LifeCycleValue(const std::string& text) {
    const std::pair<const char*, std::uint8_t> states[] = {
        {"op-ready", LifeCycle::CardReady},
        {"initialized", LifeCycle::CardInitialized},
        {"secured", LifeCycle::CardSecured},
        {"locked", LifeCycle::CardLocked},
        {"terminated", LifeCycle::CardTerminated}};
    for (const auto& state : states) {
        if (text == state.first) {
            return state.second;
        }
    }
    throw BadValue(
        "\"" + text + "\" is no state of a card; write op-ready, initialized, secured, locked or terminated");
}

std::uint8_t KeyVersionValue(const std::string& text) {
    const std::uint64_t version = NumberValue(text, 1, Card::InitialKeyVersion);
    if (!Card::IsKeyVersion(version)) {
        throw BadValue(
            text + " is no version of keys; write a number from 1 to 127, or 255 for initial keys");
    }
    return static_cast<std::uint8_t>(version);
}

bool ByteProtocolValue(const std::string& text) {
    if (text != "T=0" && text != "T=1") {
        throw BadValue("\"" + text + "\" is no protocol of the software card; write T=0 or T=1");
    }
    return text == "T=0";
}

Card::ShortLength ShortLengthValue(const std::string& text) {
    const std::pair<const char*, Card::ShortLength> manners[] = {
        {"told", Card::ShortLength::Told},
        {"refused", Card::ShortLength::Refused},
        {"cut", Card::ShortLength::Cut}};
    for (const auto& manner : manners) {
        if (text == manner.first) {
            return manner.second;
        }
    }
    throw BadValue("\"" + text + "\" is no manner of a card; write told, refused or cut");
}

bool AbsentIsDataValue(const std::string& text) {
    if (text != "6A82" && text != "6A88") {
        throw BadValue("\"" + text + "\" is no word for what a card does not have; write 6A82 or 6A88");
    }
    return text == "6A88";
}

// What the card is.
Keys CharacterKeys(Card::Options& options) {
    const auto size = [](std::uint64_t& target) {
        return [&target](const std::string& value) { target = NumberValue(value, 0, UINT32_MAX); };
    };
    return {
        {"protocol", [&](const std::string& value) { options.byteProtocol = ByteProtocolValue(value); }},
        {"atr", [&](const std::string& value) { options.atr = BytesValue(value, 0, Card::LongestAtr); }},
        {"cplc",
         [&](const std::string& value) {
             options.cplc = BytesValue(value, Card::CplcLength, Card::CplcLength);
         }},
        {"issuer-aid",
         [&](const std::string& value) {
             options.issuerAid = BytesValue(value, GlobalPlatform::ShortestAid, GlobalPlatform::LongestAid);
         }},
        {"issuer-number",
         [&](const std::string& value) {
             options.issuerNumber = BytesValue(value, 0, Card::LongestIssuerNumber);
         }},
        {"life-cycle", [&](const std::string& value) { options.lifeCycle = LifeCycleValue(value); }},
        {"authentication-attempts",
         [&](const std::string& value) {
             options.authenticationAttempts = static_cast<std::uint32_t>(NumberValue(value, 1, UINT32_MAX));
         }},
        {"channel-option",
         [&](const std::string& value) { options.channelOption = ChannelOptionValue(value); }},
        {"keys", [&](const std::string& value) { options.keys = KeysValue(value); }},
        {"key-version", [&](const std::string& value) { options.keyVersion = KeyVersionValue(value); }},
        {"free-memory", size(options.memory)},
        {"free-volatile-memory", size(options.volatileMemory)}};
}

// How it behaves where cards differ.
Keys MannerKeys(Card::Manners& manners) {
    constexpr std::uint64_t MostListed = 65535;
    return {
        {"announce-answers",
         [&](const std::string& value) { manners.announcesAnswers = BooleanValue(value); }},
        {"short-length", [&](const std::string& value) { manners.shortLength = ShortLengthValue(value); }},
        {"absent", [&](const std::string& value) { manners.absentIsData = AbsentIsDataValue(value); }},
        {"listed-at-once",
         [&](const std::string& value) { manners.listedAtOnce = NumberValue(value, 0, MostListed); }},
        {"answer-time", [&](const std::string& value) {
             manners.answerTime = std::chrono::milliseconds(
                 NumberValue(value, 0, static_cast<std::uint64_t>(Card::LongestAnswerTime.count())));
         }}};
}

}  // namespace

Keys SoftwareCardKeys(Card::Options& options) {
    Keys keys = CharacterKeys(options);
    for (auto& key : MannerKeys(options.manners)) {
        keys.push_back(std::move(key));
    }
    return keys;
}

}  // namespace Device
