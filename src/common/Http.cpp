// SPDX-License-Identifier: Apache-2.0
#include "common/Http.h"

#include <algorithm>
#include <utility>

#include "common/CookieFile.h"
#include "common/Debug.h"
#include "common/Owned.h"
#include "common/Utils.h"

namespace Na {

namespace {

constexpr long ConnectTimeoutSeconds = 20;
constexpr int Attempts = 4;
constexpr char PublicPage[] = "https://www.example.com/";

struct Failure {
    CURLcode code;
    HttpOutcome outcome;
    bool retried;
};

constexpr Failure Failures[] = {
    {CURLE_URL_MALFORMAT, HttpOutcome::MalformedUrl, false},
    {CURLE_COULDNT_RESOLVE_PROXY, HttpOutcome::NoConnection, true},
    {CURLE_COULDNT_RESOLVE_HOST, HttpOutcome::NoConnection, true},
    {CURLE_COULDNT_CONNECT, HttpOutcome::NoConnection, true},
    {CURLE_SSL_CONNECT_ERROR, HttpOutcome::NoConnection, true},
    {CURLE_REMOTE_ACCESS_DENIED, HttpOutcome::AccessDenied, false},
    {CURLE_HTTP_RETURNED_ERROR, HttpOutcome::OtherFailure, true},
    {CURLE_OPERATION_TIMEDOUT, HttpOutcome::TimedOut, true},
    {CURLE_HTTP_POST_ERROR, HttpOutcome::NoResponse, true},
    {CURLE_GOT_NOTHING, HttpOutcome::NoResponse, true},
    {CURLE_RECV_ERROR, HttpOutcome::NoResponse, true},
    {CURLE_BAD_CONTENT_ENCODING, HttpOutcome::BadContentEncoding, false},
    {CURLE_AGAIN, HttpOutcome::TemporarilyUnavailable, true},
};

Failure FailureOf(CURLcode code) {
    for (const Failure& failure : Failures) {
        if (failure.code == code) {
            return failure;
        }
    }
    return {code, HttpOutcome::OtherFailure, false};
}

// The event is busy for as long as an exchange goes on.
class BusyTime {
public:
    explicit BusyTime(CompletionEvent& exchangeEvent) : event(exchangeEvent) { event.Start(); }
    ~BusyTime() { event.Done(); }
    BusyTime(const BusyTime&) = delete;
    BusyTime& operator=(const BusyTime&) = delete;

private:
    CompletionEvent& event;
};

void SetProxy(CURL* curl, std::string proxy) {
    if (proxy.empty()) {
        return;
    }
    if (proxy.find("http") == std::string::npos) {
        proxy = "http://" + proxy + "/";
    }
    LogPrint(LogDebug, LOCATED_IN("SendRequest", "Using proxy %s for connection"), proxy.c_str());
    curl_easy_setopt(curl, CURLOPT_PROXY, proxy.c_str());
}

void SetTarget(HttpExchange& exchange, const std::string& url, const std::string& proxy) {
    CURL* const curl = exchange.curl.get();
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, exchange.errorText.data());
    SetProxy(curl, proxy);
    curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, ConnectTimeoutSeconds);
    curl_easy_setopt(curl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    exchange.AddHeader("User-Agent: libcurl");
    exchange.AddHeader("Accept: */*");
}

// The server takes the body without any blank, also inside of values.
void SetPostBody(HttpExchange& exchange, std::string body) {
    exchange.AddHeader("Content-type: application/x-www-form-urlencoded");
    body.erase(std::remove(body.begin(), body.end(), ' '), body.end());
    if (body.empty()) {
        return;
    }
    LogPrint(
        LogTrace, LOCATED_IN("SendRequest", "Sending HTTP POST data (%d bytes):\n%s"),
        static_cast<int>(body.size()), body.c_str());
    curl_easy_setopt(exchange.curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(exchange.curl.get(), CURLOPT_COPYPOSTFIELDS, body.c_str());
}

bool SetRequest(HttpExchange& exchange, HttpRequest type, const std::string& body) {
    switch (type) {
        case HttpRequest::Post:
            SetPostBody(exchange, body);
            return true;
        case HttpRequest::Get:
            curl_easy_setopt(exchange.curl.get(), CURLOPT_HTTPGET, 1L);
            return true;
    }
    LogPrint(LogError, LOCATED_IN("SendRequest", "Unsupported request type"));
    return false;
}

void SetReceiver(HttpExchange& exchange) {
    CURL* const curl = exchange.curl.get();
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, curl_write_cb);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &exchange.received);
    curl_easy_setopt(curl, CURLOPT_COOKIEFILE, "");
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, exchange.headers.get());
}

void SetCookieFile(CURL* curl, const std::string& file) {
    LogPrint(LogTrace, LOCATED_IN("SendRequest", "Cookies storage: %s"), file.c_str());
    const std::string folder = file.substr(0, file.rfind('/'));
    LogPrint(LogTrace, LOCATED_IN("SendRequest", "dir: %s"), folder.c_str());
    if (!SystemMkDir(folder) || !MayKeepCookiesIn(file)) {
        LogPrint(LogWarning, LOCATED_IN("SendRequest", "Can't use cookies. System error"));
        return;
    }
    curl_easy_setopt(curl, CURLOPT_COOKIEFILE, file.c_str());
    curl_easy_setopt(curl, CURLOPT_COOKIEJAR, file.c_str());
}

// Leaves as few copies of a large text as can be. A text without an escape is its own unescaped form.
std::string Unescape(CURL* curl, std::string text) {
    if (text.find('%') == std::string::npos) {
        return text;
    }
    int length = 0;
    const OwnedBy<void, curl_free> plain(
        curl_easy_unescape(curl, text.c_str(), static_cast<int>(text.size()), &length));
    std::string().swap(text);
    return plain ? std::string(static_cast<const char*>(plain.get()), static_cast<std::size_t>(length))
                 : std::string();
}

// Says where a redirect would have led that is not followed.
void LogRefusedRedirect(CURL* curl, CURLcode code) {
    long redirects = 0;
    char* address = nullptr;
    if (code == CURLE_UNSUPPORTED_PROTOCOL &&
        curl_easy_getinfo(curl, CURLINFO_REDIRECT_COUNT, &redirects) == CURLE_OK && redirects > 0 &&
        curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_URL, &address) == CURLE_OK && address != nullptr) {
        LogPrint(LogError, LOCATED_IN("SendRequest", "Redirect to %s is not followed"), address);
    }
}

}  // namespace

_CURL_LIFECYCLE::_CURL_LIFECYCLE() {
    const CURLcode code = curl_global_init(CURL_GLOBAL_ALL);
    if (code != CURLE_OK) {
        LogPrint(
            LogError, LOCATED("Fatal: cUrl initialization failed with code: %d"), static_cast<int>(code));
    }
}

_CURL_LIFECYCLE::~_CURL_LIFECYCLE() {
    curl_global_cleanup();
}

struct Http::Record {
    Record(const std::string& clientContext, ConnectionShare* sharedConnections)
        : context(clientContext), connections(sharedConnections) {}

    // Performs the exchange, again while its failures are of a kind that may pass.
    HttpOutcome Perform(HttpExchange& exchange);
    bool Attempt(HttpExchange& exchange, Failure& failure);

    CompletionEvent event;
    std::string response;
    int status = 0;
    std::string context;
    ConnectionShare* connections;  // not owned
};

HttpOutcome Http::Record::Perform(HttpExchange& exchange) {
    Failure failure = {};
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        if (Attempt(exchange, failure)) {
            return HttpOutcome::Completed;
        }
        if (!failure.retried) {
            break;
        }
    }
    return failure.outcome;
}

bool Http::Record::Attempt(HttpExchange& exchange, Failure& failure) {
    CURL* const curl = exchange.curl.get();
    exchange.BeginAttempt();
    status = 0;
    const CURLcode code = exchange.EndAttempt(curl_easy_perform(curl));
    if (code != CURLE_OK) {
        LogPrint(
            LogDebug, LOCATED_IN("SendRequest", "Error sending request: %d %s\nError details: %s"),
            static_cast<int>(code), curl_easy_strerror(code), exchange.errorText.data());
        LogRefusedRedirect(curl, code);
        failure = FailureOf(code);
        return false;
    }
    if (exchange.IsTooLong()) {
        LogPrint(
            LogError, LOCATED_IN("SendRequest", "The answer is longer than %u bytes"),
            static_cast<unsigned>(LongestBody));
        failure = {code, HttpOutcome::NoResponse, false};
        return false;
    }
    response = Unescape(curl, std::move(exchange.received));
    long httpStatus = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &httpStatus);
    status = static_cast<int>(httpStatus);
    LogPrint(LogTrace, LOCATED_IN("SendRequest", "HTTP:\nresp(HTTP %d): %s"), status, response.c_str());
    return true;
}

Http::Http(const std::string& context, ConnectionShare* connections)
    : record(std::make_unique<Record>(context, connections)) {}

Http::~Http() = default;
Http::Http(Http&&) noexcept = default;

HttpOutcome Http::SendRequest(
    const std::string& url, HttpRequest type, const std::string& body, const std::string& proxy) {
    if (!record) {
        LogPrint(LogError, LOCATED("Fatal: not initialized"));
        return HttpOutcome::OtherFailure;
    }
    const BusyTime busy(record->event);
    HttpExchange exchange;
    if (!exchange.curl) {
        LogPrint(LogError, LOCATED("Fatal: can't init curl"));
        return HttpOutcome::OtherFailure;
    }
    LogPrint(LogTrace, LOCATED("HTTP:\nurl %s"), url.c_str());
    LogPrint(LogTrace, LOCATED("HTTP:\nreq %s"), body.c_str());
    SetTarget(exchange, url, proxy);
    if (!SetRequest(exchange, type, body)) {
        return HttpOutcome::UnsupportedRequest;
    }
    SetReceiver(exchange);
    SetCookieFile(exchange.curl.get(), CookieFileOf(record->context));
    ConnectionShare* const connections = record->connections;
    if (connections != nullptr) {
        connections->Join(exchange.curl.get());
    }
    exchange.SetBounds(url);
    const HttpOutcome outcome = record->Perform(exchange);
    if (connections != nullptr) {
        connections->Leave(exchange.curl.get(), outcome == HttpOutcome::Completed);
    }
    return outcome;
}

std::string Http::GetResponse() const {
    if (!record) {
        LogPrint(LogError, LOCATED("Use of not initialized object"));
        return {};
    }
    record->event.Wait(0);
    LogPrint(LogTrace, LOCATED("HTTP: resp %s"), record->response.c_str());
    return record->response;
}

std::string Http::TakeResponse() {
    std::string response;
    if (record) {
        record->event.Wait(0);
        LogPrint(LogTrace, LOCATED_IN("GetResponse", "HTTP: resp %s"), record->response.c_str());
        response.swap(record->response);
    }
    return response;
}

int Http::GetResponseCode() const {
    return record ? record->status : 0;
}

bool Http::IsInternetConnection() {
    const HttpOutcome outcome = SendRequest(PublicPage, HttpRequest::Get, "", "");
    if (outcome != HttpOutcome::Completed) {
        LogPrint(
            LogError, LOCATED("Problem with internet connection. SendRequest returns: %d"),
            static_cast<int>(outcome));
        return false;
    }
    return true;
}

}  // namespace Na
