// SPDX-License-Identifier: Apache-2.0
#include "platform/tizen/utils.h"

#include <openssl/crypto.h>

#include <new>

namespace Tizen {

pthread_mutex_t* OpenSslLocking::inUse = nullptr;

OpenSslLocking::OpenSslLocking()
    : count(CRYPTO_num_locks()), mutexes(new(std::nothrow) pthread_mutex_t[static_cast<std::size_t>(count)]) {
    if (!mutexes) {
        return;
    }
    for (int number = 0; number < count; ++number) {
        pthread_mutex_init(&mutexes[static_cast<std::size_t>(number)], nullptr);
    }
    inUse = mutexes.get();
    CRYPTO_set_id_callback(ThreadId);
    CRYPTO_set_locking_callback(Lock);
}

OpenSslLocking::~OpenSslLocking() {
    if (!mutexes) {
        return;
    }
    CRYPTO_set_id_callback(nullptr);
    CRYPTO_set_locking_callback(nullptr);
    inUse = nullptr;
    for (int number = 0; number < count; ++number) {
        pthread_mutex_destroy(&mutexes[static_cast<std::size_t>(number)]);
    }
}

unsigned long OpenSslLocking::ThreadId() {
    return static_cast<unsigned long>(pthread_self());
}

void OpenSslLocking::Lock(int mode, int number, const char*, int) {
    if (inUse == nullptr) {
        return;
    }
    if ((mode & CRYPTO_LOCK) != 0) {
        pthread_mutex_lock(&inUse[number]);
    } else {
        pthread_mutex_unlock(&inUse[number]);
    }
}

}  // namespace Tizen
