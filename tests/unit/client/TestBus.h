// SPDX-License-Identifier: Apache-2.0
// A message bus of a test's own: a real dbus-daemon of type "system" below a temporary folder.
#pragma once

#include <string>

#include "tests/support/BusDaemon.h"
#include "tests/support/TemporaryFolder.h"

class TestBus {
public:
    // `policy` is put into the bus's default policy, which allows everything.
    explicit TestBus(const std::string& policy = {});

    const std::string& Address() const { return daemon.Address(); }

    // Makes the bus start `commandLine` for the service's name, and tells it so.
    void OfferActivation(const std::string& commandLine);

    // Ends the bus at once, with all connections.
    void Kill() { daemon.Kill(); }

private:
    TemporaryFolder folder;
    BusDaemon daemon;
};
