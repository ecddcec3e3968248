// SPDX-License-Identifier: Apache-2.0
// Watches what goes on around the service, without a session and without starting it.
//
// Progress is a broadcast, so whoever may hear the service's signals sees the progress of all clients, and
// the service come and go. Sessions and requests show only on a bus that lets this process become its
// monitor: root's on a system bus, the user's own on a private one.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "navo/Client.h"
#include "navo/Export.h"

namespace Navo {

// Something that happened.
struct MonitorEvent {
    // What it was.
    enum class Kind {
        ServiceCame,
        ServiceLeft,
        Session,   // a client opens or closes
        Request,   // a client sends a command
        Progress,  // the service tells a client of a card command
    };

    Kind kind;               // what it was
    std::string connection;  // unique name of the service or of the client that calls; empty for progress
    long process = 0;        // of that connection; 0 when the bus does not tell any more
    std::string client;      // of progress: the client as its path names it, a process id in most cases
    std::string text;        // "Open" or "Close"; the command, "67"; the progress text, "A4_Select Service"
};

// A word for messages and scripts: "service-came".
[[nodiscard]] NAVO_API const char* NameOf(MonitorEvent::Kind kind);

// A look at the bus that lasts.
class NAVO_API Monitor {
public:
    // Connects. Throws ClientError (NoBus, Cancelled). The options' cancellation outlives this.
    explicit Monitor(const SessionOptions& options = {});
    ~Monitor();
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    // Whether the bus lets it see sessions and requests, too.
    [[nodiscard]] bool SeesSessions() const;

    // Gives each event to `onEvent`, in this thread and in order, until the options' cancellation. Begins
    // with ServiceCame when the service runs already. Throws ClientError (NoBus) when the bus goes.
    void Run(const std::function<void(const MonitorEvent&)>& onEvent);

private:
    struct Inner;
    std::unique_ptr<Inner> inner;
};

}  // namespace Navo
