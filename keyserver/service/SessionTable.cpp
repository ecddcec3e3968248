#include "keyserver/service/SessionTable.h"

namespace KeyServer {

SessionTable::SessionTable(SessionLimits tableLimits, Clock tableClock)
    : limits(tableLimits), clock(std::move(tableClock)) {}

template <typename Condition>
void SessionTable::RemoveWhere(Condition condition) {
    for (auto entry = entries.begin(); entry != entries.end();) {
        entry = condition(entry->second) ? entries.erase(entry) : std::next(entry);
    }
}

std::shared_ptr<Session> SessionTable::Find(const std::string& id) {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = entries.find(id);
    if (found == entries.end()) {
        return nullptr;
    }
    const auto now = clock();
    if (now - found->second.lastUse > limits.idle) {
        entries.erase(found);
        return nullptr;
    }
    found->second.lastUse = now;
    return found->second.session;
}

bool SessionTable::Add(const std::shared_ptr<Session>& session) {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto now = clock();
    if (entries.size() >= limits.most) {
        RemoveWhere([&](const Entry& entry) { return now - entry.lastUse > limits.idle; });
    }
    if (entries.size() >= limits.most) {
        RemoveWhere([](const Entry& entry) { return entry.over; });
    }
    if (entries.size() >= limits.most && entries.count(session->id) == 0) {
        return false;
    }
    entries[session->id] = {session, now, false};
    return true;
}

void SessionTable::MarkOver(const std::string& id) {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = entries.find(id);
    if (found != entries.end()) {
        found->second.over = true;
    }
}

std::size_t SessionTable::Size() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return entries.size();
}

}  // namespace KeyServer
