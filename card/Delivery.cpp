// SPDX-License-Identifier: Apache-2.0
#include "card/Delivery.h"

#include <algorithm>

#include "globalplatform/CommandApdu.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Scp03.h"

namespace Card {

namespace {

constexpr std::size_t LongestPart = 256;

Bytes Whole(Answer answer) {
    const auto status = static_cast<std::uint16_t>(answer.status);
    answer.data.push_back(static_cast<std::uint8_t>(status >> 8));
    answer.data.push_back(static_cast<std::uint8_t>(status));
    return std::move(answer.data);
}

}  // namespace

Bytes StatusBytes(StatusWord status, std::size_t added) {
    return BigEndian(static_cast<std::uint16_t>(status) | (added & 0xFF), 2);
}

// In the manner of T=1, an answer that is too long for the expected length has its right length told where
// one byte can tell it, and else comes in parts. Without an expected length, it comes as if the greatest had
// been given.
Bytes Delivery::Deliver(Answer answer, const CommandApdu& command, const Options& options) {
    waiting.reset();
    logicalChannel = command.cla & LogicalChannelMask;
    if (answer.data.empty()) {
        return Whole(std::move(answer));
    }
    if (options.manners.announcesAnswers) {
        return Announce(std::move(answer));
    }
    if (options.byteProtocol) {
        return DeliverByBytes(std::move(answer), command, options.manners.shortLength);
    }
    const std::size_t greatest = command.extended ? 65536 : LongestPart;
    const std::size_t expected = command.expectedLength.value_or(greatest);
    if (answer.data.size() <= expected) {
        return Whole(std::move(answer));
    }
    if (expected < LongestPart) {
        return DeliverShort(std::move(answer), expected, options.manners.shortLength);
    }
    waiting = std::move(answer);
    return NextPart(expected);
}

// An answer for which less is expected than one part can hold.
Bytes Delivery::DeliverShort(Answer answer, std::size_t expected, ShortLength manner) {
    if (manner == ShortLength::Refused) {
        return StatusBytes(StatusWord::WrongLength);
    }
    if (manner == ShortLength::Told) {
        return StatusBytes(StatusWord::WrongExpectedLength, std::min(answer.data.size(), LongestPart));
    }
    waiting = std::move(answer);
    return NextPart(expected);
}

// A command with data cannot tell an expected length, so its answer waits. One without data expects exactly
// as many bytes as there are.
Bytes Delivery::DeliverByBytes(Answer answer, const CommandApdu& command, ShortLength manner) {
    if (!command.data.empty()) {
        return Announce(std::move(answer));
    }
    const std::size_t part = std::min(answer.data.size(), LongestPart);
    const std::size_t expected = command.expectedLength.value_or(0);
    if (expected < part) {
        return DeliverShort(std::move(answer), expected, manner);
    }
    if (expected > part) {
        return StatusBytes(StatusWord::WrongExpectedLength, part);
    }
    waiting = std::move(answer);
    return NextPart(part);
}

Bytes Delivery::Announce(Answer answer) {
    waiting = std::move(answer);
    return StatusBytes(StatusWord::ResponseWaiting, std::min(waiting->data.size(), LongestPart));
}

Bytes Delivery::NextPart(std::size_t length) {
    Bytes part = First(waiting->data, length);
    waiting->data = Last(waiting->data, waiting->data.size() - part.size());
    if (waiting->data.empty()) {
        Append(part, StatusBytes(waiting->status));
        waiting.reset();
    } else {
        Append(part, StatusBytes(StatusWord::ResponseWaiting, std::min(waiting->data.size(), LongestPart)));
    }
    return part;
}

// Its class is that of the command before, or 00, as hosts like it: it has no part in secure messaging.
bool Delivery::IsGetResponse(const Bytes& command) {
    return command.size() >= CommandHeaderLength && command[1] == Instruction::GetResponse &&
           (command[0] & ~(ProprietaryClassBit | SecureMessagingClassBit | LogicalChannelMask)) == 0;
}

Bytes Delivery::Continue(const Bytes& command, bool byteProtocol) {
    if (!waiting) {
        return StatusBytes(StatusWord::InstructionNotSupported);
    }
    const std::uint8_t channel = command[0] & LogicalChannelMask;
    if (channel != 0 && channel != logicalChannel) {
        return StatusBytes(StatusWord::ChannelNotSupported);
    }
    const std::optional<CommandApdu> apdu = ParseCommand(command);
    if (!apdu || !apdu->data.empty()) {
        return StatusBytes(StatusWord::WrongLength);
    }
    if (apdu->p1 != 0 || apdu->p2 != 0) {
        return StatusBytes(StatusWord::WrongParameters);
    }
    const std::size_t left = std::min(waiting->data.size(), LongestPart);
    const std::size_t expected = apdu->expectedLength.value_or(LongestPart);
    if (byteProtocol && expected > left) {
        return StatusBytes(StatusWord::WrongExpectedLength, left);
    }
    return NextPart(expected);
}

}  // namespace Card
