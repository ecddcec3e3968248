// SPDX-License-Identifier: Apache-2.0
// Follows the secure channel that commands open, and with its keys undoes what it does to them.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "globalplatform/Scp03.h"
#include "trace/Entry.h"

namespace Trace {

// Card keys by key version.
using ChannelKeys = std::map<std::uint8_t, GlobalPlatform::StaticKeys>;

// Of a file with "cardKeys" as a key server's catalogue has them. Throws std::runtime_error, "file: what is
// wrong".
ChannelKeys ReadKeys(const std::string& file);

// What the channel makes of one command and its response.
struct Unwrapped {
    bool isProtected = false;  // a code, and perhaps encryption, was around the command
    bool isEncrypted = false;  // the command's data, as the channel was asked for
    bool hasProtectedResponse = false;
    std::optional<GlobalPlatform::CommandApdu> command;  // in the clear, with the keys
    std::optional<Bytes> response;                       // its data, likewise
    std::string verdict;                                 // with the keys: "the card's cryptogram is right"
};

class Channel {
public:
    explicit Channel(ChannelKeys known) : keys(std::move(known)) {}

    // Of entries in their order.
    [[nodiscard]] Unwrapped Follow(const Entry& entry);

private:
    void Open(const Entry& entry, const GlobalPlatform::CommandApdu& command, Unwrapped& result);
    void Unwrap(const Entry& entry, const GlobalPlatform::CommandApdu& command, Unwrapped& result);
    void Close();

    ChannelKeys keys;
    std::optional<GlobalPlatform::SecureMessaging> messaging;
    std::optional<GlobalPlatform::SessionKeys> session;
    Bytes hostChallenge;
    Bytes cardChallenge;
    std::uint8_t level = 0;
    bool isOpening = false;
};

}  // namespace Trace
