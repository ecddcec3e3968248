// A secure element's place in the device: the element, the answers that the configuration puts in front of
// it, and what went over its channel.
#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

#include "VirtualDevice.h"
#include "element/SecureElement.h"

namespace Device {

class CardSlot {
public:
    explicit CardSlot(CardSettings Configuration::*whichSettings) : settings(whichSettings) {}

    // Opens a channel; the first one resets the card. The answer-to-reset.
    Bytes Open(const Configuration& device);
    void Close();

    Bytes Transmit(const Configuration& device, const Bytes& command);

    // Those since the configuration with this number was read.
    std::vector<Exchange> Exchanges(std::uint64_t configurationNumber);
    std::uint64_t ExchangeCount(std::uint64_t configurationNumber);
    void ForgetExchanges();

private:
    void Prepare(const Configuration& device);
    void FollowConfiguration(std::uint64_t newNumber);
    std::optional<Bytes> Scripted(const std::string& command, const std::vector<AnswerRule>& rules);
    void Record(const std::string& command, const Bytes& response);

    CardSettings Configuration::*settings;
    std::mutex mutex;
    std::unique_ptr<SecureElement> element;
    std::string elementPath;  // of the configuration that the element was made for
    unsigned channels = 0;
    Bytes answerToReset;

    std::uint64_t number = 0;  // of the configuration that the members below count since
    std::map<std::string, std::uint64_t> answered;
    std::deque<Exchange> exchanges;
    std::size_t recordedCharacters = 0;
    std::uint64_t exchangeCount = 0;
};

CardSlot& EmbeddedElementSlot();
CardSlot& UiccSlot();

}  // namespace Device
