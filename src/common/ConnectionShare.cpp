// SPDX-License-Identifier: Apache-2.0
#include "common/ConnectionShare.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <ctime>

namespace Na {

namespace {

constexpr unsigned FirstVersionThatShares = 0x073900;  // 7.57.0
constexpr std::int64_t LongestIdle = 60;
constexpr std::int64_t LongestLife = 600;
constexpr std::int64_t WorthAsking = 1;

std::int64_t SecondsNow() {
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec;
}

union SocketAddress {
    sockaddr any;
    sockaddr_in version4;
    sockaddr_in6 version6;
};

// Reads an IP address in text; gives its length, 0 when the text is none.
socklen_t Read(const std::string& text, long port, SocketAddress& address) {
    const auto networkPort = htons(static_cast<std::uint16_t>(port));
    std::memset(&address, 0, sizeof address);
    if (inet_pton(AF_INET, text.c_str(), &address.version4.sin_addr) == 1) {
        address.version4.sin_family = AF_INET;
        address.version4.sin_port = networkPort;
        return sizeof address.version4;
    }
    if (inet_pton(AF_INET6, text.c_str(), &address.version6.sin6_addr) == 1) {
        address.version6.sin6_family = AF_INET6;
        address.version6.sin6_port = networkPort;
        return sizeof address.version6;
    }
    return 0;
}

std::string TextOf(const SocketAddress& address) {
    char text[INET6_ADDRSTRLEN] = {};
    const void* const bytes = address.any.sa_family == AF_INET
                                  ? static_cast<const void*>(&address.version4.sin_addr)
                                  : static_cast<const void*>(&address.version6.sin6_addr);
    const char* const written = inet_ntop(address.any.sa_family, bytes, text, sizeof text);
    return written != nullptr ? written : "";
}

// The local address from which the system would now speak to another; empty when it cannot be told.
// Connecting a datagram socket sends nothing.
std::string AddressTowards(const std::string& remote, long port) {
    SocketAddress address;
    socklen_t length = Read(remote, port, address);
    const int probe = length > 0 ? socket(address.any.sa_family, SOCK_DGRAM | SOCK_CLOEXEC, 0) : -1;
    if (probe < 0) {
        return {};
    }
    const bool known =
        connect(probe, &address.any, length) == 0 && getsockname(probe, &address.any, &length) == 0;
    close(probe);
    return known ? TextOf(address) : std::string();
}

std::string TextInfo(CURL* exchange, CURLINFO info) {
    char* text = nullptr;
    return curl_easy_getinfo(exchange, info, &text) == CURLE_OK && text != nullptr ? text : "";
}

}  // namespace

ConnectionShare& ConnectionShare::OfProcess() {
    static ConnectionShare connections;
    return connections;
}

bool ConnectionShare::IsStale() const {
    const std::int64_t now = SecondsNow();
    const std::int64_t idle = now - lastUsed;
    if (idle >= LongestIdle || now - made >= LongestLife) {
        return true;
    }
    // The exchanges of one script follow each other too fast to ask each time.
    return idle >= WorthAsking && !localAddress.empty() &&
           AddressTowards(remoteAddress, remotePort) != localAddress;
}

void ConnectionShare::Prepare(const Route& route) {
    if (share && (!(route == current) || IsStale())) {
        Close();
    }
    current = route;
}

void ConnectionShare::Close() {
    share.reset();
    localAddress.clear();
}

void ConnectionShare::Join(CURL* exchange) {
    if (!share && curl_version_info(CURLVERSION_NOW)->version_num >= FirstVersionThatShares) {
        share.reset(curl_share_init());
        made = SecondsNow();
        lastUsed = made;
        if (share && curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT) != CURLSHE_OK) {
            share.reset();
        }
        if (share) {
            curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
        }
    }
    if (share) {
        curl_easy_setopt(exchange, CURLOPT_SHARE, share.get());
    }
}

void ConnectionShare::Leave(CURL* exchange, bool completed) {
    if (!share) {
        return;
    }
    if (!completed) {
        // The exchange still holds the share, which cannot go before it has let go.
        curl_easy_setopt(exchange, CURLOPT_SHARE, nullptr);
        Close();
        return;
    }
    lastUsed = SecondsNow();
    localAddress = TextInfo(exchange, CURLINFO_LOCAL_IP);
    remoteAddress = TextInfo(exchange, CURLINFO_PRIMARY_IP);
    long port = 0;
    remotePort = curl_easy_getinfo(exchange, CURLINFO_PRIMARY_PORT, &port) == CURLE_OK ? port : 0;
}

}  // namespace Na
