// SPDX-License-Identifier: Apache-2.0
// Turns the signals that end a program into a cancellation, so that an open session is closed first.
#pragma once

#include <signal.h>

#include <atomic>
#include <thread>

#include "navo/Client.h"

// Made before any other thread, since threads inherit the blocked signals. Signals that this process was told
// to ignore (nohup) stay ignored. SIGPIPE is ignored from here on: a reader of the output that leaves must
// not take the session with it.
class SignalWatch {
public:
    explicit SignalWatch(Navo::Cancellation& toCancel);
    ~SignalWatch();
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;

    // The first signal that came; 0 for none.
    int Received() const { return received; }

    // Ends this process by `signalNumber`, for the shell to see.
    [[noreturn]] static void EndBy(int signalNumber);

private:
    void Watch();

    Navo::Cancellation& cancellation;
    sigset_t watched;
    int signalDescriptor;
    int stopDescriptor;
    std::atomic<int> received{0};
    std::thread thread;
};
