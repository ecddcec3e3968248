// SPDX-License-Identifier: Apache-2.0
// A host before a software card: commands that have to succeed, and its end of a secure channel.
#pragma once

#include "card/SoftwareCard.h"
#include "globalplatform/Scp03.h"

// The response to a command that the card has to serve, wholly or as part of a list (9000, 6310). Throws
// std::runtime_error with command and response when it does not.
GlobalPlatform::Bytes SendTo(Card::SoftwareCard& card, const GlobalPlatform::Bytes& command);

// The same, for a command in hexadecimal digits.
GlobalPlatform::Bytes SendTo(Card::SoftwareCard& card, const std::string& command);

// Opens a channel at this level to what is selected, with a key set of its first version. Throws as SendTo
// does.
[[nodiscard]] GlobalPlatform::SecureMessaging OpenChannel(
    Card::SoftwareCard& card, const GlobalPlatform::StaticKeys& keys, GlobalPlatform::SecurityLevel level);
