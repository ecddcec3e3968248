// The connections that are open, so that other threads can end them.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <list>
#include <mutex>

namespace KeyServer {

class ConnectionTable {
public:
    // A connection's place in the table; leaves it in the end, so it must end before the socket is closed.
    class Entry {
    public:
        Entry(ConnectionTable& table, int socket);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        // An idle connection waits for a request.
        void SetIdle(bool idle);

        // Whether the connection must end after what it is doing.
        bool IsDismissed() const;

        std::uint64_t Number() const { return number; }

    private:
        friend class ConnectionTable;
        ConnectionTable& table;
        const int socket;
        std::uint64_t number = 0;
        bool idle = false;
        bool dismissed = false;
        std::chrono::steady_clock::time_point since;
    };

    // No connection that is open now receives anything any more; what they are sending still goes out.
    void DismissAll();

    // Also what they are sending stops.
    void StopAll();

    // Ends the connection that has been idle for the longest time, if any is idle.
    void DropLongestIdle();

    std::size_t Size() const;
    std::uint64_t Accepted() const { return accepted; }

private:
    mutable std::mutex mutex;
    std::list<Entry*> entries;
    std::atomic<std::uint64_t> accepted{0};
};

}  // namespace KeyServer
