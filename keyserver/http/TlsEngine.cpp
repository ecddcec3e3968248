// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/TlsEngine.h"

#include <openssl/bio.h>
#include <openssl/err.h>

#include <algorithm>
#include <array>
#include <climits>
#include <new>

namespace KeyServer {

namespace {

constexpr std::size_t RecordSize = 16384;

}  // namespace

TlsEngine::TlsEngine(SslHandle handle)
    : ssl(std::move(handle)), fromWire(BIO_new(BIO_s_mem())), toWire(BIO_new(BIO_s_mem())) {
    if (!ssl || fromWire == nullptr || toWire == nullptr) {
        BIO_free(fromWire);
        BIO_free(toWire);
        throw std::bad_alloc();
    }
    SSL_set_bio(ssl.get(), fromWire, toWire);
}

TlsEngine::Progress TlsEngine::OutcomeOf(int result) {
    switch (SSL_get_error(ssl.get(), result)) {
        case SSL_ERROR_WANT_READ:
            return Progress::Waiting;
        case SSL_ERROR_ZERO_RETURN:
            return Progress::Ended;
        default:
            broken = true;
            problem = LastSslError();
            return Progress::Failed;
    }
}

TlsEngine::Progress TlsEngine::Handshake() {
    ERR_clear_error();
    const int result = SSL_accept(ssl.get());
    greeted = result == 1;
    return greeted ? Progress::Done : OutcomeOf(result);
}

void TlsEngine::Feed(const char* data, std::size_t size) {
    while (size > 0) {
        const int count = BIO_write(fromWire, data, static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
        if (count <= 0) {
            throw std::bad_alloc();
        }
        data += count;
        size -= static_cast<std::size_t>(count);
    }
}

// An empty buffer then no longer means that more will come.
void TlsEngine::FeedEnd() {
    BIO_set_mem_eof_return(fromWire, 0);
}

TlsEngine::Progress TlsEngine::Open(std::string& plain) {
    std::array<char, RecordSize> bytes{};
    for (;;) {
        ERR_clear_error();
        std::size_t count = 0;
        const int result = broken ? 0 : SSL_read_ex(ssl.get(), bytes.data(), bytes.size(), &count);
        if (result != 1) {
            return broken ? Progress::Failed : OutcomeOf(result);
        }
        plain.append(bytes.data(), count);
    }
}

bool TlsEngine::Seal(const std::string& plain) {
    ERR_clear_error();
    std::size_t count = 0;
    return !broken && (plain.empty() || SSL_write_ex(ssl.get(), plain.data(), plain.size(), &count) == 1);
}

void TlsEngine::SealGoodbye() {
    if (greeted && !broken) {
        SSL_shutdown(ssl.get());
    }
}

std::string TlsEngine::TakeSealed() {
    std::string bytes(BIO_ctrl_pending(toWire), '\0');
    const int count =
        bytes.empty()
            ? 0
            : BIO_read(toWire, bytes.data(), static_cast<int>(std::min<std::size_t>(bytes.size(), INT_MAX)));
    bytes.resize(static_cast<std::size_t>(std::max(count, 0)));
    return bytes;
}

}  // namespace KeyServer
