// SPDX-License-Identifier: Apache-2.0
#include "device/element/CardSlot.h"

#include <nfc.h>

#include <algorithm>

#include "device/element/ElementFactory.h"
#include "device/gate/Gate.h"
#include "device/gate/Permanent.h"
#include "device/recording/ElementFailure.h"

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

// An element that another one replaces while channels are open is closed and the new one opened for them.
void CardSlot::Prepare(const Configuration& device) {
    const CardSettings& wanted = device.*settings;
    FollowRecordFile(wanted.recordFile);
    if (!element || elementPath != device.path || !SuitsSameElement(elementSettings, wanted)) {
        if (element && channels > 0) {
            element->Close();
        }
        element.reset();  // before the other one, which may want the same state file or reader
        element = MakeSecureElement(wanted);
        elementPath = device.path;
        elementSettings = wanted;
        if (channels > 0) {
            OpenElement();
        }
    }
    if (number != device.number) {
        element->Configure(wanted);
    }
    FollowConfiguration(device.number);
}

void CardSlot::FollowRecordFile(const std::string& file) {
    if ((recorder ? recorder->File() : "") != file) {
        recorder.reset();
        recorder = file.empty() ? nullptr : std::make_unique<Recorder>(file);
    }
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

CardSlot::Opened CardSlot::Open(const Configuration& device) {
    const std::lock_guard<std::mutex> lock(mutex);
    Prepare(device);
    if (channels == 0 || element->IsLost()) {
        OpenElement();
        ++session;
    }
    ++channels;
    return {answerToReset, session};
}

void CardSlot::OpenElement() {
    RecordedEvent event;
    event.kind = RecordedEvent::Kind::Open;
    event.begun = Moment::Now();
    event.answer = Recorded(event, [&] { return element->Open(); });
    try {
        Remember(event);
    } catch (const ElementFailure&) {
        element->Close();
        throw;
    }
    answerToReset = event.answer;
}

void CardSlot::Close() noexcept {
    const std::lock_guard<std::mutex> lock(mutex);
    if (--channels > 0) {
        return;
    }
    RecordedEvent event;
    event.kind = RecordedEvent::Kind::Close;
    event.begun = Moment::Now();
    if (element) {
        element->Close();
    }
    RememberAsTold(event);
}

Bytes CardSlot::Transmit(const Configuration& device, std::uint64_t channelSession, const Bytes& command) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (channelSession != session) {
        throw ElementFailure(
            NFC_ERROR_ILLEGAL_STATE, "the card was lost since this channel was opened, and is another's now");
    }
    Prepare(device);
    const std::string text = HexText(command);
    std::optional<Bytes> response = Scripted(text, (device.*settings).answers);
    if (!response) {
        response = TransmitToElement(command);
    }
    Keep(text, *response);
    return *response;
}

Bytes CardSlot::TransmitToElement(const Bytes& command) {
    RecordedEvent event;
    event.command = command;
    event.begun = Moment::Now();
    event.answer = Recorded(event, [&] { return element->Transmit(command); });
    Remember(event);
    return event.answer;
}

// Does what the event is about. A failure becomes part of the recording before it goes on.
template <typename Action>
Bytes CardSlot::Recorded(RecordedEvent event, Action action) const {
    try {
        return action();
    } catch (const std::exception& error) {
        const auto* const failure = dynamic_cast<const ElementFailure*>(&error);
        event.code = failure != nullptr ? failure->Code() : int{NFC_ERROR_OPERATION_FAILED};
        event.message = error.what();
        RememberAsTold(event);
        throw;
    }
}

// For an event whose own outcome is what the caller has to hear of.
void CardSlot::RememberAsTold(const RecordedEvent& event) const noexcept {
    try {
        Remember(event);
    } catch (const std::exception& error) {
        ReportException("the secure element's recording", error);
    }
}

void CardSlot::Remember(const RecordedEvent& event) const {
    if (recorder) {
        recorder->Write(event);
    }
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

void CardSlot::Keep(const std::string& command, const Bytes& response) {
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
