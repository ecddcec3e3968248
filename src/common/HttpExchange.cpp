// SPDX-License-Identifier: Apache-2.0
#include "common/HttpExchange.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>

#include "common/Debug.h"

namespace Na {

namespace {

// The file under whose name the write callback is known in the log.
constexpr char HttpSource[] = "/src/common/Http.cpp";

constexpr int SilenceTimeoutMilliseconds = 60000;
constexpr long MaximumRedirects = 30;
// Doubled ten times it holds the longest body, and no more.
constexpr std::size_t FirstReservation = LongestBody / 1024 + 1;

// In a line of libcurl's own about cookies, whichever way it is written.
constexpr char Cookie[] = {'o', 'o', 'k', 'i', 'e'};

// Of the attempt under way: the write callback knows the text alone.
bool memoryLacked = false;

bool BeginsWith(const char* data, std::size_t size, const char* name) {
    const std::size_t length = std::strlen(name);
    return size >= length && strncasecmp(data, name, length) == 0;
}

// Headers that would hand a session or a password to whoever reads along.
bool IsSecret(const char* data, std::size_t size) {
    for (const char* const name :
         {"Cookie:", "Set-Cookie:", "Authorization:", "Proxy-Authorization:", "WWW-Authenticate:"}) {
        if (BeginsWith(data, size, name)) {
            return true;
        }
    }
    return false;
}

// One call can bring several lines: a request's whole head comes at once.
void LogLines(const char* data, std::size_t size) {
    while (size > 0) {
        const auto* const newline = static_cast<const char*>(std::memchr(data, '\n', size));
        const std::size_t length = newline != nullptr ? static_cast<std::size_t>(newline - data) + 1 : size;
        if (!IsSecret(data, length)) {
            LogPrint(LogTrace, LOCATED_IN("SendRequest", "%.*s"), static_cast<int>(length), data);
        }
        data += length;
        size -= length;
    }
}

// Bodies, TLS records and what libcurl says of cookies stay unsaid.
int NoteWhatLibcurlDoes(CURL*, curl_infotype type, char* data, std::size_t size, void* target) noexcept {
    auto& exchange = *static_cast<HttpExchange*>(target);
    switch (type) {
        case CURLINFO_HEADER_OUT:
            ++exchange.unanswered;
            LogLines(data, size);
            break;
        case CURLINFO_HEADER_IN:
            exchange.unanswered = 0;
            LogLines(data, size);
            break;
        case CURLINFO_TEXT:
            if (std::search(data, data + size, std::begin(Cookie), std::end(Cookie)) == data + size) {
                LogLines(data, size);
            }
            break;
        default:
            break;
    }
    return 0;
}

// A kept connection whose link went dead would otherwise block the service until the system gives up
// resending, after many minutes. A connection that is asked for while a request has no answer yet is
// libcurl's for sending it again.
int PrepareSocket(void* target, curl_socket_t socket, curlsocktype) noexcept {
    const int limit = SilenceTimeoutMilliseconds;
    setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &limit, sizeof limit);
    auto* const exchange = static_cast<HttpExchange*>(target);
    if (exchange != nullptr && exchange->unanswered > 0) {
        exchange->stoppedResend = true;
        return CURL_SOCKOPT_ERROR;
    }
    return CURL_SOCKOPT_OK;
}

// Whether libcurl can do without signals: it looks names up in a thread, and the process itself ignores that
// the other end of a socket has gone, as a user of GLib's sockets does.
bool CanDoWithoutSignals() {
    struct sigaction handling = {};
    return (curl_version_info(CURLVERSION_NOW)->features & CURL_VERSION_ASYNCHDNS) != 0 &&
           sigaction(SIGPIPE, nullptr, &handling) == 0 && handling.sa_handler == SIG_IGN;
}

void SetProtocols(CURL* curl, bool encryptedOnly) {
#if LIBCURL_VERSION_NUM >= 0x075500
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, encryptedOnly ? "https" : "http,https");
#else
    const long any = CURLPROTO_HTTP | CURLPROTO_HTTPS;
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS, any);
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS, encryptedOnly ? long(CURLPROTO_HTTPS) : any);
#endif
}

}  // namespace

std::size_t curl_write_cb(char* data, std::size_t size, std::size_t count, void* target) noexcept {
    auto& text = *static_cast<std::string*>(target);
    const std::size_t before = text.size();
    const std::size_t room = LongestBody + 1 - std::min(before, LongestBody + 1);
    const std::size_t kept = std::min(size * count, room);
    try {
        if (text.capacity() < FirstReservation) {
            text.reserve(FirstReservation);
        }
        text.append(data, kept);
    } catch (const std::bad_alloc&) {
        memoryLacked = true;
        return size * count;
    }
    LogPrint(LogTrace, LOCATED_AS(HttpSource, __func__, "WCB: data:\n"));
    LogPrint(LogTrace, LOCATED_AS(HttpSource, __func__, "%s"), text.c_str() + before);
    return size * count;
}

void HttpExchange::AddHeader(const char* header) {
    if (curl_slist* const longer = curl_slist_append(headers.get(), header)) {
        static_cast<void>(headers.release());
        headers.reset(longer);
    }
}

void HttpExchange::SetBounds(const std::string& url) {
    // A redirect loop has no end of its own with a libcurl older than 8.3.
    curl_easy_setopt(curl.get(), CURLOPT_MAXREDIRS, MaximumRedirects);
    curl_easy_setopt(curl.get(), CURLOPT_SOCKOPTFUNCTION, PrepareSocket);
    curl_easy_setopt(curl.get(), CURLOPT_SOCKOPTDATA, this);
    SetProtocols(curl.get(), BeginsWith(url.data(), url.size(), "https:"));
    curl_easy_setopt(curl.get(), CURLOPT_DEBUGFUNCTION, NoteWhatLibcurlDoes);
    curl_easy_setopt(curl.get(), CURLOPT_DEBUGDATA, this);
    // It would otherwise ignore the signal and then not, a dozen times in each exchange.
    if (CanDoWithoutSignals()) {
        curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    }
}

void HttpExchange::BeginAttempt() {
    received.clear();
    errorText[0] = '\0';
    unanswered = 0;
    stoppedResend = false;
    memoryLacked = false;
}

CURLcode HttpExchange::EndAttempt(CURLcode code) {
    if (stoppedResend) {
        std::snprintf(errorText.data(), errorText.size(), "The kept connection died before an answer came");
        return CURLE_GOT_NOTHING;
    }
    if (code == CURLE_OK && memoryLacked) {
        std::snprintf(errorText.data(), errorText.size(), "No memory for the answer");
        return CURLE_OUT_OF_MEMORY;
    }
    return code;
}

}  // namespace Na
