// SPDX-License-Identifier: Apache-2.0
// What tokens and receipts of delegated management are over; GlobalPlatform Card 2.3.1, 11.1.6, C.4 and C.5.
#pragma once

#include <optional>
#include <vector>

#include "globalplatform/Bytes.h"

namespace GlobalPlatform {

// A command without its class, its token and the code of a channel. The fields are as they stand in it, up to
// the parameters.
[[nodiscard]] Bytes TokenText(std::uint8_t p1, std::uint8_t p2, const Bytes& fields);

// What confirms a command: a receipt, over the data behind it and the fields that the command's table names.
struct Confirmation {
    Bytes receipt;
    Bytes data;
    std::uint16_t counter = 0;
};

// Nothing when the answer holds none.
[[nodiscard]] std::optional<Confirmation> ParseConfirmation(const Bytes& answer);

[[nodiscard]] Bytes ReceiptText(const Bytes& confirmationData, const std::vector<Bytes>& fields);

}  // namespace GlobalPlatform
