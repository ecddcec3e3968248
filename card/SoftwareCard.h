// SPDX-License-Identifier: Apache-2.0
// A secure element in software: a card as GlobalPlatform Card 2.3.1 has it, with the Secure Channel
// Protocol 03 of its Amendment D. It keeps a provisioning session's order and verifies its codes, holds keys
// and data, and carries out no code.
#pragma once

#include <memory>

#include "card/Options.h"

namespace Card {

// Not to be used by several threads at once.
class SoftwareCard {
public:
    // A card whose content comes from its state file, or a new one. Throws std::invalid_argument for options
    // that cannot be, and std::runtime_error, with file and cause, when the state file is damaged, in use
    // elsewhere or not to be written. A damaged file stays as it is.
    explicit SoftwareCard(const Options& options);
    ~SoftwareCard();
    SoftwareCard(const SoftwareCard&) = delete;
    SoftwareCard& operator=(const SoftwareCard&) = delete;

    // Takes over other options; what the card holds and the session stay. With another state file it is the
    // card of that file, after a reset. Throws as the constructor does, and everything is as before then.
    void Configure(const Options& options);

    // Warm reset: nothing is selected but what the card selects by itself, and no session is open. The
    // answer-to-reset.
    Bytes Reset();

    // One command APDU as ISO 7816-4 has it, of any length, even malformed. The response ends with the status
    // word. A command that changes the content succeeds only when the change is in the state file. Throws
    // nothing but std::bad_alloc.
    [[nodiscard]] Bytes Transmit(const Bytes& command);

private:
    class Body;
    std::unique_ptr<Body> body;
};

}  // namespace Card
