// SPDX-License-Identifier: Apache-2.0
// What the server does for one service, as seen by the sessions: a script that is played, or anything else
// that answers the card's responses with the next commands.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "keyserver/service/ApduText.h"
#include "keyserver/service/Message.h"
#include "keyserver/service/Misbehaviour.h"

namespace KeyServer {

// What became of one command that the agent relayed.
struct Verdict {
    std::string command;
    std::string response;
    std::string statusWord;
    std::string expected;  // patterns, as a person reads them
    bool accepted = false;
    std::string title;  // of the command, in words; empty when the command speaks for itself
};

// The server's move. A move with the code "00000000" carries a command set; any other code ends the session.
struct Turn {
    std::string resultCode;
    std::string commandSet;
    std::string description;         // for the log: which step, or why the session ends
    std::vector<Verdict> verdicts;   // on the responses that led to this move
    std::vector<std::string> notes;  // for the log: what was learned from them
    bool completed = false;          // the session ends because all is done

    [[nodiscard]] bool Ends() const;
};

// One session's course. Called by one thread at a time.
class Dialogue {
public:
    virtual ~Dialogue() = default;

    // The first move, or the first again when the session starts over.
    [[nodiscard]] virtual Turn Begin() = 0;

    // The move that follows what the agent sent back.
    [[nodiscard]] virtual Turn Continue(const ResponseSet& responses) = 0;
};

// Lives as long as a catalogue or a session has it, and is used by several threads at once, so it never
// changes.
class Service {
public:
    virtual ~Service() = default;

    virtual const std::string& Name() const = 0;
    virtual const std::vector<std::string>& ServiceIds() const = 0;

    // Counted within each session.
    virtual const std::vector<Misbehaviour>& Misbehaviours() const = 0;

    // Throws WrongMessage when the opening message does not suit the service.
    [[nodiscard]] virtual std::unique_ptr<Dialogue> Open(const Message& opening) const = 0;
};

// All that the server knows: its services, and what it answers to ELIGIBILITY, one code after the other, then
// from the first again.
struct Catalogue {
    std::vector<std::shared_ptr<const Service>> services;
    std::vector<std::string> eligibility;

    // Null when no service has this identifier.
    [[nodiscard]] std::shared_ptr<const Service> Find(const std::string& serviceId) const;
};

}  // namespace KeyServer
