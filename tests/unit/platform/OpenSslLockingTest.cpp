#include <gtest/gtest.h>
#include <openssl/crypto.h>

#include <future>
#include <thread>

#include "platform/tizen/utils.h"

using Tizen::OpenSslLocking;

namespace {

constexpr int Unlock = 2;
constexpr int Read = 4;

TEST(OpenSslLocking, KnowsThreadsByTheirId) {
    EXPECT_EQ(OpenSslLocking::ThreadId(), OpenSslLocking::ThreadId());
    const unsigned long other = std::async(std::launch::async, OpenSslLocking::ThreadId).get();
    EXPECT_NE(OpenSslLocking::ThreadId(), other);
}

TEST(OpenSslLocking, KeepsAnotherThreadOutUntilTheLockIsReleased) {
    const OpenSslLocking locking;
    int value = 0;
    OpenSslLocking::Lock(CRYPTO_LOCK | Read, 0, __FILE__, __LINE__);
    std::thread other([&] {
        OpenSslLocking::Lock(CRYPTO_LOCK, 0, __FILE__, __LINE__);
        EXPECT_EQ(value, 1);
        OpenSslLocking::Lock(Unlock, 0, __FILE__, __LINE__);
    });
    value = 1;
    OpenSslLocking::Lock(Unlock | Read, 0, __FILE__, __LINE__);
    other.join();
}

TEST(OpenSslLocking, HasNoLocksOnceItIsGone) {
    { const OpenSslLocking locking; }
    OpenSslLocking::Lock(CRYPTO_LOCK, 0, __FILE__, __LINE__);
    OpenSslLocking::Lock(CRYPTO_LOCK, 0, __FILE__, __LINE__);  // would wait for ever on a lock
}

}  // namespace
