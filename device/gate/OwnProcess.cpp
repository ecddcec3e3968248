// SPDX-License-Identifier: Apache-2.0
#include "device/gate/OwnProcess.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace Device {

namespace {

std::atomic<int> known{0};

// A child that was forked is another process.
void Forget() {
    known = 0;
}

}  // namespace

int OwnProcess() {
    static const bool forgetsInChildren = pthread_atfork(nullptr, nullptr, Forget) == 0;
    int process = known;
    if (process == 0) {
        process = static_cast<int>(getpid());
        known = forgetsInChildren ? process : 0;
    }
    return process;
}

}  // namespace Device
