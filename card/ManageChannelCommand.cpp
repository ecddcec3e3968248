// SPDX-License-Identifier: Apache-2.0
// Logical channels: GlobalPlatform Card 2.3.1, 6.4.2.2, 6.4.3.2 and 11.7.
#include "card/Commands.h"

namespace Card {

namespace {

// P1.
constexpr std::uint8_t Open = 0x00;
constexpr std::uint8_t CloseIt = 0x80;

// The one that is asked for, or the next that is free.
std::uint8_t Numbered(const Runtime& card, std::uint8_t wanted) {
    if (wanted != 0) {
        return wanted < LogicalChannels && !card.IsOpen(wanted) ? wanted : LogicalChannels;
    }
    std::uint8_t number = 1;
    while (number < LogicalChannels && card.IsOpen(number)) {
        ++number;
    }
    return number;
}

// What a new channel has selected: what is selected there by itself, or what the channel had that it was
// opened from.
Bytes SelectedAtOpening(const Runtime& card, std::uint8_t number) {
    const CardContent& content = card.Content();
    if (card.logicalChannel == 0) {
        return SelectedOn(number, content);
    }
    const Application* application = content.FindApplication(card.session.selected);
    const bool locked = application != nullptr && application->IsLocked();
    return locked ? content.FinalApplication().aid : card.session.selected;
}

Answer OpenChannel(Runtime& card, std::uint8_t wanted) {
    const std::uint8_t number = Numbered(card, wanted);
    if (number == LogicalChannels || card.Content().IsLocked()) {
        Refuse(StatusWord::FunctionNotSupported);
    }
    Session opened;
    opened.selected = SelectedAtOpening(card, number);
    card.others.emplace(number, std::move(opened));
    return wanted == 0 ? Answer{{number}} : Answer();
}

}  // namespace

Answer ManageChannel(Runtime& card, const CommandApdu& command) {
    if (command.p1 == Open) {
        return OpenChannel(card, command.p2);
    }
    if (command.p1 != CloseIt || command.p2 == 0 || command.p2 >= LogicalChannels) {
        Refuse(StatusWord::WrongParameters);
    }
    if (!card.IsOpen(command.p2)) {
        return {{}, StatusWord::AlreadyClosed};
    }
    card.Close(command.p2);
    return {};
}

}  // namespace Card
