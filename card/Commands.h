// SPDX-License-Identifier: Apache-2.0
// The card's commands. Each gets its command without secure messaging, gives its answer, or throws a Refusal
// and leaves the content as it was. Clauses are those of GlobalPlatform Card 2.3.1.
#pragma once

#include "card/Runtime.h"

namespace Card {

[[nodiscard]] Answer Select(Runtime& card, const CommandApdu& command);         // 11.9
[[nodiscard]] Answer ManageChannel(Runtime& card, const CommandApdu& command);  // 11.7
[[nodiscard]] Answer GetData(Runtime& card, const CommandApdu& command);        // 11.3
[[nodiscard]] Answer GetListedData(Runtime& card, const CommandApdu& command);  // 11.3
[[nodiscard]] Answer GetStatus(Runtime& card, const CommandApdu& command);      // 11.4
[[nodiscard]] Answer Install(Runtime& card, const CommandApdu& command);        // 11.5
[[nodiscard]] Answer Load(Runtime& card, const CommandApdu& command);           // 11.6
[[nodiscard]] Answer Delete(Runtime& card, const CommandApdu& command);         // 11.2
[[nodiscard]] Answer StoreData(Runtime& card, const CommandApdu& command);      // 11.11
[[nodiscard]] Answer PutKey(Runtime& card, const CommandApdu& command);         // 11.8; Amendment D, 7.2
[[nodiscard]] Answer SetStatus(Runtime& card, const CommandApdu& command);      // 11.10

[[nodiscard]] Answer InitializeUpdate(Runtime& card, const CommandApdu& command);      // Amendment D, 7.1.1
[[nodiscard]] Answer ExternalAuthenticate(Runtime& card, const CommandApdu& command);  // Amendment D, 7.1.2
[[nodiscard]] Answer BeginResponseMac(Runtime& card, const CommandApdu& command);      // Amendment D, 7.1.3
[[nodiscard]] Answer EndResponseMac(Runtime& card, const CommandApdu& command);        // Amendment D, 7.1.4

// What is selected by itself on a logical channel: the application that is registered there, else that of the
// basic channel, else the issuer domain; 6.4.1.
[[nodiscard]] Bytes SelectedOn(std::uint8_t number, const CardContent& content);

// The domain whose keys open the domain's channels: itself, or the next above it as long as it has none;
// 7.3.1 and 10.3.
[[nodiscard]] const Application& KeyOwner(const CardContent& content, const Application& domain);

// The answer of a command that changed the content and gives no receipt; 11.1.6.
[[nodiscard]] inline Answer NoConfirmation() {
    return {{0x00}, StatusWord::Success};
}

}  // namespace Card
