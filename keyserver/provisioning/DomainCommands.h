// SPDX-License-Identifier: Apache-2.0
// Command APDUs for security domains and what is associated with them; GlobalPlatform Card 2.3.1, 11.5
// and 11.8. Functions throw std::length_error when a field has no room.
#pragma once

#include "globalplatform/KeyType.h"
#include "keyserver/provisioning/CardService.h"

namespace KeyServer {

// What moves or changes, from which domain, and to which.
struct ExtraditionOrder {
    Bytes from;  // for the receipt
    Bytes object;
    Bytes to;
};

[[nodiscard]] PlainCommand ExtraditionCommand(const ExtraditionOrder& order);  // 11.5.2.3.4

struct UpdateOrder {
    ExtraditionOrder move;  // without a new domain it stays where it is
    Bytes privileges;       // empty: as they are
    Bytes parameters;
};

[[nodiscard]] PlainCommand RegistryUpdateCommand(const UpdateOrder& order);  // 11.5.2.3.5

// One key of any kind, added when `replaced` is 0; 11.8.2.3. Its secrets are encrypted under the channel's
// Key-DEK.
struct KeyOrder {
    std::uint8_t replaced = 0;
    std::uint8_t version = 0;
    std::uint8_t identifier = 1;
    GlobalPlatform::KeyComponents key;
};

[[nodiscard]] PlainCommand StoreKeyCommand(const KeyOrder& order, const Bytes& dataEncryptionKey);

// What the card answers to it: the version, and the check value of a key that has one.
[[nodiscard]] Bytes StoreKeyConfirmation(const KeyOrder& order);

}  // namespace KeyServer
