// Threads that are started when work finds none free, up to a limit.
//
// A connection occupies a thread for its whole life, also while it is idle, so the limit is the number of
// connections that are served at once; a pool of the size of the processor count would starve.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace KeyServer {

class WorkerPool {
public:
    // `whenFull` is called when work has to wait because all threads are busy and no more may be started.
    WorkerPool(std::size_t limit, std::function<void()> whenFull);

    // Waits for all work, like Shutdown.
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    void Enqueue(std::function<void()> work);

    // Does what is enqueued and ends the threads. Nothing may be enqueued after that.
    void Shutdown();

private:
    void Run();

    const std::size_t limit;
    const std::function<void()> whenFull;
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> waiting;
    std::vector<std::thread> threads;
    std::size_t free = 0;
    bool ending = false;
};

}  // namespace KeyServer
