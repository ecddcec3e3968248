// SPDX-License-Identifier: Apache-2.0
// What libraries need before main runs.
#pragma once

#include <pthread.h>

#include <memory>

namespace Tizen {

// Gives OpenSSL the locks and the thread ids that releases before 1.1 ask of their program. Later ones have
// locks of their own, and the calls are macros without effect. One at a time.
class OpenSslLocking {
public:
    OpenSslLocking();
    ~OpenSslLocking();
    OpenSslLocking(const OpenSslLocking&) = delete;
    OpenSslLocking& operator=(const OpenSslLocking&) = delete;

    // The callbacks, as OpenSSL calls them. The second one has no effect while no object lives.
    static unsigned long ThreadId();
    static void Lock(int mode, int number, const char* file, int line);

private:
    int count;
    std::unique_ptr<pthread_mutex_t[]> mutexes;  // null when they could not be had

    static pthread_mutex_t* inUse;  // those of the living object
};

}  // namespace Tizen
