#include "keyserver/http/WorkerPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

using namespace KeyServer;

TEST(WorkerPool, DoesWorkAtTheSameTimeUpToItsLimit) {
    WorkerPool pool(3, [] {});
    std::promise<void> open;
    const std::shared_future<void> gate = open.get_future().share();
    std::array<std::promise<void>, 3> begun;
    for (auto& each : begun) {
        pool.Enqueue([&each, gate] {
            each.set_value();
            gate.wait();
        });
    }
    for (auto& each : begun) {
        EXPECT_EQ(each.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    }
    open.set_value();
    pool.Shutdown();
}

TEST(WorkerPool, TellsWhenWorkHasToWait) {
    std::atomic<int> full{0};
    WorkerPool pool(1, [&full] { ++full; });
    std::promise<void> open;
    std::promise<void> begun;
    pool.Enqueue([&] {
        begun.set_value();
        open.get_future().wait();
    });
    begun.get_future().wait();
    EXPECT_EQ(full, 0);
    std::atomic<bool> done{false};
    pool.Enqueue([&done] { done = true; });
    EXPECT_EQ(full, 1);
    EXPECT_FALSE(done);
    open.set_value();
    pool.Shutdown();
    EXPECT_TRUE(done);
}

TEST(WorkerPool, UsesAFreeThreadAgain) {
    WorkerPool pool(1, [] {});
    for (int i = 0; i < 100; ++i) {
        std::promise<void> done;
        pool.Enqueue([&done] { done.set_value(); });
        EXPECT_EQ(done.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    }
}
