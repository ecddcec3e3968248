// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>

#include "client/lib/Bus.h"
#include "client/lib/Messages.h"
#include "navo/Client.h"
#include "navo/Outcome.h"

namespace Navo {
namespace {

constexpr char SuccessAnswer[] = "Success";
constexpr char FailedAnswer[] = "Failed";
constexpr char UnknownClientAnswer[] = "Wrong parameters";

std::string AnswerOf(const Map& reply) {
    const auto found = reply.find(Key::ReturnCode);
    return found != reply.end() ? found->second : std::string();
}

// Progress goes out from a path that ends in the process id. A package name with "_" in it gives
// ".../app_2817" instead of ".../2817", so the last component may have something in front of a "_".
bool IsOwnProgress(const std::string& path, const std::string& processId) {
    const std::string prefix = "/navoa/client/";
    if (path.rfind(prefix, 0) != 0 || path.size() < prefix.size() + processId.size()) {
        return false;
    }
    const std::size_t at = path.size() - processId.size();
    return path.compare(at, std::string::npos, processId) == 0 &&
           (at == prefix.size() || path[at - 1] == '_');
}

// A call that comes from within a call, through its progress callback, would wait for itself.
class Turn {
public:
    Turn(std::recursive_mutex& mutex, bool& isTaken) : lock(mutex), taken(isTaken) {
        if (taken) {
            throw ClientError(ErrorKind::InvalidRequest, "a progress callback must not use its own session");
        }
        taken = true;
    }
    ~Turn() { taken = false; }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    std::lock_guard<std::recursive_mutex> lock;
    bool& taken;
};

// How long an Open that timed out is tried to be taken back.
constexpr std::chrono::milliseconds TakingBackLimit{250};

// Progress that others get while this process waits for its turn.
class Watch {
public:
    explicit Watch(Bus& bus)
        : subscription(
              bus, ServiceName, ServiceInterface, "Progress", nullptr,
              [this](const char* path, GVariant* body) {
                  if (g_variant_is_of_type(body, G_VARIANT_TYPE("(s)"))) {
                      const char* text = nullptr;
                      g_variant_get(body, "(&s)", &text);
                      const std::string from = path;
                      last = "the last card command that it reported was " + std::string(text) +
                             " for the client " + from.substr(from.rfind('/') + 1);
                  }
              }) {}

    const std::string& Seen() const { return last; }

private:
    std::string last;  // before the subscription, which writes it
    SignalSubscription subscription;
};

std::string BusyText(const std::string& seen) {
    const std::string known = seen.empty() ? "it reported no card command meanwhile" : seen;
    return "the service is busy: it works for one client at a time, and gave no answer within the time limit "
           "(" +
           known + ")";
}

}  // namespace

struct NAVO_HIDDEN Session::Inner {
    explicit Inner(const SessionOptions& sessionOptions)
        : options(sessionOptions), bus(options.busAddress, options.cancellation) {}

    void Open();
    Map Call(const Map& request, const CallOptions& callOptions);
    void Close();

    SessionOptions options;
    Bus bus;
    std::string service;    // unique name of the process that holds the session; empty while there is none
    std::string processId;  // as the bus and so the service see this process
    mutable std::recursive_mutex mutex;
    bool taken = false;

private:
    enum class Attempt { Opened, ServiceLeaving, NobodyThere };

    Answer AskSession(const std::string& to, const char* what, bool mayStart, const Waiting& waiting);
    Attempt TryToOpen(bool isFirst);
    Attempt JudgeOpen(const Answer& answer, const std::string& ranBefore);
    bool IsServing(const std::string& instance);
    void AwaitSuccessor();
    void AwaitStarter();
    void TakeBack(const std::string& to, bool mayStart) noexcept;
    MessagePtr NewRequest(const Map& request, const CallOptions& callOptions) const;
    Map JudgeReply(const Answer& answer, bool isEmptyRequest);
    Waiting Limits() const;
    bool IsCancelled() const {
        return options.cancellation != nullptr && options.cancellation->IsCancelled();
    }

    std::string leaving;  // unique name of an instance that is on its way out; empty when not known
};

Waiting Session::Inner::Limits() const {
    Waiting waiting;
    waiting.timeLimit = options.timeLimit;
    waiting.cancellation = options.cancellation;
    return waiting;
}

Answer Session::Inner::AskSession(
    const std::string& to, const char* what, bool mayStart, const Waiting& waiting) {
    const VariantPtr map = PackMap({{Key::Session, what}});
    const MessagePtr message = NewMethodCall(to, "Session", g_variant_new("(@a{ss})", map.get()), mayStart);
    return bus.Exchange(message.get(), waiting);
}

// Balances an Open that this process will not use: the service counts it whatever it answered. One that has
// just let a limit pass is not waited for as long again.
void Session::Inner::TakeBack(const std::string& to, bool mayStart) noexcept {
    try {
        Waiting waiting = Limits();
        waiting.cancellation = nullptr;
        if (options.timeLimit != NoTimeLimit) {
            waiting.timeLimit = std::min(options.timeLimit, TakingBackLimit);
        }
        AskSession(to, "Close", mayStart, waiting);
    } catch (const std::exception&) {
        // The error that led here is the one to report.
    }
}

void Session::Inner::Open() {
    processId = bus.ProcessId();
    for (int attempt = 1; attempt <= options.openAttempts; ++attempt) {
        const Attempt result = TryToOpen(attempt == 1);
        if (result == Attempt::Opened) {
            return;
        }
        if (attempt == options.openAttempts) {
            break;
        }
        if (result == Attempt::NobodyThere) {
            AwaitStarter();
        } else {
            AwaitSuccessor();
        }
    }
    throw ClientError(
        ErrorKind::ServiceUnreachable, "opening a session: the service ended each of the " +
                                           std::to_string(options.openAttempts) + " times that it was asked");
}

Session::Inner::Attempt Session::Inner::TryToOpen(bool isFirst) {
    if (IsCancelled()) {
        throw ClientError(ErrorKind::Cancelled, "opening a session: cancelled before it was asked for");
    }
    const std::string ranBefore = options.confirm ? bus.OwnerOf(ServiceName) : std::string();
    const std::unique_ptr<Watch> watch =
        options.timeLimit != NoTimeLimit ? std::make_unique<Watch>(bus) : nullptr;
    const Answer answer = AskSession(ServiceName, "Open", true, Limits());
    if (answer.reply != nullptr) {
        return JudgeOpen(answer, ranBefore);
    }
    if (IsAbandoned(answer)) {
        return Attempt::ServiceLeaving;
    }
    if (IsUndelivered(answer) && !isFirst) {
        return Attempt::NobodyThere;  // just left, and somebody else has to start it again
    }
    ClientError error = ErrorOf(answer, "opening a session");
    if (error.Kind() == ErrorKind::TimedOut || error.Kind() == ErrorKind::Cancelled) {
        TakeBack(ServiceName, true);
    }
    if (error.Kind() == ErrorKind::TimedOut && !bus.OwnerOf(ServiceName).empty()) {
        throw ClientError(ErrorKind::TimedOut, "opening a session: " + BusyText(watch->Seen()));
    }
    throw error;
}

Session::Inner::Attempt Session::Inner::JudgeOpen(const Answer& answer, const std::string& ranBefore) {
    const std::string sender = g_dbus_message_get_sender(answer.reply.get());
    const std::string text = AnswerOf(UnpackReply(answer.reply.get()));
    if (text == FailedAnswer) {
        TakeBack(sender, false);
        throw ClientError(
            ErrorKind::SessionRefused,
            "opening a session: the service answered \"Failed\", since it has a session of this process "
            "already");
    }
    leaving = sender;
    if (text == UnknownClientAnswer) {
        return Attempt::ServiceLeaving;  // it has stopped listening already
    }
    if (text != SuccessAnswer) {
        throw ClientError(
            ErrorKind::UnexpectedReply, "opening a session: the service answered \"" + text + "\"");
    }
    if (sender == ranBefore && !IsServing(sender)) {
        return Attempt::ServiceLeaving;
    }
    service = sender;
    return Attempt::Opened;
}

// Whether a request still comes through to an instance that said "Success".
bool Session::Inner::IsServing(const std::string& instance) {
    const VariantPtr map = PackMap({{Key::Cmd, CommandText(Command::SeStatus)}});
    const MessagePtr message = NewMethodCall(instance, "Cmd", g_variant_new("(@a{ss})", map.get()), false);
    const Answer answer = bus.Exchange(message.get(), Limits());
    if (answer.reply != nullptr) {
        return AnswerOf(UnpackReply(answer.reply.get())) != UnknownClientAnswer;
    }
    if (IsAbandoned(answer) || IsUndelivered(answer)) {
        return false;
    }
    TakeBack(instance, false);
    throw ErrorOf(answer, "trying the new session");
}

// An instance that has stopped listening still has the name for a moment.
void Session::Inner::AwaitSuccessor() {
    const auto isGone = [this](const std::string& owner) { return owner.empty() || owner != leaving; };
    bus.WaitForOwner(ServiceName, isGone, options.successorLimit, options.cancellation);
}

// Where the bus does not start the service, whoever does may be about to.
void Session::Inner::AwaitStarter() {
    const auto isThere = [](const std::string& owner) { return !owner.empty(); };
    if (!bus.WaitForOwner(ServiceName, isThere, options.successorLimit, options.cancellation) &&
        !IsCancelled()) {
        throw ClientError(
            ErrorKind::ServiceUnreachable,
            "opening a session: the service has just ended, and nobody starts it again");
    }
}

MessagePtr Session::Inner::NewRequest(const Map& request, const CallOptions& callOptions) const {
    if (service.empty()) {
        throw ClientError(ErrorKind::InvalidRequest, "the session is closed");
    }
    if (request.count(Key::Session) != 0) {
        throw ClientError(ErrorKind::InvalidRequest, "the key \"Session\" is for opening and closing only");
    }
    const VariantPtr map = PackMap(request);
    if (callOptions.method == Method::Cmd) {
        return NewMethodCall(service, "Cmd", g_variant_new("(@a{ss})", map.get()), false);
    }
    if (!g_utf8_validate(callOptions.resultTag.c_str(), -1, nullptr)) {
        throw ClientError(ErrorKind::InvalidRequest, "the result tag is not UTF-8");
    }
    const char* tag = callOptions.resultTag.c_str();
    return NewMethodCall(service, "Exec", g_variant_new("(@a{ss}s)", map.get(), tag), false);
}

Map Session::Inner::Call(const Map& request, const CallOptions& callOptions) {
    const MessagePtr message = NewRequest(request, callOptions);
    std::deque<std::string> arrived;
    bool isAnswered = false;
    const SignalSubscription subscription(
        bus, service, ServiceInterface, "Progress", nullptr, [&](const char* path, GVariant* body) {
            if (!isAnswered && !bus.AwaitsAbandoned() && IsOwnProgress(path, processId) &&
                g_variant_is_of_type(body, G_VARIANT_TYPE("(s)"))) {
                const char* text = nullptr;
                g_variant_get(body, "(&s)", &text);
                arrived.emplace_back(text);
            }
        });
    Waiting waiting = Limits();
    if (callOptions.timeLimit.count() != 0) {
        waiting.timeLimit = callOptions.timeLimit;
    }
    if (callOptions.cancellation != nullptr) {
        waiting.cancellation = callOptions.cancellation;
    }
    waiting.afterEachTurn = [&] {
        for (; !arrived.empty(); arrived.pop_front()) {
            if (callOptions.onProgress) {
                callOptions.onProgress(arrived.front());
            }
        }
    };
    waiting.onAnswer = [&isAnswered] { isAnswered = true; };
    const Answer answer = bus.Exchange(message.get(), waiting);
    return JudgeReply(answer, request.empty());
}

Map Session::Inner::JudgeReply(const Answer& answer, bool isEmptyRequest) {
    if (IsUndelivered(answer)) {
        service.clear();
        throw ClientError(
            ErrorKind::SessionLost,
            "the service that held this session has ended or was restarted; the request was not run, open a "
            "new session",
            answer.errorName);
    }
    if (answer.reply == nullptr) {
        throw ErrorOf(answer, "waiting for the reply");
    }
    Map reply = UnpackReply(answer.reply.get());
    if (!isEmptyRequest && AnswerOf(reply) == UnknownClientAnswer) {
        throw ClientError(
            ErrorKind::SessionLost,
            "the service answered \"Wrong parameters\": it does not know this session; either it was "
            "restarted since, "
            "or this process closed the session in another way; the request was not run");
    }
    return reply;
}

void Session::Inner::Close() {
    if (service.empty()) {
        return;
    }
    Waiting waiting = Limits();
    waiting.cancellation = nullptr;
    const Answer answer = AskSession(service, "Close", false, waiting);
    if (answer.reply == nullptr && !IsUndelivered(answer) && !IsAbandoned(answer)) {
        throw ErrorOf(answer, "closing the session");
    }
    service.clear();
}

Session::Session(const SessionOptions& options) : inner(std::make_unique<Inner>(options)) {
    inner->Open();
}

Session::~Session() {
    try {
        Close();
    } catch (const std::exception&) {
        // Nobody is left to hear of it.
    }
}

Map Session::Call(const Map& request, const CallOptions& options) {
    const Turn turn(inner->mutex, inner->taken);
    return inner->Call(request, options);
}

void Session::Close() {
    const Turn turn(inner->mutex, inner->taken);
    inner->Close();
}

long Session::ServiceProcess() {
    const Turn turn(inner->mutex, inner->taken);
    return inner->service.empty() ? 0 : inner->bus.ProcessOf(inner->service);
}

std::string Session::ServiceConnection() const {
    const std::lock_guard<std::recursive_mutex> lock(inner->mutex);
    return inner->service;
}

}  // namespace Navo
