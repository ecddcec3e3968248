// SPDX-License-Identifier: Apache-2.0
// A session for programs with a GLib main loop: nothing waits, and all that happens is told in the loop.
//
//     Navo::AsyncSession session;
//     session.Start(Navo::Jobs::Cplc(), [](std::future<std::string> cplc) {
//         try {
//             Show(cplc.get());
//         } catch (const Navo::ClientError& error) {
//             Complain(error.Kind(), error.what());
//         }
//     });
//
// Any number of calls may be started; the service gets one after the other in that order, since it answers
// only the last of several that one client sends at a time. Each handler is called exactly once, with a
// future that is ready: its get() gives the value or throws the ClientError that the blocking call would have
// thrown.
//
// Threads: handlers and progress run in the main context that was the thread's default when the session was
// made, never within the call that started them. They must not throw, for GLib calls them. A handler may
// start, cancel and close, and destroy the session. Use a session from its context's thread alone. It keeps
// one thread of its own, in which a Session waits.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <type_traits>
#include <utility>

#include "navo/Client.h"
#include "navo/Export.h"
#include "navo/Jobs.h"

namespace Navo {

// What an asynchronous call gives its value to, or its error. The value's type is that of the job, and not
// looked for in the handler, so that a lambda will do.
template <typename Value>
using OnEnd = std::function<void(std::future<std::enable_if_t<true, Value>>)>;

// A session whose calls end in handlers, in the main context of the thread that made it.
class NAVO_API AsyncSession {
public:
    // Names a call that was started, for Cancel. Never 0.
    using CallId = std::uint64_t;

    // Begins to connect and to open a session, and tells `onOpened` (may be empty) how that ended. Calls may
    // be started before; where there is no session to be had, each ends with the error of the opening. The
    // options' cancellation is not looked at.
    explicit AsyncSession(const SessionOptions& options = {}, OnEnd<void> onOpened = {});

    // Drops all handlers, gives up what is waited for, and closes, for which it waits as a Session does:
    // where a job is still running, until the service has read the Close or timeLimit has passed. Who must
    // not wait closes first, and destroys the session in the handler of that.
    ~AsyncSession();
    AsyncSession(const AsyncSession&) = delete;
    AsyncSession& operator=(const AsyncSession&) = delete;

    // Starts one request as it stands, as Session::Call does. The time limit counts from when it is sent,
    // progress comes before the end, and the options' cancellation is not looked at.
    CallId Start(const Map& request, OnEnd<Map> onEnd, const CallOptions& options = {});

    // Starts a job (navo/Jobs.h). JobFailed is among its errors.
    template <typename Value>
    CallId Start(const Job<Value>& job, OnEnd<Value> onEnd, const CallOptions& options = {}) {
        return Start(
            job.request,
            [read = job.read, end = std::move(onEnd)](std::future<Map> reply) {
                std::promise<Value> promise;
                try {
                    Keep(promise, [&] { return read(reply.get()); });
                } catch (...) {
                    promise.set_exception(std::current_exception());
                }
                if (end) {
                    end(promise.get_future());
                }
            },
            options);
    }

    // Ends a call with ErrorKind::Cancelled; nothing when it has ended. One that waits for its turn is not
    // sent. One that runs goes on in the service, which has no way to stop it, and nothing is heard of it any
    // more.
    void Cancel(CallId call);

    // Closes when all calls that were started have ended, and tells `onClosed` (may be empty). Calls that are
    // started later end with ErrorKind::InvalidRequest.
    void Close(OnEnd<void> onClosed = {});

private:
    template <typename Value, typename Read>
    static void Keep(std::promise<Value>& promise, const Read& read) {
        if constexpr (std::is_void_v<Value>) {
            read();
            promise.set_value();
        } else {
            promise.set_value(read());
        }
    }

    struct Inner;
    std::unique_ptr<Inner> inner;
};

}  // namespace Navo
