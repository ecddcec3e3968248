// SPDX-License-Identifier: Apache-2.0
// A session with the service: open, call, close.
//
//     Navo::Session session;                                 // throws when there is none to be had
//     Navo::Map reply = session.Call({{"Cmd", "67"}});       // waits as long as the job takes
//     Navo::Outcome outcome = Navo::Interpret(Navo::Command::Cplc, reply);
//
// One session per process: the service knows a client by its package and its process id, so a second session
// of the same process is refused (ErrorKind::SessionRefused) while the first one is open. For the same reason
// an open session does not survive fork().
//
// Close what you open. The service does not notice a client that just vanishes: it keeps that client's
// record, and so itself, until it is stopped. A Session closes itself at the end of its scope, also under an
// exception; a process that dies by a signal does not.
//
// Threads: a Session may be used from any thread, and each of its operations waits for the one that is
// running. Nothing depends on the caller's main context being run, and nothing is delivered through it:
// progress arrives in the thread that waits in Call. No thread or signal subscription remains after Close
// except the I/O thread that GLib keeps for all bus connections of a process.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "navo/Export.h"
#include "navo/Vocabulary.h"

namespace Navo {

// Payload of every request and reply. Texts are UTF-8 without zero bytes: the bus carries nothing else.
using Map = std::map<std::string, std::string>;

// Jobs on a secure element take minutes when a server drives them, so waiting has no limit unless one is set.
constexpr std::chrono::milliseconds NoTimeLimit = std::chrono::milliseconds::max();

// What can go wrong.
enum class ErrorKind {
    NoBus,               // there is no bus, or it did not let this process in
    ServiceUnreachable,  // nobody has the service's name, it cannot be started, or it is forbidden
    SessionRefused,      // the service answered "Failed": this process has a session already
    SessionLost,         // the service does not know this session (any more); the request was not run
    ServiceEnded,        // the service, or the bus, went while the request ran; its outcome is unknown
    TimedOut,            // no answer within the limit; the request may still be running
    Cancelled,           // Cancellation::Cancel; the request may still be running
    UnexpectedReply,     // whoever has the name answered with a D-Bus error or with another type than (a{ss})
    InvalidRequest,      // not sent: a text that is no UTF-8, a "Session" key, or a closed session
    JobFailed,           // the service ran the request and reported a failure; typed calls alone say so
};

// A word for messages and scripts, for example "service-unreachable".
[[nodiscard]] NAVO_API const char* NameOf(ErrorKind kind);

// Whatever the library throws of its own. Its text is for people.
class NAVO_API ClientError : public std::runtime_error {
public:
    // For those who stand in for a session in tests, besides the library itself.
    ClientError(ErrorKind errorKind, const std::string& message, std::string errorName = {});

    ~ClientError() override;

    // An error is a value.
    ClientError(const ClientError&) = default;

    // An error is a value.
    ClientError& operator=(const ClientError&) = default;

    // What a program decides by.
    ErrorKind Kind() const { return kind; }

    // Name of the D-Bus error behind this one; empty when there was none.
    const std::string& BusError() const { return busError; }

private:
    ErrorKind kind;
    std::string busError;
};

// Ends waiting from another thread. It does not stop a job: the service has no way to.
class NAVO_API Cancellation {
public:
    Cancellation();
    ~Cancellation();
    Cancellation(const Cancellation&) = delete;
    Cancellation& operator=(const Cancellation&) = delete;

    // Any thread, any time; not from a signal handler. It stays cancelled.
    void Cancel();

    // Any thread, any time.
    [[nodiscard]] bool IsCancelled() const;

    struct Inner;

    // For the library itself.
    const Inner& Internals() const { return *inner; }

private:
    std::unique_ptr<Inner> inner;
};

// How a session is opened and how it waits.
struct SessionOptions {
    // Address of the bus; empty: the system bus, which DBUS_SYSTEM_BUS_ADDRESS may name.
    std::string busAddress;

    // For each single answer, including those to opening and closing.
    std::chrono::milliseconds timeLimit = NoTimeLimit;

    // A service whose last session ends, ends itself. Who meets it on its way out opens again, this often at
    // most.
    int openAttempts = 5;

    // How long to wait, between two such attempts, for the old service to go and for a new one to show up
    // where it is not the bus that starts it.
    std::chrono::milliseconds successorLimit{2000};

    // An ending service may still say "Success" to an Open that it met in its last moment. With this set, a
    // session on a service that ran already is tried with a request that does nothing (66) before it counts
    // as open, so that no real request can fall into that gap. It costs one exchange, and lines in the log.
    bool confirm = false;

    // Ends the waiting of opening and of calls, not of closing. Not owned, outlives the session; may be null.
    const Cancellation* cancellation = nullptr;
};

// Both methods do the same; the service ignores the tag of "Exec".
enum class Method { Cmd, Exec };

// How one request is sent and waited for.
struct CallOptions {
    // By which of the service's methods.
    Method method = Method::Cmd;

    // Of Method::Exec; UTF-8 without zero bytes.
    std::string resultTag;

    // Called in the thread that waits in Call, once per progress text ("A4_Select Service"), in order, and
    // never after Call has returned. It must not use the session. What it throws ends the waiting and leaves
    // Call.
    std::function<void(const std::string&)> onProgress;

    // Instead of the session's limit, when it is not zero.
    std::chrono::milliseconds timeLimit{0};

    // Instead of the session's, when it is not null: ends the waiting of this call alone. Not owned, outlives
    // the call.
    const Cancellation* cancellation = nullptr;
};

// A request and what its reply gives: navo/Jobs.h has one for each command.
template <typename Value>
struct Job;

// An open session of this process. There is one at a time.
class NAVO_API Session {
public:
    // Connects to the bus and opens a session, which starts the service when it does not run. Throws
    // ClientError. An Open that was refused, timed out or was cancelled is balanced with one Close, since it
    // counts all the same.
    explicit Session(const SessionOptions& options = {});

    // Closes; an error of that is lost here. It waits for the service's answer (within timeLimit), because a
    // service that reads the Close after this process has left can no longer tell whose it was.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Sends one request and waits for its reply, whatever the reply says: see Interpret for its meaning.
    // Throws ClientError. A request never starts the service: when the one that holds the session is gone, so
    // is the session (SessionLost). The same error stands for the reply "Wrong parameters", by which a
    // service says that it does not know the client, unless the request was empty and that is its answer.
    Map Call(const Map& request, const CallOptions& options = {});

    // Carries a job out (navo/Jobs.h) and gives what it is for. Throws JobFailed besides.
    template <typename Value>
    Value Do(const Job<Value>& job, const CallOptions& options = {}) {
        return job.read(Call(job.request, options));
    }

    // Ends the session; nothing when it is closed. A service that has ended counts as closed. Throws
    // ClientError, and then the service may still count this session.
    void Close();

    // Unique bus name of the service process that holds the session (":1.7"); empty when closed.
    [[nodiscard]] std::string ServiceConnection() const;

    // Id of that process as the bus sees it; 0 when closed, or when the bus does not tell.
    [[nodiscard]] long ServiceProcess();

private:
    struct Inner;
    std::unique_ptr<Inner> inner;
};

}  // namespace Navo
