// SPDX-License-Identifier: Apache-2.0
// A secure element's place in the device: the element, the answers that the configuration puts in front of
// it, what went over its channel, and the recording of it.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "device/element/Exchange.h"
#include "device/element/SecureElement.h"
#include "device/recording/Recording.h"

namespace Device {

class CardSlot {
public:
    explicit CardSlot(CardSettings Configuration::* whichSettings) : settings(whichSettings) {}

    // What a channel has of the card: the answer-to-reset, and the span of time in which the card was neither
    // reset nor lost.
    struct Opened {
        Bytes answerToReset;
        std::uint64_t session;
    };

    // Opens a channel; the first one resets the card. One that fails is not counted.
    [[nodiscard]] Opened Open(const Configuration& device);
    void Close() noexcept;

    // Throws ElementFailure for a channel of a session that is over.
    [[nodiscard]] Bytes Transmit(
        const Configuration& device, std::uint64_t channelSession, const Bytes& command);

    // Those since the configuration with this number was read.
    std::vector<Exchange> Exchanges(std::uint64_t configurationNumber);
    std::uint64_t ExchangeCount(std::uint64_t configurationNumber);
    void ForgetExchanges();

private:
    void Prepare(const Configuration& device);
    void FollowRecordFile(const std::string& file);
    void OpenElement();
    Bytes TransmitToElement(const Bytes& command);
    template <typename Action>
    Bytes Recorded(RecordedEvent event, Action action) const;
    void Remember(const RecordedEvent& event) const;
    void RememberAsTold(const RecordedEvent& event) const noexcept;
    void FollowConfiguration(std::uint64_t newNumber);
    std::optional<Bytes> Scripted(const std::string& command, const std::vector<AnswerRule>& rules);
    void Keep(const std::string& command, const Bytes& response);

    CardSettings Configuration::* settings;
    std::mutex mutex;
    std::unique_ptr<SecureElement> element;
    std::string elementPath;       // of the configuration that the element was made for
    CardSettings elementSettings;  // that it was made with
    std::unique_ptr<Recorder> recorder;
    unsigned channels = 0;
    std::uint64_t session = 0;
    Bytes answerToReset;

    std::uint64_t number = 0;  // of the configuration that the members below count since
    std::map<std::string, std::uint64_t> answered;
    std::deque<Exchange> exchanges;
    std::size_t recordedCharacters = 0;
    std::uint64_t exchangeCount = 0;
};

[[nodiscard]] CardSlot& EmbeddedElementSlot();
[[nodiscard]] CardSlot& UiccSlot();

}  // namespace Device
