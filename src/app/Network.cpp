// SPDX-License-Identifier: Apache-2.0
#include "app/Network.h"

#include <utility>

#include "app/ResultCode.h"
#include "common/Debug.h"
#include "common/NeverDestroyed.h"

namespace Na {

Network* Network::GetInstance() {
    static bool isThere = false;
    if (!isThere) {
        LogPrint(LogDebug, LOCATED("Creating instance"));
        isThere = true;
    }
    static NeverDestroyed<Network> instance;
    return &*instance;
}

Network::Network() {
    RegisterInterface(CreateNetwork());
}

Network::~Network() {
    ConnectionDown();
}

void Network::RegisterInterface(std::unique_ptr<INetwork> interface) {
    if (!interface) {
        return;
    }
    LogPrint(LogDebug, LOCATED("Registering network interface: %s"), interface->GetName().c_str());
    interfaces.push_back(std::move(interface));
}

bool Network::ConnectionUp() {
    LogPrint(LogDebug, LOCATED("Trying to set up Internet connection"));
    for (const auto& interface : interfaces) {
        if (interface->OpenConnection()) {
            current = interface.get();
            LogPrint(LogDebug, LOCATED("Using interface: %s"), current->GetName().c_str());
            return true;
        }
    }
    SetResultCode(ResultCode::NetworkUnavailable);
    LogPrint(LogDebug, LOCATED("No connection to Internet available"));
    return false;
}

void Network::ConnectionDown() {
    if (current == nullptr) {
        return;
    }
    current->CloseConnection();
    LogPrint(LogDebug, LOCATED("Connection down on interface: %s"), current->GetName().c_str());
    current = nullptr;
}

std::string Network::GetProxyUrl() {
    std::string proxy;
    if (current != nullptr) {
        proxy = current->GetProxyAddress();
    } else {
        SetResultCode(ResultCode::NetworkUnavailable);
    }
    LogPrint(LogDebug, LOCATED("Proxy: %s"), proxy.c_str());
    return proxy;
}

std::string Network::GetConnectionKind() const {
    return current != nullptr ? current->GetName() + " " + current->GetConnectionKind() : std::string();
}

}  // namespace Na
