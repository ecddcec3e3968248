// SPDX-License-Identifier: Apache-2.0
// A software card that a test puts into the reader of its private PC/SC service, and that can do something
// else than answer.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "card/SoftwareCard.h"
#include "tests/support/world/PrivatePcscd.h"

class CardInReader {
public:
    // A card of one protocol, T=1 unless `byteProtocol`, that is otherwise plain.
    static Card::Options Plain(bool byteProtocol = false);

    // Inserts it, and returns once the service has noticed.
    explicit CardInReader(PrivatePcscd& service, const Card::Options& options = Plain());
    ~CardInReader();
    CardInReader(const CardInReader&) = delete;
    CardInReader& operator=(const CardInReader&) = delete;

    // What happens in place of the answer to the command with this number, counted from 1 since the card was
    // inserted. The card leaves the reader then.
    void At(unsigned command, std::function<void()> event);

    // Commands that arrived.
    unsigned Commands() const { return commands; }

    void Pull();

private:
    class Seat;

    void Live(std::uint16_t port);
    void Serve(std::uint16_t port);

    Card::SoftwareCard card;
    std::atomic<unsigned> commands{0};
    std::atomic<unsigned> eventCommand{0};
    std::function<void()> eventAction;
    int stop;
    std::thread thread;
};
