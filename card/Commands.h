// The card's commands. Each gets its command without secure messaging, gives its answer, or throws a Refusal
// and leaves the content as it was. Clauses are those of GlobalPlatform Card 2.3.1.
#pragma once

#include "card/Runtime.h"

namespace Card {

Answer Select(Runtime& card, const CommandApdu& command);     // 11.9
Answer GetData(Runtime& card, const CommandApdu& command);    // 11.3
Answer GetStatus(Runtime& card, const CommandApdu& command);  // 11.4
Answer Install(Runtime& card, const CommandApdu& command);    // 11.5
Answer Load(Runtime& card, const CommandApdu& command);       // 11.6
Answer Delete(Runtime& card, const CommandApdu& command);     // 11.2
Answer StoreData(Runtime& card, const CommandApdu& command);  // 11.11
Answer PutKey(Runtime& card, const CommandApdu& command);     // 11.8; Amendment D, 7.2
Answer SetStatus(Runtime& card, const CommandApdu& command);  // 11.10

Answer InitializeUpdate(Runtime& card, const CommandApdu& command);      // Amendment D, 7.1.1
Answer ExternalAuthenticate(Runtime& card, const CommandApdu& command);  // Amendment D, 7.1.2

// What a reset selects: the application with the privilege of card reset, else the issuer domain; 6.6.
Bytes SelectedByReset(const CardContent& content);

// The ten bytes that tell one card's keys from another's; Amendment D, 7.1.1.
Bytes KeyDiversificationData(const Options& options);

// The answer of a command that changed the content and gives no receipt; 11.1.6.
inline Answer NoConfirmation() {
    return {{0x00}, StatusWord::Success};
}

// Of the secure channel protocol: a pseudo-random challenge, nothing on responses; Amendment D, 5.1.
constexpr std::uint8_t SecureChannelOption = 0x10;

}  // namespace Card
