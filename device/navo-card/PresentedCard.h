// SPDX-License-Identifier: Apache-2.0
// The software card in a virtual reader, and what it writes of its sessions.
#pragma once

#include <memory>
#include <string>

#include "card/SoftwareCard.h"
#include "device/navo-card/VpcdLink.h"
#include "device/recording/Recording.h"

namespace NavoCard {

class PresentedCard final : public InsertedCard {
public:
    // Records when `recordFile` is not empty. Throws std::runtime_error when the card's state or the
    // recording cannot be had.
    PresentedCard(const Card::Options& options, const std::string& recordFile);
    ~PresentedCard() override;

    void PowerOn() override;
    void PowerOff() override;
    void Reset() override { PowerOn(); }
    Bytes AnswerToReset() override { return answerToReset; }
    Bytes Transmit(const Bytes& command) override;

private:
    void Record(const Device::RecordedEvent& event) const;

    Card::SoftwareCard card;
    Bytes answerToReset;
    std::unique_ptr<Device::Recorder> recorder;
    bool session = false;
};

}  // namespace NavoCard
