// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/CardSection.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "device/configuration/SectionReader.h"
#include "device/configuration/Values.h"
#include "device/recording/Recording.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Aid.h"
#include "globalplatform/LifeCycle.h"
#include "globalplatform/Scp03.h"

namespace Device {

namespace {

namespace LifeCycle = GlobalPlatform::LifeCycle;

constexpr char AnswerPrefix[] = "answer ";

struct BackEndName {
    BackEnd backEnd;
    const char* name;
};

constexpr BackEndName BackEndNames[] = {
    {BackEnd::Software, "software"}, {BackEnd::Pcsc, "pcsc"}, {BackEnd::Replay, "replay"}};

const char* NameOf(BackEnd backEnd) {
    return std::find_if(
               std::begin(BackEndNames), std::end(BackEndNames),
               [&](const BackEndName& each) { return each.backEnd == backEnd; })
        ->name;
}

BackEnd BackEndValue(const std::string& text) {
    for (const BackEndName& each : BackEndNames) {
        if (text == each.name) {
            return each.backEnd;
        }
    }
    throw BadValue("\"" + text + "\" is no back-end; write software, pcsc or replay");
}

Card::Bytes KeyValue(const std::string& text) {
    return BytesValue(text, GlobalPlatform::AesKeyLength, GlobalPlatform::LongestAesKey);
}

GlobalPlatform::StaticKeys KeysValue(const std::string& text) {
    const std::vector<std::string> parts = ListValue(text);
    if (parts.size() != 3) {
        throw BadValue("the card has three keys; write ENC;MAC;DEK, each as 16 bytes in hexadecimal");
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

bool ExclusiveValue(const std::string& text) {
    if (text != "exclusive" && text != "shared") {
        throw BadValue("\"" + text + "\" is no way to share a card; write exclusive or shared");
    }
    return text == "exclusive";
}

bool ByteProtocolValue(const std::string& text) {
    if (text != "T=0" && text != "T=1") {
        throw BadValue("\"" + text + "\" is no protocol of the software card; write T=0 or T=1");
    }
    return text == "T=0";
}

CardProtocol ProtocolValue(const std::string& text) {
    if (text == "any") {
        return CardProtocol::Any;
    }
    if (text != "T=0" && text != "T=1") {
        throw BadValue("\"" + text + "\" is no protocol of a reader; write T=0, T=1 or any");
    }
    return text == "T=0" ? CardProtocol::T0 : CardProtocol::T1;
}

// A recording that the replay could not follow is a mistake here, not at the first command.
std::string RecordingValue(const std::string& path) {
    try {
        ReadRecording(path);
    } catch (const std::runtime_error& error) {
        throw BadValue(error.what());
    }
    return path;
}

AnswerRule AnswerRuleOf(const Entry& entry) {
    AnswerRule rule;
    std::string pattern = Trim(entry.key.substr(sizeof AnswerPrefix - 1));
    rule.prefix = pattern.back() == '*';
    if (rule.prefix) {
        pattern.pop_back();
    }
    const std::optional<Bytes> command = FromHexText(pattern);
    if (!command) {
        throw BadValue(
            "the command is not right; write its bytes in hexadecimal, with * at the end to match all that "
            "begin so");
    }
    rule.pattern = HexText(*command);
    rule.answers = AnswersValue(entry.value);
    return rule;
}

class CardReader {
public:
    CardReader(
        const Section& cardSection, const std::string& path, CardSettings& settings,
        std::vector<Mistake>& noted)
        : section(cardSection), configurationPath(path), card(settings), mistakes(noted) {}

    void Read();

private:
    void ReadBackEnd();
    bool ReadAnswer(const Entry& entry);
    void RequireRecording();
    Keys CommonKeys();
    Keys SoftwareKeys();
    Keys ReaderKeys();
    Keys ReplayKeys();
    void AddKeys(Keys& all, BackEnd backEnd, Keys keys) const;
    std::string Path(const std::string& value) const { return PathValue(value, configurationPath); }

    const Section& section;
    const std::string& configurationPath;
    CardSettings& card;
    std::vector<Mistake>& mistakes;
};

// Before all others, because it decides which of them have a meaning.
void CardReader::ReadBackEnd() {
    for (const Entry& entry : section.entries) {
        if (entry.key == "back-end") {
            SectionReader(section, mistakes).Guarded(entry, [&] {
                card.backEnd = BackEndValue(entry.value);
            });
        }
    }
}

// True when the entry is an "answer COMMAND", whether or not it can be followed.
bool CardReader::ReadAnswer(const Entry& entry) {
    if (entry.key.compare(0, sizeof AnswerPrefix - 1, AnswerPrefix) != 0) {
        return false;
    }
    SectionReader(section, mistakes).Guarded(entry, [&] { card.answers.push_back(AnswerRuleOf(entry)); });
    return true;
}

Keys CardReader::CommonKeys() {
    return {
        {"present", [&](const std::string& value) { card.present = BooleanValue(value); }},
        {"back-end", [](const std::string&) {}},
        {"record", [&](const std::string& value) { card.recordFile = Path(value); }},
        {"answer COMMAND", [](const std::string&) {
             throw BadValue(
                 "COMMAND stands for the bytes of a command; write, for example, answer 80CA9F7F00");
         }}};
}

Keys CardReader::SoftwareKeys() {
    Card::Options& options = card.software;
    const auto size = [](std::uint64_t& target) {
        return [&target](const std::string& value) { target = NumberValue(value, 0, UINT32_MAX); };
    };
    return {
        {"state-file", [&](const std::string& value) { options.stateFile = Path(value); }},
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

Keys CardReader::ReaderKeys() {
    return {
        {"reader", [&](const std::string& value) { card.reader.name = value; }},
        {"share", [&](const std::string& value) { card.reader.exclusive = ExclusiveValue(value); }},
        {"protocol", [&](const std::string& value) { card.reader.protocol = ProtocolValue(value); }}};
}

Keys CardReader::ReplayKeys() {
    return {
        {"recording", [&](const std::string& value) { card.recordingFile = RecordingValue(Path(value)); }}};
}

// The keys of a back-end set something with this one, and are a mistake with any other.
void CardReader::AddKeys(Keys& all, BackEnd backEnd, Keys keys) const {
    for (auto& key : keys) {
        if (card.backEnd != backEnd) {
            const std::string name = key.first;
            key.second = [name, backEnd, chosen = card.backEnd](const std::string&) {
                throw BadValue(
                    std::string("the back-end ") + NameOf(chosen) +
                    " has no such key; take the line away, or write "
                    "back-end=" +
                    NameOf(backEnd));
            };
        }
        all.push_back(std::move(key));
    }
}

void CardReader::RequireRecording() {
    const bool named = std::any_of(section.entries.begin(), section.entries.end(), [](const Entry& entry) {
        return entry.key == "recording";
    });
    SectionReader reader(section, mistakes);
    if (card.backEnd == BackEnd::Replay && !named) {
        reader.Reject("there is nothing to replay; add a line such as recording=session.jsonl");
    }
    if (!card.recordFile.empty() && card.recordFile == card.recordingFile) {
        reader.Reject("the recording that is replayed cannot grow meanwhile; name another file to record to");
    }
}

void CardReader::Read() {
    card.present = true;
    ReadBackEnd();
    Section plain = section;
    plain.entries.clear();
    for (const Entry& entry : section.entries) {
        if (!ReadAnswer(entry)) {
            plain.entries.push_back(entry);
        }
    }
    Keys keys = CommonKeys();
    // The chosen one's first: two back-ends have a key of the same name.
    std::vector<std::pair<BackEnd, Keys>> byBackEnd = {
        {BackEnd::Software, SoftwareKeys()}, {BackEnd::Pcsc, ReaderKeys()}, {BackEnd::Replay, ReplayKeys()}};
    std::stable_partition(
        byBackEnd.begin(), byBackEnd.end(), [&](const auto& each) { return each.first == card.backEnd; });
    for (auto& each : byBackEnd) {
        AddKeys(keys, each.first, std::move(each.second));
    }
    SectionReader(plain, mistakes).ReadKeys(keys);
    RequireRecording();
}

}  // namespace

void ReadCardSection(
    const Section& section, const std::string& configurationPath, CardSettings& card,
    std::vector<Mistake>& mistakes) {
    CardReader(section, configurationPath, card, mistakes).Read();
}

}  // namespace Device
