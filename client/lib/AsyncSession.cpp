// SPDX-License-Identifier: Apache-2.0
#include "navo/AsyncSession.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "client/lib/Mailbox.h"

namespace Navo {
namespace {

template <typename Value>
std::future<Value> Failed(const std::exception_ptr& error) {
    std::promise<Value> promise;
    promise.set_exception(error);
    return promise.get_future();
}

std::future<void> Done() {
    std::promise<void> promise;
    promise.set_value();
    return promise.get_future();
}

ContextPtr ContextOfThread() {
    return ContextPtr(g_main_context_ref_thread_default());
}

}  // namespace

// One thread keeps the session and does one thing after the other; what comes of it goes to the mailbox. The
// state outlives neither: the destructor waits for the thread.
struct NAVO_HIDDEN AsyncSession::Inner {
    Inner(const SessionOptions& sessionOptions, OnEnd<void> opened);
    ~Inner();

    struct Call {
        CallId id;
        Map request;
        CallOptions
            options;  // without what is the caller's: that is called and freed in the context's thread
        std::function<void(const std::string&)> onProgress;
        OnEnd<Map> onEnd;
        Cancellation cancellation;
        bool hasEnded = false;  // looked at in the context's thread alone
    };
    using CallPtr = std::shared_ptr<Call>;

    CallId Start(CallPtr call);
    void Cancel(CallId id);
    void Close(OnEnd<void> handler);

private:
    void Work();
    void Open();
    void Serve();
    CallPtr AwaitNext();  // null when there is none to come
    void Run(const CallPtr& call);
    void CloseSession();
    void End(const CallPtr& call, std::shared_ptr<std::future<Map>> reply);
    void EndWith(const CallPtr& call, const std::exception_ptr& error);
    void Tell(const OnEnd<void>& handler, std::future<void> result);

    SessionOptions options;
    Cancellation ending;
    OnEnd<void> onOpened;
    std::shared_ptr<Mailbox> mailbox = std::make_shared<Mailbox>(ContextOfThread().get());

    std::optional<Session> session;    // of the thread
    std::exception_ptr openingFailed;  // of the thread

    std::mutex mutex;
    std::condition_variable hasWork;
    std::deque<CallPtr> waiting;
    CallPtr running;
    std::vector<OnEnd<void>> onClosed;
    CallId lastId = 0;
    bool isClosing = false;
    bool hasClosed = false;
    bool isEnding = false;

    std::thread thread;  // begins when all else is there
};

AsyncSession::Inner::Inner(const SessionOptions& sessionOptions, OnEnd<void> opened)
    : options(sessionOptions), onOpened(std::move(opened)) {
    options.cancellation = &ending;
    thread = std::thread([this] { Work(); });
}

AsyncSession::Inner::~Inner() {
    mailbox->Close();
    CallPtr last;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isEnding = true;
        waiting.clear();
        last = running;
        if (running != nullptr) {
            running->cancellation.Cancel();
        }
    }
    ending.Cancel();
    hasWork.notify_one();
    thread.join();
}

void AsyncSession::Inner::Tell(const OnEnd<void>& handler, std::future<void> result) {
    if (handler) {
        const auto shared = std::make_shared<std::future<void>>(std::move(result));
        mailbox->Post([handler, shared] { handler(std::move(*shared)); });
    }
}

void AsyncSession::Inner::End(const CallPtr& call, std::shared_ptr<std::future<Map>> reply) {
    mailbox->Post([call, reply = std::move(reply)] {
        call->hasEnded = true;
        if (const OnEnd<Map> handler = std::move(call->onEnd)) {
            handler(std::move(*reply));
        }
    });
}

void AsyncSession::Inner::EndWith(const CallPtr& call, const std::exception_ptr& error) {
    End(call, std::make_shared<std::future<Map>>(Failed<Map>(error)));
}

void AsyncSession::Inner::Work() {
    Open();
    while (const CallPtr call = AwaitNext()) {
        Run(call);
        const std::lock_guard<std::mutex> lock(mutex);
        running.reset();
    }
    CloseSession();
}

void AsyncSession::Inner::Open() {
    try {
        session.emplace(options);
        Tell(onOpened, Done());
    } catch (...) {
        openingFailed = std::current_exception();
        Tell(onOpened, Failed<void>(openingFailed));
    }
}

AsyncSession::Inner::CallPtr AsyncSession::Inner::AwaitNext() {
    std::unique_lock<std::mutex> lock(mutex);
    hasWork.wait(lock, [this] { return isEnding || isClosing || !waiting.empty(); });
    if (waiting.empty()) {
        return nullptr;
    }
    running = waiting.front();
    waiting.pop_front();
    return running;
}

void AsyncSession::Inner::Run(const CallPtr& call) {
    if (openingFailed != nullptr) {
        EndWith(call, openingFailed);
        return;
    }
    CallOptions callOptions = call->options;
    callOptions.cancellation = &call->cancellation;
    callOptions.onProgress = [this, call](const std::string& text) {
        mailbox->Post([call, text] {
            if (call->onProgress && !call->hasEnded) {
                call->onProgress(text);
            }
        });
    };
    try {
        std::promise<Map> promise;
        promise.set_value(session->Call(call->request, callOptions));
        End(call, std::make_shared<std::future<Map>>(promise.get_future()));
    } catch (...) {
        EndWith(call, std::current_exception());
    }
}

void AsyncSession::Inner::CloseSession() {
    std::exception_ptr failure;
    try {
        if (session) {
            session->Close();
        }
    } catch (...) {
        failure = std::current_exception();
    }
    session.reset();
    const std::lock_guard<std::mutex> lock(mutex);
    hasClosed = true;
    for (const OnEnd<void>& handler : std::exchange(onClosed, {})) {
        Tell(handler, failure != nullptr ? Failed<void>(failure) : Done());
    }
}

AsyncSession::CallId AsyncSession::Inner::Start(CallPtr call) {
    const std::lock_guard<std::mutex> lock(mutex);
    const CallId id = ++lastId;
    call->id = id;
    if (isClosing) {
        EndWith(
            call, std::make_exception_ptr(ClientError(ErrorKind::InvalidRequest, "the session is closed")));
        return id;
    }
    waiting.push_back(std::move(call));
    hasWork.notify_one();
    return id;
}

void AsyncSession::Inner::Cancel(CallId id) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (running != nullptr && running->id == id) {
        running->cancellation.Cancel();
        return;
    }
    for (auto call = waiting.begin(); call != waiting.end(); ++call) {
        if ((*call)->id == id) {
            EndWith(
                *call,
                std::make_exception_ptr(ClientError(ErrorKind::Cancelled, "cancelled before it was sent")));
            waiting.erase(call);
            return;
        }
    }
}

void AsyncSession::Inner::Close(OnEnd<void> handler) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (hasClosed) {
        Tell(handler, Done());
        return;
    }
    isClosing = true;
    onClosed.push_back(std::move(handler));
    hasWork.notify_one();
}

AsyncSession::AsyncSession(const SessionOptions& options, OnEnd<void> onOpened)
    : inner(std::make_unique<Inner>(options, std::move(onOpened))) {}

AsyncSession::~AsyncSession() = default;

AsyncSession::CallId AsyncSession::Start(const Map& request, OnEnd<Map> onEnd, const CallOptions& options) {
    auto call = std::make_shared<Inner::Call>();
    call->request = request;
    call->options = options;
    call->onProgress = std::exchange(call->options.onProgress, nullptr);
    call->onEnd = std::move(onEnd);
    return inner->Start(std::move(call));
}

void AsyncSession::Cancel(CallId call) {
    inner->Cancel(call);
}

void AsyncSession::Close(OnEnd<void> onClosed) {
    inner->Close(std::move(onClosed));
}

}  // namespace Navo
