#include "element/CardSlot.h"

#include <algorithm>

#include "Permanent.h"

namespace Device {

namespace {

// A process that runs for weeks must not fill up with what it once sent.
constexpr std::size_t MostExchanges = 65536;
constexpr std::size_t MostRecordedCharacters = 64 << 20;

// The longest exact rule goes before the longest prefix, so that a general rule can have exceptions.
bool IsMoreSpecial(const AnswerRule& left, const AnswerRule& right) {
    return left.prefix != right.prefix ? !left.prefix : left.pattern.size() > right.pattern.size();
}

bool Matches(const AnswerRule& rule, const std::string& command) {
    return rule.prefix ? command.compare(0, rule.pattern.size(), rule.pattern) == 0 : command == rule.pattern;
}

// The answer that is due after `given` of them; null when all have been given.
const ScriptedAnswer* AnswerAfter(const AnswerRule& rule, std::uint64_t given) {
    for (const ScriptedAnswer& answer : rule.answers) {
        if (!answer.times || given < *answer.times) {
            return &answer;
        }
        given -= *answer.times;
    }
    return nullptr;
}

}  // namespace

void CardSlot::Prepare(const Configuration& device) {
    if (!element || elementPath != device.path) {
        element = MakeSecureElement(device.*settings);
        elementPath = device.path;
        answerToReset = element->Reset();
    }
    if (number != device.number) {
        element->Configure(device.*settings);
    }
    FollowConfiguration(device.number);
}

void CardSlot::FollowConfiguration(std::uint64_t newNumber) {
    if (number != newNumber) {
        number = newNumber;
        answered.clear();
        exchanges.clear();
        recordedCharacters = 0;
        exchangeCount = 0;
    }
}

Bytes CardSlot::Open(const Configuration& device) {
    const std::lock_guard<std::mutex> lock(mutex);
    Prepare(device);
    if (channels == 0) {
        answerToReset = element->Reset();
    }
    ++channels;
    return answerToReset;
}

void CardSlot::Close() {
    const std::lock_guard<std::mutex> lock(mutex);
    --channels;
}

Bytes CardSlot::Transmit(const Configuration& device, const Bytes& command) {
    const std::lock_guard<std::mutex> lock(mutex);
    Prepare(device);
    const std::string text = HexText(command);
    std::optional<Bytes> response = Scripted(text, (device.*settings).answers);
    if (!response) {
        response = element->Transmit(command);
    }
    Record(text, *response);
    return *response;
}

std::optional<Bytes> CardSlot::Scripted(const std::string& command, const std::vector<AnswerRule>& rules) {
    const AnswerRule* best = nullptr;
    for (const AnswerRule& rule : rules) {
        if (Matches(rule, command) && (best == nullptr || IsMoreSpecial(rule, *best))) {
            best = &rule;
        }
    }
    if (best == nullptr) {
        return std::nullopt;
    }
    const ScriptedAnswer* answer = AnswerAfter(*best, answered[best->pattern + (best->prefix ? "*" : "")]++);
    return answer == nullptr || answer->fromCard ? std::nullopt : std::optional<Bytes>(answer->response);
}

void CardSlot::Record(const std::string& command, const Bytes& response) {
    ++exchangeCount;
    exchanges.push_back({command, HexText(response)});
    recordedCharacters += command.size() + 2 * response.size();
    while (exchanges.size() > MostExchanges || recordedCharacters > MostRecordedCharacters) {
        recordedCharacters -= exchanges.front().command.size() + exchanges.front().response.size();
        exchanges.pop_front();
    }
}

std::vector<Exchange> CardSlot::Exchanges(std::uint64_t configurationNumber) {
    const std::lock_guard<std::mutex> lock(mutex);
    return number == configurationNumber ? std::vector<Exchange>(exchanges.begin(), exchanges.end())
                                         : std::vector<Exchange>();
}

std::uint64_t CardSlot::ExchangeCount(std::uint64_t configurationNumber) {
    const std::lock_guard<std::mutex> lock(mutex);
    return number == configurationNumber ? exchangeCount : 0;
}

void CardSlot::ForgetExchanges() {
    const std::lock_guard<std::mutex> lock(mutex);
    exchanges.clear();
    recordedCharacters = 0;
    exchangeCount = 0;
}

CardSlot& EmbeddedElementSlot() {
    static CardSlot& slot = Permanent<CardSlot>(&Configuration::embeddedElement);
    return slot;
}

CardSlot& UiccSlot() {
    static CardSlot& slot = Permanent<CardSlot>(&Configuration::uicc);
    return slot;
}

}  // namespace Device
