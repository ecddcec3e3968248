// SPDX-License-Identifier: Apache-2.0
// Handles that the device gives out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

namespace Device {

// Handles of all tables that were given out and not yet taken back.
[[nodiscard]] std::size_t OpenHandleCount();

// Number that no handle of the process had before.
[[nodiscard]] std::uintptr_t NextHandleNumber();

void CountHandles(int change);

// A handle is a number in the shape of a pointer. It is never followed, only looked up, and never given out
// twice, so a stale, foreign or invented one is told apart without harm. Thread-safe.
template <typename Object>
class HandleTable {
public:
    [[nodiscard]] void* Add(std::shared_ptr<Object> object) {
        const std::lock_guard<std::mutex> lock(mutex);
        const std::uintptr_t number = NextHandleNumber();
        objects.emplace(number, std::move(object));
        CountHandles(1);
        return reinterpret_cast<void*>(number);
    }

    // Null for a handle that is not of this table.
    [[nodiscard]] std::shared_ptr<Object> Find(const void* handle) const {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = objects.find(reinterpret_cast<std::uintptr_t>(handle));
        return found == objects.end() ? nullptr : found->second;
    }

    // The object lives on until its last user lets go; null for a handle that is not of this table.
    std::shared_ptr<Object> Remove(const void* handle) {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto found = objects.find(reinterpret_cast<std::uintptr_t>(handle));
        if (found == objects.end()) {
            return nullptr;
        }
        std::shared_ptr<Object> object = std::move(found->second);
        objects.erase(found);
        CountHandles(-1);
        return object;
    }

private:
    mutable std::mutex mutex;
    std::map<std::uintptr_t, std::shared_ptr<Object>> objects;
};

}  // namespace Device
