// SPDX-License-Identifier: Apache-2.0
// Descriptors that a client attaches to its messages are closed as they come.
#include <gio/gunixfdlist.h>
#include <gmock/gmock.h>
#include <poll.h>

#include "tests/support/Descriptor.h"
#include "tests/support/Eventually.h"
#include "tests/support/service/PortOnBus.h"
#include "tests/support/service/ResultTexts.h"

namespace {

constexpr char Service[] = "com.orvenco.navoa";
constexpr char Object[] = "/com/orvenco/navoa";

class AttachedDescriptors : public PortOnBus {
protected:
    // Sends a request with so many descriptors, all of them the pipe's writing end, which nobody else has
    // then.
    Descriptor Attach(int count, const char* method = "Cmd") {
        DescriptorPair pipe = NewPipe();
        GUnixFDList* const list = g_unix_fd_list_new();
        for (int i = 0; i < count; ++i) {
            EXPECT_GE(g_unix_fd_list_append(list, pipe.second.Get(), nullptr), 0);
        }
        GVariantBuilder map;
        g_variant_builder_init(&map, G_VARIANT_TYPE("a{ss}"));
        g_variant_builder_add(&map, "{ss}", "Cmd", "66");
        GDBusMessage* const message = g_dbus_message_new_method_call(Service, Object, Service, method);
        g_dbus_message_set_body(message, g_variant_new("(a{ss})", &map));
        g_dbus_message_set_unix_fd_list(message, list);
        g_object_unref(list);
        GDBusConnection* const connection = client->Connection();
        EXPECT_TRUE(g_dbus_connection_send_message(
            connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr));
        EXPECT_TRUE(g_dbus_connection_flush_sync(connection, nullptr, nullptr));
        g_object_unref(message);
        return std::move(pipe.first);
    }

    // Whether the writing end is closed everywhere before the patience ends.
    static bool AreClosed(const Descriptor& readingEnd) {
        pollfd end = {readingEnd.Get(), 0, 0};
        return poll(&end, 1, std::chrono::milliseconds(Patience).count()) == 1 &&
               (end.revents & POLLHUP) != 0;
    }
};

// The main context does not turn here, as while a job runs.
TEST_F(AttachedDescriptors, AreClosedBeforeTheRequestIsServed) {
    ASSERT_EQ(Session("Open"), "Success");
    EXPECT_TRUE(AreClosed(Attach(1)));
    EXPECT_TRUE(AreClosed(Attach(16)));
    EXPECT_EQ(Call("Cmd", {{"Cmd", "66"}}), ResultText::WrongCommand) << "the session goes on";
}

TEST_F(AttachedDescriptors, OfACallToNothingAreClosedToo) {
    EXPECT_TRUE(AreClosed(Attach(3, "Nothing")));
}

}  // namespace
