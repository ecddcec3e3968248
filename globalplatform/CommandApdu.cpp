// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/CommandApdu.h"

#include <stdexcept>
#include <utility>

namespace GlobalPlatform {

namespace {

// Reads the fields behind the header.
class Body {
public:
    explicit Body(const Bytes& command) : bytes(command) {}

    std::size_t Left() const { return bytes.size() - at; }

    std::size_t Number(std::size_t width) {
        std::size_t number = 0;
        for (; width > 0; --width) {
            number = number * 256 + bytes[at++];
        }
        return number;
    }

    Bytes Take(std::size_t length) {
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        at += length;
        return Bytes(first, first + static_cast<std::ptrdiff_t>(length));
    }

private:
    const Bytes& bytes;
    std::size_t at = CommandHeaderLength;
};

// Fields of `width` bytes; a length of 0 stands for one more than the field's greatest number.
bool ReadFields(Body& body, std::size_t width, CommandApdu* apdu) {
    const std::size_t most = width == 1 ? 256 : 65536;
    if (body.Left() == width) {
        const std::size_t expected = body.Number(width);
        apdu->expectedLength = expected == 0 ? most : expected;
        return true;
    }
    if (body.Left() < width) {
        return false;
    }
    const std::size_t length = body.Number(width);
    if (length == 0 || (body.Left() != length && body.Left() != length + width)) {
        return false;
    }
    apdu->data = body.Take(length);
    return body.Left() == 0 || ReadFields(body, width, apdu);
}

bool NeedsExtendedLength(const CommandApdu& command) {
    return command.extended || command.data.size() > 255 || command.expectedLength.value_or(0) > 256;
}

}  // namespace

std::optional<CommandApdu> ParseCommand(const Bytes& bytes) {
    if (bytes.size() < CommandHeaderLength) {
        return std::nullopt;
    }
    CommandApdu apdu;
    apdu.cla = bytes[0];
    apdu.ins = bytes[1];
    apdu.p1 = bytes[2];
    apdu.p2 = bytes[3];
    Body body(bytes);
    if (body.Left() == 0) {
        return apdu;
    }
    // A zero with more behind it announces lengths of two bytes.
    apdu.extended = bytes[CommandHeaderLength] == 0 && body.Left() > 1;
    if (apdu.extended) {
        body.Number(1);
    }
    return ReadFields(body, apdu.extended ? 2 : 1, &apdu) ? std::optional<CommandApdu>(std::move(apdu))
                                                          : std::nullopt;
}

Bytes DataLengthField(const CommandApdu& command) {
    if (command.data.empty()) {
        return {};
    }
    return BigEndian(command.data.size(), NeedsExtendedLength(command) ? 3 : 1);
}

Bytes EncodeCommand(const CommandApdu& command) {
    if (command.data.size() > 65535 || command.expectedLength.value_or(0) > 65536) {
        throw std::length_error("a command APDU has room for 65535 bytes of data and expects 65536 at most");
    }
    Bytes bytes = {command.cla, command.ins, command.p1, command.p2};
    Append(bytes, DataLengthField(command));
    Append(bytes, command.data);
    if (command.expectedLength) {
        const bool extended = NeedsExtendedLength(command);
        // Without data, the zero that announces extended lengths is still to come.
        const std::size_t zero = extended && command.data.empty() ? 1 : 0;
        Append(bytes, Bytes(zero, 0));
        Append(bytes, BigEndian(*command.expectedLength, extended ? 2 : 1));
    }
    return bytes;
}

}  // namespace GlobalPlatform
