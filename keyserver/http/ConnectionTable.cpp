// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/ConnectionTable.h"

#include <utility>

namespace KeyServer {

namespace {

// A client that has not received an answer after this time is slow.
constexpr std::chrono::seconds TimeToReceive{2};

}  // namespace

ConnectionTable::ConnectionTable(Clock tableClock) : clock(std::move(tableClock)) {}

void ConnectionTable::Enter(std::uint64_t number, std::shared_ptr<Member> member) {
    const std::lock_guard<std::mutex> lock(mutex);
    entries[number] = {std::move(member), clock(), Phase::Opening, false};
}

void ConnectionTable::Leave(std::uint64_t number) {
    std::shared_ptr<Member> member;  // let go of behind the lock
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = entries.find(number);
    if (found == entries.end()) {
        return;
    }
    member = std::move(found->second.member);
    makingRoom -= found->second.dismissed ? 1U : 0U;
    entries.erase(found);
    left.notify_all();
}

void ConnectionTable::SetPhase(std::uint64_t number, Phase phase) {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = entries.find(number);
    if (found != entries.end()) {
        found->second.phase = phase;
        found->second.since = clock();
    }
}

bool ConnectionTable::CanMakeRoom(const Entry& entry) const {
    const bool slow = entry.phase == Phase::Sending && clock() - entry.since >= TimeToReceive;
    return !entry.dismissed && (entry.phase < Phase::Sending || slow);
}

bool ConnectionTable::MakeRoom() {
    const std::lock_guard<std::mutex> lock(mutex);
    Entry* slowest = nullptr;
    for (auto& [number, entry] : entries) {
        const bool slower = slowest == nullptr || entry.phase < slowest->phase ||
                            (entry.phase == slowest->phase && entry.since < slowest->since);
        if (slower && CanMakeRoom(entry)) {
            slowest = &entry;
        }
    }
    if (slowest == nullptr) {
        return false;
    }
    slowest->dismissed = true;
    ++makingRoom;
    // Who does not receive what is on its way to him would not take leave either.
    if (slowest->phase == Phase::Sending) {
        slowest->member->Abort();
    } else {
        slowest->member->Dismiss(Dismissal::ForRoom);
    }
    return true;
}

std::uint64_t ConnectionTable::DismissAll(Dismissal reason) {
    const std::lock_guard<std::mutex> lock(mutex);
    for (auto& [number, entry] : entries) {
        entry.member->Dismiss(reason);
    }
    return HighestNumber();
}

std::uint64_t ConnectionTable::AbortAll() {
    const std::lock_guard<std::mutex> lock(mutex);
    for (auto& [number, entry] : entries) {
        entry.member->Abort();
    }
    return HighestNumber();
}

bool ConnectionTable::AwaitLeaving(std::uint64_t last, std::chrono::milliseconds longest) {
    std::unique_lock<std::mutex> lock(mutex);
    return left.wait_for(
        lock, longest, [this, last] { return entries.empty() || entries.begin()->first > last; });
}

std::size_t ConnectionTable::Size() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return entries.size() - makingRoom;
}

}  // namespace KeyServer
