// SPDX-License-Identifier: Apache-2.0
// The connections that are open, so that others can end them. Used by all threads of the server.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

namespace KeyServer {

class ConnectionTable {
public:
    enum class Dismissal {
        Gently,   // takes leave of the client
        ForRoom,  // another one needs the place
        ForGood   // the server stops: also a pause before an answer ends
    };

    // What happens to a connection happens on its own thread: these calls return at once.
    class Member {
    public:
        virtual ~Member() = default;

        // Ends after the answer that is on its way, or at once if there is none.
        virtual void Dismiss(Dismissal reason) = 0;

        // Ends at once.
        virtual void Abort() = 0;
    };

    // In the order in which they make room.
    enum class Phase {
        Leaving,   // has had its last answer
        Opening,   // has not sent a complete request yet
        Waiting,   // for the rest of a request, or for the next one
        Sending,   // the client takes its time to receive an answer
        Answering  // waits for the server
    };

    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    explicit ConnectionTable(Clock clock = std::chrono::steady_clock::now);

    // For the next connection, from 1.
    std::uint64_t TakeNumber() { return ++accepted; }

    // In the phase Opening.
    void Enter(std::uint64_t number, std::shared_ptr<Member> member);
    void Leave(std::uint64_t number);
    void SetPhase(std::uint64_t number, Phase phase);

    // Dismisses the one of the first phase that has been in it for the longest time. False when all are busy.
    bool MakeRoom();

    // Both return the highest number that they met.
    std::uint64_t DismissAll(Dismissal reason);
    std::uint64_t AbortAll();

    // Whether the connections up to this number have all left in time.
    bool AwaitLeaving(std::uint64_t last, std::chrono::milliseconds longest = std::chrono::hours(1));

    // Without those that were dismissed to make room.
    std::size_t Size() const;
    std::uint64_t Accepted() const { return accepted; }

private:
    struct Entry {
        std::shared_ptr<Member> member;
        std::chrono::steady_clock::time_point since;
        Phase phase = Phase::Opening;
        bool dismissed = false;
    };

    bool CanMakeRoom(const Entry& entry) const;
    std::uint64_t HighestNumber() const { return entries.empty() ? 0 : entries.rbegin()->first; }

    const Clock clock;
    std::atomic<std::uint64_t> accepted{0};
    mutable std::mutex mutex;  // guards what follows
    std::condition_variable left;
    std::map<std::uint64_t, Entry> entries;
    std::size_t makingRoom = 0;
};

}  // namespace KeyServer
