// SPDX-License-Identifier: Apache-2.0
// A bus that goes between its greeting and the service's name does not take the service with it.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <thread>

#include "tests/support/Descriptor.h"
#include "tests/support/service/PortOnBus.h"

namespace {

// Listens at an address of its own and closes each connection once it has answered the first call, "Hello".
class BriefBus {
public:
    explicit BriefBus(const std::string& path) : socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        EXPECT_LT(path.size(), sizeof address.sun_path);
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(socket.Get(), 1), 0);
        worker = std::thread([this] { Serve(); });
    }
    ~BriefBus() {
        shutdown(socket.Get(), SHUT_RDWR);
        worker.join();
    }
    BriefBus(const BriefBus&) = delete;
    BriefBus& operator=(const BriefBus&) = delete;

private:
    void Serve() const {
        for (;;) {
            const Descriptor peer(accept4(socket.Get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (peer.Get() < 0) {
                return;
            }
            Authenticate(peer);
            AnswerHello(peer);
        }
    }

    static void Send(const Descriptor& peer, const void* data, std::size_t size) {
        EXPECT_EQ(send(peer.Get(), data, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
    }

    // Whoever it is comes in; a mechanism is asked for by name, with or without what it says first.
    static std::string AnswerTo(const std::string& line) {
        const auto has = [&line](const char* text) { return line.find(text) != std::string::npos; };
        if (has("AUTH EXTERNAL ") || has("DATA")) {
            return "OK 0123456789abcdef0123456789abcdef\r\n";
        }
        if (has("AUTH EXTERNAL")) {
            return "DATA\r\n";
        }
        return has("AUTH") ? "REJECTED EXTERNAL\r\n" : "ERROR\r\n";
    }

    // The lines of D-Bus's authentication; the last one is read and not what follows.
    static void Authenticate(const Descriptor& peer) {
        std::string line;
        for (char character = 0; recv(peer.Get(), &character, 1, 0) == 1;) {
            line += character;
            if (character != '\n') {
                continue;
            }
            if (line == "BEGIN\r\n") {
                return;
            }
            const std::string answer = AnswerTo(line);
            Send(peer, answer.data(), answer.size());
            line.clear();
        }
    }

    static void AnswerHello(const Descriptor& peer) {
        std::array<guchar, 4096> received = {};
        const ssize_t size = recv(peer.Get(), received.data(), received.size(), 0);
        GDBusMessage* const hello = g_dbus_message_new_from_blob(
            received.data(), static_cast<gsize>(std::max<ssize_t>(size, 0)), G_DBUS_CAPABILITY_FLAGS_NONE,
            nullptr);
        ASSERT_NE(hello, nullptr);
        GDBusMessage* const reply = g_dbus_message_new_method_reply(hello);
        g_dbus_message_set_sender(reply, "org.freedesktop.DBus");
        g_dbus_message_set_destination(reply, ":1.1");
        g_dbus_message_set_body(reply, g_variant_new("(s)", ":1.1"));
        gsize length = 0;
        guchar* const blob = g_dbus_message_to_blob(reply, &length, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
        Send(peer, blob, length);
        g_free(blob);
        g_object_unref(reply);
        g_object_unref(hello);
    }

    Descriptor socket;
    std::thread worker;
};

volatile std::sig_atomic_t terminations = 0;

// Called when GLib has done what it does for a closed connection.
void NoteClosing(GDBusConnection*, gboolean, GError*, gpointer gone) {
    *static_cast<bool*>(gone) = true;
}

class ShortLivedBus : public PortOnBus {
protected:
    ShortLivedBus() : PortOnBus(false) {
        former = std::signal(SIGTERM, [](int) { terminations = terminations + 1; });
        terminations = 0;
    }
    ~ShortLivedBus() override { std::signal(SIGTERM, former); }

    void AwaitTheEndOfTheBus() {
        bool gone = false;
        const SharedConnection shared;
        const gulong handler = g_signal_connect_after(shared.Get(), "closed", G_CALLBACK(NoteClosing), &gone);
        WaitUntil([&] { return gone; }, "the bus to go");
        g_signal_handler_disconnect(shared.Get(), handler);
    }

private:
    void (*former)(int);
};

TEST_F(ShortLivedBus, LeavesTheServiceAlive) {
    const std::string path = world.Path() / "brief";
    const BriefBus brief(path);
    ForgetSharedConnection();
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
    for (int run = 0; run < 20; ++run) {
        Listen();
        AwaitTheEndOfTheBus();
        ASSERT_EQ(terminations, 0) << "run " << run;
        ForgetSharedConnection();
    }
}

}  // namespace
