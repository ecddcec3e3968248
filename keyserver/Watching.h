// SPDX-License-Identifier: Apache-2.0
// What a server waits for while it serves: signals, and changes of the files that it was told to serve.
#pragma once

#include <chrono>
#include <csignal>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "keyserver/Options.h"

namespace KeyServer {

// Begins before the files are read, so that no change falls between reading and watching.
class Watching {
public:
    enum class Event { End, Reload };

    // Blocks the signals in this thread, and so in those that it starts; no handler is needed. Throws
    // std::system_error.
    explicit Watching(const Options& options);
    ~Watching();
    Watching(const Watching&) = delete;
    Watching& operator=(const Watching&) = delete;

    // Looks for the folders anew: one may have been put in the place of another. What cannot be watched, in
    // words; each folder is named once. A signal is left for it.
    [[nodiscard]] std::vector<std::string> Follow();

    // Waits. SIGTERM and SIGINT are the end; SIGHUP, and files that have changed and are left alone again, a
    // reload.
    [[nodiscard]] Event Next();

private:
    using Clock = std::chrono::steady_clock;

    std::optional<Event> TakeSignal() const;
    bool TakeChanges() const;
    bool Matters(std::uint32_t change, const std::string& name) const;

    int signals = -1;
    int changes = -1;                 // none where the system has no more of them
    std::set<std::string> folders;    // of all that is served
    std::set<std::string> names;      // of files that were named, whatever they are called
    std::set<std::string> unwatched;  // folders that were complained of
};

}  // namespace KeyServer
