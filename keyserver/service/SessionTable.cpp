// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/SessionTable.h"

#include <algorithm>
#include <utility>

namespace KeyServer {

SessionTable::SessionTable(SessionLimits tableLimits, Clock tableClock)
    : limits(tableLimits), clock(std::move(tableClock)) {}

std::shared_ptr<Session> SessionTable::Find(const std::string& id) {
    const Lock lock(mutex);
    const auto found = byName.find(id);
    if (found == byName.end()) {
        return nullptr;
    }
    const Entries::iterator entry = found->second;
    const auto now = clock();
    if (now - entry->lastUse > limits.idle) {
        Remove(entry);
        return nullptr;
    }
    entry->lastUse = now;
    Entries& peers = entries[entry->stage];
    peers.splice(peers.end(), peers, entry);
    return entry->session;
}

void SessionTable::Add(const std::shared_ptr<Session>& session) {
    const Lock lock(mutex);
    const auto found = byName.find(session->id);
    if (found != byName.end()) {
        Remove(found->second);
    } else if (byName.size() >= limits.most) {
        MakeRoom();
    }
    Entries& peers = entries[Opened];
    byName[session->id] = peers.insert(peers.end(), {session, clock(), Opened});
}

void SessionTable::MakeRoom() {
    const auto now = clock();
    const auto expired = std::find_if(entries.begin(), entries.end(), [&](const Entries& peers) {
        return !peers.empty() && now - peers.front().lastUse > limits.idle;
    });
    const auto any =
        std::find_if(entries.begin(), entries.end(), [](const Entries& peers) { return !peers.empty(); });
    if (any != entries.end()) {
        Remove((expired != entries.end() ? expired : any)->begin());
    }
}

void SessionTable::Remove(Entries::iterator entry) {
    byName.erase(entry->session->id);
    entries[entry->stage].erase(entry);
}

void SessionTable::MarkContinued(const Session& session) {
    Move(session, Continued);
}

void SessionTable::MarkOver(const Session& session) {
    Move(session, Over);
}

// Nothing when the session has had to make room, even if another one of its name has come.
void SessionTable::Move(const Session& session, Stage stage) {
    const Lock lock(mutex);
    const auto found = byName.find(session.id);
    if (found == byName.end() || found->second->session.get() != &session || found->second->stage == Over) {
        return;
    }
    Entries& before = entries[found->second->stage];
    Entries& after = entries[stage];
    found->second->stage = stage;
    after.splice(after.end(), before, found->second);
}

std::size_t SessionTable::Size() const {
    const Lock lock(mutex);
    return byName.size();
}

}  // namespace KeyServer
