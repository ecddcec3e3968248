#include "common/Http.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "common/Debug.h"
#include "common/Locations.h"
#include "common/Owned.h"
#include "common/Utils.h"

namespace Na {

namespace {

constexpr long ConnectTimeoutSeconds = 20;
constexpr int SilenceTimeoutMilliseconds = 20000;
constexpr long MaximumRedirects = 30;
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

using Headers = OwnedBy<curl_slist, curl_slist_free_all>;

// What libcurl works with during one exchange. The handle goes before the buffers that it knows of.
struct Exchange {
    std::array<char, CURL_ERROR_SIZE> errorText{};
    std::string received;
    OwnedBy<CURL, curl_easy_cleanup> curl{curl_easy_init()};
    Headers headers;
};

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

void AddHeader(Headers& headers, const char* header) {
    if (curl_slist* const longer = curl_slist_append(headers.get(), header)) {
        static_cast<void>(headers.release());
        headers.reset(longer);
    }
}

std::string CookieFile(std::string context) {
    static const std::string replaced = ";:,/\\*+";
    std::replace_if(
        context.begin(), context.end(),
        [](char character) { return replaced.find(character) != std::string::npos; }, '_');
    return std::string(Locations::CookieDirectory) + "/" + context;
}

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

void SetTarget(Exchange& exchange, const std::string& url, const std::string& proxy) {
    CURL* const curl = exchange.curl.get();
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, exchange.errorText.data());
    SetProxy(curl, proxy);
    curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, ConnectTimeoutSeconds);
    curl_easy_setopt(curl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    AddHeader(exchange.headers, "User-Agent: libcurl");
    AddHeader(exchange.headers, "Accept: */*");
}

// The server takes the body without any blank, also inside of values.
void SetPostBody(Exchange& exchange, std::string body) {
    AddHeader(exchange.headers, "Content-type: application/x-www-form-urlencoded");
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

bool SetRequest(Exchange& exchange, HttpRequest type, const std::string& body) {
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

void SetReceiver(Exchange& exchange) {
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
    if (!SystemMkDir(folder)) {
        LogPrint(LogWarning, LOCATED_IN("SendRequest", "Can't use cookies. System error"));
        return;
    }
    curl_easy_setopt(curl, CURLOPT_COOKIEFILE, file.c_str());
    curl_easy_setopt(curl, CURLOPT_COOKIEJAR, file.c_str());
}

// A kept connection whose link went dead would otherwise block the service until the system gives up
// resending, after many minutes.
int LimitSilence(void*, curl_socket_t socket, curlsocktype) {
    const int limit = SilenceTimeoutMilliseconds;
    setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &limit, sizeof limit);
    return CURL_SOCKOPT_OK;
}

// A redirect loop has no end of its own with a libcurl older than 8.3.
void SetConnection(CURL* curl, const ConnectionShare* connections) {
    if (connections != nullptr) {
        connections->Join(curl);
    }
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, MaximumRedirects);
    curl_easy_setopt(curl, CURLOPT_SOCKOPTFUNCTION, LimitSilence);
}

std::string Unescape(CURL* curl, const std::string& text) {
    int length = 0;
    const OwnedBy<void, curl_free> plain(
        curl_easy_unescape(curl, text.c_str(), static_cast<int>(text.size()), &length));
    return plain ? std::string(static_cast<const char*>(plain.get()), static_cast<std::size_t>(length))
                 : std::string();
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

std::size_t curl_write_cb(char* data, std::size_t size, std::size_t count, void* target) {
    auto* const text = static_cast<std::string*>(target);
    const std::size_t before = text->size();
    text->append(data, size * count);
    LogPrint(LogTrace, LOCATED("WCB: data:\n"));
    LogPrint(LogTrace, LOCATED("%s"), text->c_str() + before);
    return size * count;
}

struct Http::Record {
    Record(const std::string& clientContext, const ConnectionShare* jobConnections)
        : context(clientContext), connections(jobConnections) {}

    // Performs the exchange, again while its failures are of a kind that may pass.
    HttpOutcome Perform(Exchange& exchange);
    bool Attempt(Exchange& exchange, Failure& failure);

    CompletionEvent event;
    std::string response;
    int status = 0;
    std::string context;
    const ConnectionShare* connections;  // not owned
};

HttpOutcome Http::Record::Perform(Exchange& exchange) {
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

bool Http::Record::Attempt(Exchange& exchange, Failure& failure) {
    CURL* const curl = exchange.curl.get();
    exchange.received.clear();
    status = 0;
    const CURLcode code = curl_easy_perform(curl);
    if (code != CURLE_OK) {
        LogPrint(
            LogDebug, LOCATED_IN("SendRequest", "Error sending request: %d %s\nError details: %s"),
            static_cast<int>(code), curl_easy_strerror(code), exchange.errorText.data());
        failure = FailureOf(code);
        return false;
    }
    response = Unescape(curl, exchange.received);
    long httpStatus = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &httpStatus);
    status = static_cast<int>(httpStatus);
    LogPrint(LogTrace, LOCATED_IN("SendRequest", "HTTP:\nresp(HTTP %d): %s"), status, response.c_str());
    return true;
}

Http::Http(const std::string& context, const ConnectionShare* connections)
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
    Exchange exchange;
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
    SetCookieFile(exchange.curl.get(), CookieFile(record->context));
    SetConnection(exchange.curl.get(), record->connections);
    return record->Perform(exchange);
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
