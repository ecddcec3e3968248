// SPDX-License-Identifier: Apache-2.0
// The device's default connection.
#pragma once

#include <net_connection.h>

#include <memory>
#include <string>
#include <type_traits>

#include "app/Network.h"

namespace Tizen {

class TizenNetwork : public Na::INetwork {
public:
    std::string GetName() const override;

    // True when the default connection is usable; the platform's handle then stays open.
    bool OpenConnection() override;
    void CloseConnection() override;
    std::string GetProxyAddress() override;
    std::string GetConnectionKind() const override;

private:
    struct Destroyer {
        void operator()(connection_h handle) const { connection_destroy(handle); }
    };
    std::unique_ptr<std::remove_pointer<connection_h>::type, Destroyer> connection;  // null while closed
    int kind = CONNECTION_TYPE_DISCONNECTED;
};

}  // namespace Tizen
