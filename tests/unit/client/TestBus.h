// A message bus of a test's own: a real dbus-daemon of type "system" below a temporary folder.
#pragma once

#include <sys/types.h>

#include <string>

#include "tests/support/TemporaryFolder.h"

class TestBus {
public:
    // `policy` is put into the bus's default policy, which allows everything.
    explicit TestBus(const std::string& policy = {});
    ~TestBus();
    TestBus(const TestBus&) = delete;
    TestBus& operator=(const TestBus&) = delete;

    const std::string& Address() const { return address; }

    // Makes the bus start `commandLine` for the service's name, and tells it so.
    void OfferActivation(const std::string& commandLine);

    // Ends the bus at once, with all connections.
    void Kill();

private:
    void WriteConfiguration(const std::string& policy);
    void Start();

    TemporaryFolder folder;
    pid_t process = -1;
    std::string address;
};
