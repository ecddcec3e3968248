// SPDX-License-Identifier: Apache-2.0
// What goes back for one POST, and how.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KeyServer {

// How the bytes of an answer are handed over. The default hands over all of them and keeps the connection.
struct Delivery {
    enum class Part { Whole, HalfBody, HalfHead, Nothing };

    std::chrono::milliseconds delay{0};
    Part part = Part::Whole;
    std::optional<std::string> rawBytes;  // in place of the answer's bytes
    bool closeAfterwards = false;
    bool reset = false;                                // closes with a reset in place of an answer
    std::optional<std::chrono::milliseconds> restart;  // out of service for so long after the answer
};

struct Reply {
    int status = 200;
    std::string contentType = "application/json";
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    Delivery delivery;

    // Called when the answer could not be handed over, so that the message may come again. May be empty.
    std::function<void()> undelivered;
};

}  // namespace KeyServer
