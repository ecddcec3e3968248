// SPDX-License-Identifier: Apache-2.0
// Where connections are taken, and what each may cost.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace KeyServer {

struct HttpOptions {
    std::string listen = "127.0.0.1";
    int port = 0;                       // 0 takes a free one
    std::size_t mostConnections = 256;  // at once; a further one takes the place of the slowest
    std::chrono::milliseconds keepAlive = std::chrono::minutes(5);     // without a request
    std::chrono::milliseconds requestTime = std::chrono::seconds(30);  // from its first byte to its last
    std::size_t mostBytes = 1U << 20;                                  // of a body
    std::size_t threads = 4;                                           // which serve all connections
};

}  // namespace KeyServer
