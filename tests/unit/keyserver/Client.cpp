// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/keyserver/Client.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <mutex>
#include <stdexcept>

namespace {

constexpr std::chrono::seconds Deadline{20};

size_t Append(char* data, size_t size, size_t count, void* target) {
    static_cast<std::string*>(target)->append(data, size * count);
    return size * count;
}

void StartCurlOnce() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_ALL); });
}

}  // namespace

struct HttpClient::Share {
    CURLSH* handle = curl_share_init();
    ~Share() { curl_share_cleanup(handle); }
};

HttpClient::HttpClient(std::string address, std::string trusted)
    : base(std::move(address)), authority(std::move(trusted)) {
    StartCurlOnce();
    share = std::make_unique<Share>();
    curl_share_setopt(share->handle, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
}

HttpClient::~HttpClient() = default;

HttpAnswer HttpClient::Perform(void* handle) {
    HttpAnswer answer;
    std::array<char, CURL_ERROR_SIZE> problem{};
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, problem.data());
    curl_easy_setopt(handle, CURLOPT_SHARE, share->handle);
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, 60L);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, redirects > 0 ? 1L : 0L);
    curl_easy_setopt(handle, CURLOPT_MAXREDIRS, redirects);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &answer.body);
    if (!authority.empty()) {
        curl_easy_setopt(handle, CURLOPT_CAINFO, authority.c_str());
        curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
    }
    answer.curlCode = curl_easy_perform(handle);
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &answer.status);
    const char* type = nullptr;
    curl_easy_getinfo(handle, CURLINFO_CONTENT_TYPE, &type);
    answer.contentType = type == nullptr ? "" : type;
    answer.problem = problem.data();
    return answer;
}

HttpAnswer HttpClient::Post(const std::string& body, const std::string& path) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(), curl_easy_cleanup);
    curl_easy_setopt(handle.get(), CURLOPT_URL, (base + path).c_str());
    curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(handle.get(), CURLOPT_COPYPOSTFIELDS, body.data());
    return Perform(handle.get());
}

HttpAnswer HttpClient::Request(const std::string& method, const std::string& path) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(), curl_easy_cleanup);
    curl_easy_setopt(handle.get(), CURLOPT_URL, (base + path).c_str());
    curl_easy_setopt(handle.get(), CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(handle.get(), CURLOPT_NOBODY, method == "HEAD" ? 1L : 0L);
    return Perform(handle.get());
}

RawClient::RawClient(int port) : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        close(socket);
        throw std::runtime_error("cannot connect");
    }
}

RawClient::~RawClient() {
    close(socket);
}

bool RawClient::Send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

void RawClient::EndSending() {
    shutdown(socket, SHUT_WR);
}

bool RawClient::IsSilentFor(std::chrono::milliseconds time) const {
    pollfd entry{socket, POLLIN, 0};
    return poll(&entry, 1, static_cast<int>(time.count())) <= 0;
}

bool RawClient::IsOpen() const {
    char next = 0;
    return IsSilentFor(std::chrono::milliseconds(0)) || recv(socket, &next, 1, MSG_PEEK) > 0;
}

bool RawClient::ReadSome() {
    if (IsSilentFor(Deadline)) {
        return false;
    }
    std::array<char, 4096> bytes{};
    const ssize_t count = recv(socket, bytes.data(), bytes.size(), 0);
    if (count <= 0) {
        return false;
    }
    received.append(bytes.data(), static_cast<std::size_t>(count));
    return true;
}

std::string RawClient::ReadToEnd() {
    while (ReadSome()) {
    }
    return received;
}

bool RawClient::ReadUntil(const std::string& text) {
    while (received.find(text) == std::string::npos) {
        if (!ReadSome()) {
            return false;
        }
    }
    return true;
}

std::string HttpPost(const std::string& body, const std::string& moreHeaders) {
    return "POST /IssueCard.do HTTP/1.1\r\nHost: localhost\r\n" + moreHeaders +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}
