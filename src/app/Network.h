// SPDX-License-Identifier: Apache-2.0
// Whether the device has a connection, and through which proxy it goes.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Na {

// One way to the Internet.
class INetwork {
public:
    virtual ~INetwork() = default;
    virtual std::string GetName() const = 0;
    virtual bool OpenConnection() = 0;
    virtual void CloseConnection() = 0;
    virtual std::string GetProxyAddress() = 0;  // empty without a proxy

    // Which kind of connection is open, told apart from every other kind; empty while none is.
    virtual std::string GetConnectionKind() const = 0;
};

// What would be told when the network changes; no platform tells it yet.
class INetworkStatusListener {
public:
    virtual ~INetworkStatusListener() = default;
};

// Makes the platform's interface.
std::unique_ptr<INetwork> CreateNetwork();

// The registry of network interfaces: a singleton that is never destroyed.
class Network : public INetworkStatusListener {
public:
    static Network* GetInstance();

    Network();
    ~Network() override;
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    void RegisterInterface(std::unique_ptr<INetwork> interface);

    // Opens the first interface that is willing. On false the current result is 10100000.
    bool ConnectionUp();
    void ConnectionDown();

    // The current interface's proxy; empty without a proxy or without a connection.
    std::string GetProxyUrl();

    // The kind of the current connection, empty without one.
    std::string GetConnectionKind() const;

private:
    std::vector<std::unique_ptr<INetwork>> interfaces;
    INetwork* current = nullptr;  // one of `interfaces`, or none
};

}  // namespace Na
