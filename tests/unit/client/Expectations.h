// SPDX-License-Identifier: Apache-2.0
// Small words for the tests of the client.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>
#include <string>
#include <utility>

#include "navo/Client.h"

// What the call throws; fails the running test when it throws nothing.
template <typename Callable>
Navo::ClientError ErrorFrom(Callable call) {
    try {
        call();
    } catch (const Navo::ClientError& error) {
        return error;
    }
    ADD_FAILURE() << "no error came";
    return {Navo::ErrorKind::InvalidRequest, "no error came"};
}

// A value that a service's thread leaves for the test.
template <typename Value>
class Guarded {
public:
    void Set(Value newValue) {
        const std::lock_guard<std::mutex> lock(mutex);
        value = std::move(newValue);
    }
    Value Get() const {
        const std::lock_guard<std::mutex> lock(mutex);
        return value;
    }

private:
    mutable std::mutex mutex;
    Value value = {};
};

// Waits for something that another thread promised; fails the running test after a while.
inline void Await(std::future<void>& happening) {
    EXPECT_EQ(happening.wait_for(std::chrono::seconds(60)), std::future_status::ready) << "it did not happen";
}

inline Navo::SessionOptions On(const std::string& busAddress) {
    Navo::SessionOptions options;
    options.busAddress = busAddress;
    return options;
}

inline std::string TextOf(const Navo::ClientError& error) {
    return error.what();
}
