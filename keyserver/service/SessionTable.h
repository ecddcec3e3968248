// SPDX-License-Identifier: Apache-2.0
// The sessions that are open, found by the UUID that the agent chose. Used by all threads of the server.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "keyserver/service/Dialogue.h"
#include "keyserver/service/Mutex.h"

namespace KeyServer {

struct Session {
    Mutex mutex;     // held while a message of the session is worked on
    std::string id;  // const once the session is in the table, like the next three
    std::string seId;
    std::uint64_t number = 0;                // counted from 1 by the server
    std::shared_ptr<const Service> service;  // a dialogue refers to it
    std::unique_ptr<Dialogue> dialogue;      // moved on under the lock, and so is `over`
    bool over = false;
    std::uint64_t messages GUARDED_BY(mutex) = 0;
    std::string lastMessage GUARDED_BY(mutex);  // digest of its body
    Turn lastTurn GUARDED_BY(mutex);
    // The agent has not seen the answer to lastMessage, and may send that again.
    bool undelivered GUARDED_BY(mutex) = false;
};

struct SessionLimits {
    std::size_t most = 1024;
    std::chrono::milliseconds idle = std::chrono::minutes(10);
};

class SessionTable {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    explicit SessionTable(SessionLimits limits, Clock clock = std::chrono::steady_clock::now);

    // None when there is no such session or it was idle for too long. A session found counts as used now.
    std::shared_ptr<Session> Find(const std::string& id);

    // Replaces a session of the same name. When the table is full, another session makes room: one that was
    // idle for too long, else of those that are over, else of those that never went past their opening, else
    // of all, the one that has been idle the longest.
    void Add(const std::shared_ptr<Session>& session);

    // The agent has answered what opened the session.
    void MarkContinued(const Session& session);

    // A session that is over stays, to answer a repeated message, until its place is needed.
    void MarkOver(const Session& session);

    std::size_t Size() const;

private:
    // In the order in which they make room.
    enum Stage : std::size_t { Over, Opened, Continued, Stages };

    struct Entry {
        std::shared_ptr<Session> session;
        std::chrono::steady_clock::time_point lastUse;
        Stage stage;
    };
    using Entries = std::list<Entry>;

    void Move(const Session& session, Stage stage);
    void Remove(Entries::iterator entry) REQUIRES_LOCK(mutex);
    void MakeRoom() REQUIRES_LOCK(mutex);

    const SessionLimits limits;
    const Clock clock;
    mutable Mutex mutex;
    // In each, the one that was used last is at the end.
    std::array<Entries, Stages> entries GUARDED_BY(mutex);
    std::map<std::string, Entries::iterator> byName GUARDED_BY(mutex);
};

}  // namespace KeyServer
