// SPDX-License-Identifier: Apache-2.0
#include "device/navo-card/PresentedCard.h"

#include <exception>
#include <iostream>

namespace NavoCard {

using Device::RecordedEvent;

PresentedCard::PresentedCard(const Card::Options& options, const std::string& recordFile)
    : card(options), answerToReset(card.Reset()) {
    if (!recordFile.empty()) {
        recorder = std::make_unique<Device::Recorder>(recordFile);
    }
}

PresentedCard::~PresentedCard() {
    try {
        PowerOff();
    } catch (const std::exception& error) {
        std::cerr << "navo-card: " << error.what() << "\n";
    }
}

void PresentedCard::Record(const RecordedEvent& event) const {
    if (recorder) {
        recorder->Write(event);
    }
}

void PresentedCard::PowerOn() {
    PowerOff();
    answerToReset = card.Reset();
    session = true;
    RecordedEvent event;
    event.kind = RecordedEvent::Kind::Open;
    event.answer = answerToReset;
    Record(event);
}

void PresentedCard::PowerOff() {
    if (session) {
        session = false;
        RecordedEvent event;
        event.kind = RecordedEvent::Kind::Close;
        Record(event);
    }
}

Bytes PresentedCard::Transmit(const Bytes& command) {
    if (!session) {
        PowerOn();
    }
    RecordedEvent event;
    event.command = command;
    event.begun = Device::Moment::Now();
    event.answer = card.Transmit(command);
    Record(event);
    return event.answer;
}

}  // namespace NavoCard
