// SPDX-License-Identifier: Apache-2.0
// The server's end of a Secure Channel Protocol 03 session; GlobalPlatform Card, Amendment D.
#pragma once

#include "keyserver/provisioning/CardService.h"

namespace KeyServer {

// Takes off what protects a response. The default is that of one that nothing protects.
class ResponseOpener {
public:
    ResponseOpener() = default;
    ResponseOpener(GlobalPlatform::SecureMessaging atCommand, GlobalPlatform::SecurityLevel agreed)
        : messaging(std::move(atCommand)), level(agreed) {}

    // Throws CardProblem when the code or the padding is wrong. An error is never protected.
    [[nodiscard]] CardResponse Open(CardResponse response) const;

private:
    std::optional<GlobalPlatform::SecureMessaging> messaging;  // as it was behind its command
    GlobalPlatform::SecurityLevel level = GlobalPlatform::SecurityLevel::None;
};

class CardChannel {
public:
    // The ring must outlive the channel.
    CardChannel(const ChannelPlan& plan, const KeyRing& ring);

    // SELECT and INITIALIZE UPDATE. One set carries both: the second changes nothing if the first fails.
    [[nodiscard]] std::vector<PlainCommand> OpeningCommands() const;

    // Checks the responses to both and gives EXTERNAL AUTHENTICATE, already wrapped. Throws CardProblem for a
    // response that is none of SCP03, an unknown key version and a wrong cryptogram.
    [[nodiscard]] PlainCommand Authenticate(const std::vector<CardResponse>& responses);

    [[nodiscard]] CommandApdu Wrap(const CommandApdu& plain) { return messaging->Wrap(plain, plan.level); }

    // What opens the response to the command that was wrapped last, also once others have been.
    [[nodiscard]] ResponseOpener Opener() const { return {*messaging, plan.level}; }

    bool IsOpen() const { return messaging.has_value(); }
    const ChannelKeys& Keys() const { return keys; }

private:
    const ChannelPlan plan;
    const KeyRing& ring;
    const Bytes hostChallenge;
    ChannelKeys keys;
    std::optional<GlobalPlatform::SecureMessaging> messaging;
};

}  // namespace KeyServer
