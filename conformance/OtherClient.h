// SPDX-License-Identifier: Apache-2.0
// Another client of the service: this program once more, in a process of its own, which says what it got.
#pragma once

#include <glib.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace Conformance {

// Microseconds on the clock that all processes share.
using Moment = gint64;

struct OtherAnswer {
    Moment at = 0;
    std::string text;  // "ReturnCode", or the error in angle brackets
};

class OtherClient {
public:
    struct Order {
        std::string busAddress;
        std::chrono::milliseconds limit;
        std::optional<unsigned> user;  // whom the process becomes; takes root
    };

    // Throws std::runtime_error when no process can be had.
    explicit OtherClient(const Order& order);
    ~OtherClient();
    OtherClient(const OtherClient&) = delete;
    OtherClient& operator=(const OtherClient&) = delete;

    // "Open" and "Close", or the number of a command; returns at once.
    void Ask(const std::string& what);
    // Of what was asked first. Throws std::runtime_error when the process has ended.
    OtherAnswer Await();
    OtherAnswer AskAndAwait(const std::string& what);

    // What that process does, with its input and output for orders and answers. Its exit status.
    static int Serve(const Order& order);

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    GPid process = 0;
    std::unique_ptr<std::FILE, Close> orders;
    std::unique_ptr<std::FILE, Close> answers;
};

}  // namespace Conformance
