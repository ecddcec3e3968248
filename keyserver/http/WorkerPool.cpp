#include "keyserver/http/WorkerPool.h"

namespace KeyServer {

WorkerPool::WorkerPool(std::size_t threadLimit, std::function<void()> onFull)
    : limit(threadLimit), whenFull(std::move(onFull)) {}

WorkerPool::~WorkerPool() {
    Shutdown();
}

void WorkerPool::Enqueue(std::function<void()> work) {
    bool full = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        waiting.push_back(std::move(work));
        if (waiting.size() > free) {
            full = threads.size() >= limit;
            if (!full) {
                threads.emplace_back([this] { Run(); });
            }
        }
    }
    wake.notify_one();
    if (full) {
        whenFull();
    }
}

void WorkerPool::Run() {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        ++free;
        wake.wait(lock, [this] { return ending || !waiting.empty(); });
        --free;
        if (waiting.empty()) {
            return;
        }
        const std::function<void()> work = std::move(waiting.front());
        waiting.pop_front();
        lock.unlock();
        work();
        lock.lock();
    }
}

void WorkerPool::Shutdown() {
    std::vector<std::thread> ended;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ending = true;
        ended.swap(threads);
    }
    wake.notify_all();
    for (std::thread& thread : ended) {
        thread.join();
    }
}

}  // namespace KeyServer
