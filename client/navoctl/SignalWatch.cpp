// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/SignalWatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace {

sigset_t SignalsToWatch() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current = {};
        if (sigaction(number, nullptr, &current) == 0 && current.sa_handler != SIG_IGN) {
            sigaddset(&set, number);
        }
    }
    return set;
}

int Opened(int descriptor, const char* what) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return descriptor;
}

}  // namespace

SignalWatch::SignalWatch(Navo::Cancellation& toCancel)
    : cancellation(toCancel),
      watched(SignalsToWatch()),
      signalDescriptor(Opened(signalfd(-1, &watched, SFD_CLOEXEC), "signalfd")),
      stopDescriptor(Opened(eventfd(0, EFD_CLOEXEC), "eventfd")) {
    signal(SIGPIPE, SIG_IGN);
    pthread_sigmask(SIG_BLOCK, &watched, nullptr);
    thread = std::thread([this] { Watch(); });
}

SignalWatch::~SignalWatch() {
    eventfd_write(stopDescriptor, 1);
    thread.join();
    close(stopDescriptor);
    close(signalDescriptor);
}

void SignalWatch::Watch() {
    for (;;) {
        pollfd descriptors[] = {{signalDescriptor, POLLIN, 0}, {stopDescriptor, POLLIN, 0}};
        if (poll(descriptors, 2, -1) < 0) {
            continue;
        }
        if ((descriptors[1].revents & POLLIN) != 0) {
            return;
        }
        signalfd_siginfo information = {};
        if (read(signalDescriptor, &information, sizeof information) != sizeof information) {
            continue;
        }
        const int number = static_cast<int>(information.ssi_signo);
        if (received.exchange(number) != 0) {
            EndBy(number);
        }
        std::fputs(
            "navoctl: interrupted; waiting for the service to close the session (again: leave at once)\n",
            stderr);
        cancellation.Cancel();
    }
}

void SignalWatch::EndBy(int signalNumber) {
    signal(signalNumber, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signalNumber);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    raise(signalNumber);
    std::_Exit(128 + signalNumber);
}
