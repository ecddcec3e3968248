// SPDX-License-Identifier: Apache-2.0
#include "tests/support/world/CardInReader.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

#include "device/navo-card/VpcdLink.h"

using GlobalPlatform::Bytes;

namespace {

// Ends a link from within.
struct Gone : std::exception {};

}  // namespace

class CardInReader::Seat : public NavoCard::InsertedCard {
public:
    explicit Seat(CardInReader& insertedCard) : owner(insertedCard), answerToReset(owner.card.Reset()) {}

    void PowerOn() override { answerToReset = owner.card.Reset(); }
    void PowerOff() override {}
    void Reset() override { PowerOn(); }
    Bytes AnswerToReset() override { return answerToReset; }
    Bytes Transmit(const Bytes& command) override {
        if (++owner.commands == owner.eventCommand) {
            owner.eventAction();
            throw Gone();
        }
        return owner.card.Transmit(command);
    }

private:
    CardInReader& owner;
    Bytes answerToReset;
};

Card::Options CardInReader::Plain(bool byteProtocol) {
    Card::Options options;
    options.byteProtocol = byteProtocol;
    options.atr =
        *GlobalPlatform::FromHexText(byteProtocol ? "3B084E41564F43415244" : "3B88014E41564F434152448B");
    return options;
}

CardInReader::CardInReader(PrivatePcscd& service, const Card::Options& options)
    : card(options), stop(eventfd(0, EFD_CLOEXEC)) {
    const std::size_t before = service.Insertions();
    thread = std::thread([this, port = service.Port()] { Live(port); });
    EXPECT_TRUE(Eventually([&] { return service.Insertions() > before; })) << "the card is not noticed";
}

CardInReader::~CardInReader() {
    Pull();
    close(stop);
}

void CardInReader::At(unsigned command, std::function<void()> event) {
    eventAction = std::move(event);
    eventCommand = command;
}

void CardInReader::Pull() {
    if (thread.joinable()) {
        eventfd_write(stop, 1);
        thread.join();
    }
}

// Lives until the card is pulled: what an event has started ends with the thread that started it.
void CardInReader::Live(std::uint16_t port) {
    Serve(port);
    eventfd_t ignored = 0;
    eventfd_read(stop, &ignored);
}

void CardInReader::Serve(std::uint16_t port) {
    try {
        NavoCard::VpcdLink link("127.0.0.1", port, stop);
        Seat seat(*this);
        if (!link.Stopped()) {
            link.Serve(seat);
        }
    } catch (const Gone&) {
    } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
    }
}
