// SPDX-License-Identifier: Apache-2.0
// A card's end of the line to a virtual reader: vpcd, the reader driver of the vsmartcard project, waits at a
// TCP port for a card to connect to it.
//
// Each message, in both directions, is a length of two bytes, most significant first, and that many bytes. A
// message of one byte from the reader controls the card: 0 power off, 1 power on, 2 reset, 4 the reader asks
// for the answer-to-reset. Any other is a command APDU. The card answers the last two kinds, and nothing
// else, so that a command of the one byte 00, 01 or 02 stays without an answer: the protocol cannot tell it.
#pragma once

#include <netdb.h>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "globalplatform/Bytes.h"

namespace NavoCard {

using GlobalPlatform::Bytes;

// The card in a virtual reader. What it throws ends the link.
class InsertedCard {
public:
    InsertedCard() = default;
    virtual ~InsertedCard() = default;
    InsertedCard(const InsertedCard&) = delete;
    InsertedCard& operator=(const InsertedCard&) = delete;

    virtual void PowerOn() = 0;
    virtual void PowerOff() = 0;
    virtual void Reset() = 0;
    // Asked for at any time, also to see whether the card is there.
    [[nodiscard]] virtual Bytes AnswerToReset() = 0;
    [[nodiscard]] virtual Bytes Transmit(const Bytes& command) = 0;
};

enum class LinkEnd { ReaderGone, Stopped };

// Nobody waits at the address: its text is host, port and cause.
class NoReader : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A connection to a reader, for as long as the object lives.
class VpcdLink {
public:
    // `stop` is a descriptor that becomes readable when everything has to end; it stays the caller's. Throws
    // NoReader.
    VpcdLink(const std::string& host, std::uint16_t port, int stop);
    ~VpcdLink();
    VpcdLink(const VpcdLink&) = delete;
    VpcdLink& operator=(const VpcdLink&) = delete;

    // Whether `stop` became readable while the link was being made; it is of no use then.
    [[nodiscard]] bool Stopped() const { return stopped; }

    // Whether the reader has taken the card before the time is over; it does when it speaks to it or goes. A
    // reader with another card lets it wait.
    [[nodiscard]] bool IsTakenWithin(std::chrono::milliseconds time);

    // Lets the card answer the reader until one of them goes.
    LinkEnd Serve(InsertedCard& card);

private:
    static constexpr int Forever = -1;

    int Connect(const addrinfo& address);
    void Disconnect();
    bool Await(short event, int milliseconds = Forever);
    bool ReadExactly(std::uint8_t* target, std::size_t length);
    bool Answer(const Bytes& answer);
    bool Handle(InsertedCard& card, const Bytes& message);

    int socket = -1;
    int stopDescriptor;
    bool stopped = false;
};

// The longest message of the protocol.
constexpr std::size_t LongestMessage = 65535;

}  // namespace NavoCard
