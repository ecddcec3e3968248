// SPDX-License-Identifier: Apache-2.0
// How answers reach the reader: within the length that it expects, or in parts that it asks for; ISO 7816-4,
// 5.1.3 and 11.8.1 (GET RESPONSE), and ISO 7816-3, 12.2, for the protocol T=0.
#pragma once

#include <optional>

#include "card/Runtime.h"

namespace Card {

class Delivery {
public:
    // The response, with its status word, to the command that gave this answer.
    [[nodiscard]] Bytes Deliver(Answer answer, const CommandApdu& command, const Options& options);

    [[nodiscard]] static bool IsGetResponse(const Bytes& command);

    // The next part of the answer that waits. With none, the instruction is an unknown one, which tells hosts
    // that they have had it all; no session minds.
    [[nodiscard]] Bytes Continue(const Bytes& command, bool byteProtocol);

    void Forget() { waiting.reset(); }

private:
    Bytes DeliverByBytes(Answer answer, const CommandApdu& command, ShortLength manner);
    Bytes DeliverShort(Answer answer, std::size_t expected, ShortLength manner);
    Bytes Announce(Answer answer);
    Bytes NextPart(std::size_t length);

    std::optional<Answer> waiting;
    std::uint8_t logicalChannel = 0;  // of the command that it answers
};

[[nodiscard]] Bytes StatusBytes(StatusWord status, std::size_t added = 0);

}  // namespace Card
