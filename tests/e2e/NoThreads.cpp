// SPDX-License-Identifier: Apache-2.0
// Preloaded: makes every thread fail that the process wants while the file "no-threads" is in its working
// directory. Each failure adds a line to that file.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>

extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) noexcept {
    const int file = open("no-threads", O_WRONLY | O_APPEND | O_CLOEXEC);
    if (file >= 0) {
        const ssize_t written = write(file, "refused\n", 8);
        close(file);
        return written == 8 ? EAGAIN : EIO;
    }
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    return reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"))(thread, attributes, run, argument);
}
