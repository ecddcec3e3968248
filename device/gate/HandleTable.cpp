// SPDX-License-Identifier: Apache-2.0
#include "device/gate/HandleTable.h"

#include <atomic>

namespace Device {

namespace {

std::atomic<std::size_t>& Count() {
    static std::atomic<std::size_t> count{0};
    return count;
}

}  // namespace

std::size_t OpenHandleCount() {
    return Count();
}

void CountHandles(int change) {
    Count() += static_cast<std::size_t>(change);
}

std::uintptr_t NextHandleNumber() {
    static std::atomic<std::uintptr_t> next{0x1000};
    return next += 16;
}

}  // namespace Device
