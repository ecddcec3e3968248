#include "keyserver/http/ConnectionTable.h"

#include <sys/socket.h>

namespace KeyServer {

ConnectionTable::Entry::Entry(ConnectionTable& owner, int connected)
    : table(owner), socket(connected), since(std::chrono::steady_clock::now()) {
    const std::lock_guard<std::mutex> lock(table.mutex);
    number = ++table.accepted;
    table.entries.push_back(this);
}

ConnectionTable::Entry::~Entry() {
    const std::lock_guard<std::mutex> lock(table.mutex);
    table.entries.remove(this);
}

void ConnectionTable::Entry::SetIdle(bool nowIdle) {
    const std::lock_guard<std::mutex> lock(table.mutex);
    idle = nowIdle;
    since = std::chrono::steady_clock::now();
}

bool ConnectionTable::Entry::IsDismissed() const {
    const std::lock_guard<std::mutex> lock(table.mutex);
    return dismissed;
}

void ConnectionTable::DismissAll() {
    const std::lock_guard<std::mutex> lock(mutex);
    for (Entry* entry : entries) {
        entry->dismissed = true;
        shutdown(entry->socket, SHUT_RD);
    }
}

void ConnectionTable::StopAll() {
    const std::lock_guard<std::mutex> lock(mutex);
    for (const Entry* entry : entries) {
        shutdown(entry->socket, SHUT_RDWR);
    }
}

void ConnectionTable::DropLongestIdle() {
    const std::lock_guard<std::mutex> lock(mutex);
    const Entry* longest = nullptr;
    for (const Entry* entry : entries) {
        if (entry->idle && (longest == nullptr || entry->since < longest->since)) {
            longest = entry;
        }
    }
    if (longest != nullptr) {
        shutdown(longest->socket, SHUT_RD);
    }
}

std::size_t ConnectionTable::Size() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return entries.size();
}

}  // namespace KeyServer
