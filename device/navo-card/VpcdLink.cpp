// SPDX-License-Identifier: Apache-2.0
#include "device/navo-card/VpcdLink.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>

namespace NavoCard {

namespace {

enum Control : std::uint8_t { PowerOff = 0, PowerOn = 1, Reset = 2, AskAnswerToReset = 4, NoControl = 0xFF };

constexpr std::size_t LengthBytes = 2;

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses AddressesOf(const std::string& host, std::uint16_t port) {
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &found);
    if (error != 0) {
        throw NoReader(host + ": " + gai_strerror(error));
    }
    return {found, &freeaddrinfo};
}

void SwitchOn(int socket, int option) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, option, &on, sizeof on);
}

int ErrorOf(int socket) {
    int error = 0;
    socklen_t length = sizeof error;
    return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) == 0 ? error : errno;
}

// An answer with its length in front of it.
Bytes Message(const Bytes& answer) {
    if (answer.size() > LongestMessage) {
        std::cerr << "navo-card: a response of " << answer.size()
                  << " bytes is longer than a virtual reader takes; it gets 6F00\n";
        return {0, 2, 0x6F, 0x00};
    }
    Bytes message = GlobalPlatform::BigEndian(answer.size(), LengthBytes);
    GlobalPlatform::Append(message, answer);
    return message;
}

}  // namespace

VpcdLink::VpcdLink(const std::string& host, std::uint16_t port, int stop) : stopDescriptor(stop) {
    const Addresses addresses = AddressesOf(host, port);
    int error = ECONNREFUSED;
    for (const addrinfo* each = addresses.get(); each != nullptr && error != 0; each = each->ai_next) {
        error = Connect(*each);
    }
    if (error != 0 && !stopped) {
        throw NoReader(host + " port " + std::to_string(port) + ": " + std::strerror(error));
    }
}

VpcdLink::~VpcdLink() {
    Disconnect();
}

// 0, or the number of what went wrong.
int VpcdLink::Connect(const addrinfo& address) {
    socket =
        ::socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol);
    if (socket < 0) {
        return errno;
    }
    int error = connect(socket, address.ai_addr, address.ai_addrlen) == 0 ? 0 : errno;
    if (error == EINPROGRESS) {
        error = Await(POLLOUT) ? ErrorOf(socket) : ECANCELED;
    }
    if (error != 0) {
        Disconnect();
    } else {
        SwitchOn(socket, TCP_NODELAY);
    }
    return error;
}

void VpcdLink::Disconnect() {
    if (socket >= 0) {
        close(socket);
    }
    socket = -1;
}

// False when everything has to end, or the time is over.
bool VpcdLink::Await(short event, int milliseconds) {
    std::array<pollfd, 2> watched{{{socket, event, 0}, {stopDescriptor, POLLIN, 0}}};
    int ready = 0;
    do {
        ready = poll(watched.data(), watched.size(), milliseconds);
    } while (ready < 0 && errno == EINTR);
    stopped = watched[1].revents != 0;
    return ready > 0 && !stopped;
}

bool VpcdLink::IsTakenWithin(std::chrono::milliseconds time) {
    return Await(POLLIN, static_cast<int>(time.count()));
}

// The reader sends a length and what follows in two writes, and its system keeps the second one back until
// the first is acknowledged. Acknowledging at once saves 40 ms for each command; the system takes the option
// back after a while, so that it is set again and again.
bool VpcdLink::ReadExactly(std::uint8_t* target, std::size_t length) {
    for (std::size_t done = 0; done < length;) {
        const ssize_t count = recv(socket, target + done, length - done, 0);
        if (count == 0) {
            return false;
        }
        if (count > 0) {
            done += static_cast<std::size_t>(count);
            SwitchOn(socket, TCP_QUICKACK);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (!Await(POLLIN)) {
                return false;
            }
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

// Length and answer in one write.
bool VpcdLink::Answer(const Bytes& answer) {
    const Bytes message = Message(answer);
    for (std::size_t done = 0; done < message.size();) {
        const ssize_t count = send(socket, message.data() + done, message.size() - done, MSG_NOSIGNAL);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (!Await(POLLOUT)) {
                return false;
            }
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool VpcdLink::Handle(InsertedCard& card, const Bytes& message) {
    if (message.empty()) {
        return true;
    }
    const std::uint8_t control = message.size() == 1 ? message.front() : std::uint8_t{NoControl};
    switch (control) {
        case PowerOff:
            card.PowerOff();
            return true;
        case PowerOn:
            card.PowerOn();
            return true;
        case Reset:
            card.Reset();
            return true;
        case AskAnswerToReset:
            return Answer(card.AnswerToReset());
        default:
            return Answer(card.Transmit(message));
    }
}

LinkEnd VpcdLink::Serve(InsertedCard& card) {
    std::array<std::uint8_t, LengthBytes> length{};
    Bytes message;
    while (!stopped && ReadExactly(length.data(), length.size())) {
        message.resize(std::size_t{length[0]} << 8 | length[1]);
        if (!ReadExactly(message.data(), message.size()) || !Handle(card, message)) {
            break;
        }
    }
    return stopped ? LinkEnd::Stopped : LinkEnd::ReaderGone;
}

}  // namespace NavoCard
