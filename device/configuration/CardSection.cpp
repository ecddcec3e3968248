// SPDX-License-Identifier: Apache-2.0
#include "device/configuration/CardSection.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "device/configuration/CardKeys.h"
#include "device/configuration/CardProfile.h"
#include "device/configuration/SectionReader.h"
#include "device/configuration/Values.h"
#include "device/recording/Recording.h"

namespace Device {

namespace {

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

bool ExclusiveValue(const std::string& text) {
    if (text != "exclusive" && text != "shared") {
        throw BadValue("\"" + text + "\" is no way to share a card; write exclusive or shared");
    }
    return text == "exclusive";
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
    void ReadProfile();
    bool ReadAnswer(const Entry& entry);
    void RequireRecording();
    Keys CommonKeys();
    Keys SoftwareKeys();
    Keys ReaderKeys();
    Keys ReplayKeys();
    void AddKeys(Keys& all, BackEnd backEnd, Keys keys) const;
    bool Names(const char* key) const;
    std::string Path(const std::string& value) const { return PathValue(value, configurationPath); }

    const Section& section;
    const std::string& configurationPath;
    CardSettings& card;
    std::vector<Mistake>& mistakes;
};

bool CardReader::Names(const char* key) const {
    return std::any_of(section.entries.begin(), section.entries.end(), [key](const Entry& entry) {
        return entry.key == key;
    });
}

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

// Before the other keys too, which say what is different on this device.
void CardReader::ReadProfile() {
    for (const Entry& entry : section.entries) {
        if (entry.key == "profile" && card.backEnd == BackEnd::Software) {
            SectionReader(section, mistakes).Guarded(entry, [&] {
                ReadCardProfile(Path(entry.value), card.software, mistakes);
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
    Keys keys = {
        {"state-file", [&](const std::string& value) { card.software.stateFile = Path(value); }},
        {"profile", [](const std::string&) {}}};
    for (auto& key : SoftwareCardKeys(card.software)) {
        keys.push_back(std::move(key));
    }
    return keys;
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
    SectionReader reader(section, mistakes);
    if (card.backEnd == BackEnd::Replay && !Names("recording")) {
        reader.Reject("there is nothing to replay; add a line such as recording=session.jsonl");
    }
    if (!card.recordFile.empty() && card.recordFile == card.recordingFile) {
        reader.Reject("the recording that is replayed cannot grow meanwhile; name another file to record to");
    }
}

void CardReader::Read() {
    card.present = true;
    ReadBackEnd();
    ReadProfile();
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
    card.namesKeys = Names("keys");
    RequireRecording();
}

}  // namespace

void ReadCardSection(
    const Section& section, const std::string& configurationPath, CardSettings& card,
    std::vector<Mistake>& mistakes) {
    CardReader(section, configurationPath, card, mistakes).Read();
}

}  // namespace Device
