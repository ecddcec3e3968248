// SPDX-License-Identifier: Apache-2.0
// The account of what the server does: readable lines for people, JSON lines for programs.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "globalplatform/Masking.h"
#include "keyserver/service/Exchange.h"

namespace KeyServer {

// What stands in log and record for keys, card data and card numbers: aliases, or they themselves.
enum class Secrets { Masked, Shown };

class Journal {
public:
    using Sink = std::function<void(const std::string& line)>;

    // Lines go to `sink`, one at a time and without line end; none do when it is empty. Each exchange is
    // appended to `recordFile` as soon as it is over, unless that name is empty. Throws std::system_error
    // when the file cannot be opened, and std::runtime_error when nothing can be masked.
    Journal(Sink sink, const std::string& recordFile, Secrets secrets = Secrets::Masked);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    void Say(const std::string& text);
    void Note(const Exchange& exchange);

private:
    void SayExchange(const Exchange& exchange);
    void Record(const Exchange& exchange);

    Sink sink;
    std::optional<const GlobalPlatform::Masking> masking;  // none: secrets are shown
    int record = -1;
    bool recordFailed = false;
    std::mutex mutex;
};

}  // namespace KeyServer
