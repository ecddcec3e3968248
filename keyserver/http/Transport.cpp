// SPDX-License-Identifier: Apache-2.0
#include "keyserver/http/Transport.h"

#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <utility>

namespace KeyServer {

namespace asio = boost::asio;

Transport::Transport(asio::ip::tcp::socket connected) : socket(std::move(connected)) {}

void Transport::Secure(SslHandle ssl, Done done) {
    cancelled = false;
    tls = std::make_unique<TlsEngine>(std::move(ssl));
    if (!input.empty()) {
        tls->Feed(input.data(), input.size());
        input.clear();
    }
    Greet(std::move(done));
}

void Transport::Greet(Done done) {
    const TlsEngine::Progress progress = tls->Handshake();
    output += tls->TakeSealed();
    Flush([this, progress, done = std::move(done)](bool sent) {
        if (progress == TlsEngine::Progress::Waiting && sent) {
            ReceiveForGreeting(done);
            return;
        }
        problem = tls->Problem();
        if (progress == TlsEngine::Progress::Done) {
            Decrypt();  // the first request may have come together with the end of the handshake
        }
        done(sent && progress == TlsEngine::Progress::Done);
    });
}

void Transport::ReceiveForGreeting(Done done) {
    socket.async_read_some(
        asio::buffer(chunk), [this, done = std::move(done)](const Error& error, std::size_t size) mutable {
            if (cancelled || (error && error != asio::error::eof)) {
                problem = error.message();
                done(false);
                return;
            }
            if (error) {
                tls->FeedEnd();
            } else {
                tls->Feed(chunk.data(), size);
            }
            Greet(std::move(done));
        });
}

Transport::Received Transport::Decrypt() {
    const std::size_t before = input.size();
    const TlsEngine::Progress progress = tls->Open(input);
    output += tls->TakeSealed();  // goes out with what is sent next
    if (progress == TlsEngine::Progress::Failed) {
        return Received::Failure;
    }
    ended = progress == TlsEngine::Progress::Ended;
    return ended && input.size() == before ? Received::End : Received::Bytes;
}

void Transport::Receive(Receiver done) {
    cancelled = false;
    if (ended) {
        asio::post(Executor(), [done = std::move(done)] { done(Received::End); });
    } else {
        ReceiveSome(std::move(done));
    }
}

void Transport::ReceiveSome(Receiver done) {
    socket.async_read_some(
        asio::buffer(chunk), [this, done = std::move(done)](const Error& error, std::size_t size) mutable {
            if (error || cancelled) {
                done(error == asio::error::eof ? Received::End : Received::Failure);
            } else if (!tls) {
                input.append(chunk.data(), size);
                done(Received::Bytes);
            } else {
                tls->Feed(chunk.data(), size);
                const std::size_t before = input.size();
                const Received outcome = Decrypt();
                if (outcome == Received::Bytes && input.size() == before) {
                    ReceiveSome(
                        std::move(done));  // a record came that holds nothing for us, or a part of one
                } else {
                    done(outcome);
                }
            }
        });
}

void Transport::Send(const std::string& bytes, Done done) {
    const bool sealed = !tls || tls->Seal(bytes);
    output += tls ? tls->TakeSealed() : bytes;
    Flush([sealed, done = std::move(done)](bool sent) { done(sealed && sent); });
}

void Transport::Flush(Done done) {
    asio::async_write(
        socket, asio::buffer(output), [this, done = std::move(done)](const Error& error, std::size_t) {
            output.clear();
            done(!error);
        });
}

void Transport::Cancel() {
    cancelled = true;
    Error ignored;
    socket.cancel(ignored);
}

// A peer that takes nothing more loses only a courtesy.
void Transport::SayGoodbye() {
    Error ignored;
    if (tls) {
        tls->SealGoodbye();
        output += tls->TakeSealed();
        socket.write_some(asio::buffer(output), ignored);
        output.clear();
    }
    socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

void Transport::Discard(Done done) {
    cancelled = false;
    DiscardSome(std::move(done));
}

void Transport::DiscardSome(Done done) {
    socket.async_read_some(
        asio::buffer(chunk), [this, done = std::move(done)](const Error& error, std::size_t) mutable {
            if (error || cancelled) {
                done(error == asio::error::eof);
            } else {
                DiscardSome(std::move(done));
            }
        });
}

void Transport::Close() {
    Error ignored;
    socket.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    socket.close(ignored);
}

void Transport::CloseWithReset() {
    Error ignored;
    socket.set_option(asio::socket_base::linger(true, 0), ignored);
    socket.close(ignored);
}

}  // namespace KeyServer
