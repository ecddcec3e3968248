// SPDX-License-Identifier: Apache-2.0
#include "navo/Monitor.h"

#include <deque>
#include <functional>
#include <mutex>
#include <utility>

#include "client/lib/Bus.h"
#include "client/lib/Messages.h"
#include "navo/Vocabulary.h"

namespace Navo {
namespace {

constexpr char Calls[] = "type='method_call',interface='com.orvenco.navoa'";
constexpr char Signals[] = "type='signal',interface='com.orvenco.navoa',member='Progress'";
constexpr char Owners[] =
    "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='com.orvenco.navoa'";

using Events = std::deque<MonitorEvent>;

std::string TextAt(GVariant* body, std::size_t index) {
    const VariantPtr child(g_variant_get_child_value(body, index));
    return g_variant_get_string(child.get(), nullptr);
}

void ReadOwner(GVariant* body, Events& events) {
    if (body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE("(sss)"))) {
        return;
    }
    const std::string before = TextAt(body, 1);
    const std::string after = TextAt(body, 2);
    if (!before.empty()) {
        events.push_back({MonitorEvent::Kind::ServiceLeft, before, 0, "", ""});
    }
    if (!after.empty()) {
        events.push_back({MonitorEvent::Kind::ServiceCame, after, 0, "", ""});
    }
}

void ReadProgress(GDBusMessage* message, GVariant* body, Events& events) {
    const char* const path = g_dbus_message_get_path(message);
    if (path == nullptr || body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE("(s)"))) {
        return;
    }
    const std::string from = path;
    const std::string client = from.substr(from.rfind('/') + 1);
    events.push_back({MonitorEvent::Kind::Progress, "", 0, client, TextAt(body, 0)});
}

// Of a request nothing but its command: the rest may be keys.
void ReadCall(GDBusMessage* message, GVariant* body, Events& events) {
    if (body == nullptr || g_variant_n_children(body) == 0) {
        return;
    }
    const VariantPtr map(g_variant_get_child_value(body, 0));
    const char* const sender = g_dbus_message_get_sender(message);
    if (sender == nullptr || !g_variant_is_of_type(map.get(), G_VARIANT_TYPE("a{ss}"))) {
        return;
    }
    const char* text = "";
    if (g_variant_lookup(map.get(), Key::Session, "&s", &text) != FALSE) {
        events.push_back({MonitorEvent::Kind::Session, sender, 0, "", text});
    } else if (g_variant_lookup(map.get(), Key::Cmd, "&s", &text) != FALSE) {
        events.push_back({MonitorEvent::Kind::Request, sender, 0, "", text});
    }
}

// What the thread that reads from the bus leaves for the one that waits.
class Inbox {
public:
    explicit Inbox(GMainContext* ofContext) : context(ofContext) {}

    // Whether the message is one of those to watch.
    bool Take(GDBusMessage* message) {
        Events events;
        GVariant* const body = g_dbus_message_get_body(message);
        const std::string interface = Interface(message);
        const bool isSignal = g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_SIGNAL;
        const bool isCall = g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL;
        if (isSignal && interface == DaemonName && Member(message) == "NameOwnerChanged") {
            ReadOwner(body, events);
        } else if (isSignal && interface == ServiceInterface) {
            ReadProgress(message, body, events);
        } else if (isCall && interface == ServiceInterface) {
            ReadCall(message, body, events);
        }
        const std::lock_guard<std::mutex> lock(mutex);
        for (MonitorEvent& event : events) {
            waiting.push_back(std::move(event));
        }
        g_main_context_wakeup(context);
        return isCall || (isSignal && interface == ServiceInterface);
    }

    Events Empty() {
        const std::lock_guard<std::mutex> lock(mutex);
        return std::exchange(waiting, {});
    }

private:
    static std::string Interface(GDBusMessage* message) {
        const char* const interface = g_dbus_message_get_interface(message);
        return interface != nullptr ? interface : "";
    }
    static std::string Member(GDBusMessage* message) {
        const char* const member = g_dbus_message_get_member(message);
        return member != nullptr ? member : "";
    }

    GMainContext* context;
    std::mutex mutex;
    Events waiting;
};

using SharedInbox = std::shared_ptr<Inbox>;

// What a filter is given goes to the thread of GDBus, which hands it over under locks that nobody else can
// see.
std::mutex handOver;

std::unique_ptr<SharedInbox> ForFilter(const SharedInbox& inbox) {
    const std::lock_guard<std::mutex> guard(handOver);
    return std::make_unique<SharedInbox>(inbox);
}

SharedInbox TakeOver(gpointer given) {
    const std::lock_guard<std::mutex> guard(handOver);
    return *static_cast<SharedInbox*>(given);
}

// A monitor must not answer the calls that it sees, so they end here.
GDBusMessage* Filter(GDBusConnection*, GDBusMessage* message, gboolean isIncoming, gpointer inbox) {
    const SharedInbox kept = TakeOver(inbox);
    if (isIncoming != FALSE && kept->Take(message)) {
        g_object_unref(message);
        return nullptr;
    }
    return message;
}

void FreeInbox(gpointer inbox) {
    const std::unique_ptr<SharedInbox> owned(static_cast<SharedInbox*>(inbox));
}

}  // namespace

struct NAVO_HIDDEN Monitor::Inner {
    explicit Inner(const SessionOptions& options)
        : cancellation(options.cancellation),
          questions(options.busAddress, cancellation),
          watched(options.busAddress, cancellation),
          inbox(std::make_shared<Inbox>(watched.Context())) {
        auto shared = ForFilter(inbox);
        filter = g_dbus_connection_add_filter(watched.Connection(), Filter, shared.release(), FreeInbox);
        owner = questions.OwnerOf(ServiceName);
        seesSessions = BecomeMonitor();
        if (!seesSessions) {
            for (const char* const rule : {Signals, Owners}) {
                const VariantPtr added = watched.AskDaemon("AddMatch", g_variant_new("(s)", rule), "()");
            }
        }
    }

    ~Inner() { g_dbus_connection_remove_filter(watched.Connection(), filter); }
    Inner(const Inner&) = delete;
    Inner& operator=(const Inner&) = delete;

    bool BecomeMonitor() {
        const char* const rules[] = {Calls, Signals, Owners, nullptr};
        const MessagePtr message(g_dbus_message_new_method_call(
            DaemonName, DaemonPath, "org.freedesktop.DBus.Monitoring", "BecomeMonitor"));
        g_dbus_message_set_body(message.get(), g_variant_new("(^asu)", rules, 0U));
        return watched.Exchange(message.get(), {}).reply != nullptr;
    }

    bool IsCancelled() const { return cancellation != nullptr && cancellation->IsCancelled(); }

    const Cancellation* cancellation;
    Bus questions;  // a monitor may ask nothing any more
    Bus watched;
    SharedInbox inbox;
    std::string owner;  // of the service's name, when it began
    guint filter = 0;
    bool seesSessions = false;
};

const char* NameOf(MonitorEvent::Kind kind) {
    switch (kind) {
        case MonitorEvent::Kind::ServiceCame:
            return "service-came";
        case MonitorEvent::Kind::ServiceLeft:
            return "service-left";
        case MonitorEvent::Kind::Session:
            return "session";
        case MonitorEvent::Kind::Request:
            return "request";
        case MonitorEvent::Kind::Progress:
            return "progress";
    }
    return "unknown";
}

Monitor::Monitor(const SessionOptions& options) : inner(std::make_unique<Inner>(options)) {}

Monitor::~Monitor() = default;

bool Monitor::SeesSessions() const {
    return inner->seesSessions;
}

void Monitor::Run(const std::function<void(const MonitorEvent&)>& onEvent) {
    const auto tell = [&](MonitorEvent event) {
        event.process = event.connection.empty() ? 0 : inner->questions.ProcessOf(event.connection);
        onEvent(event);
    };
    if (!inner->owner.empty()) {
        tell({MonitorEvent::Kind::ServiceCame, inner->owner, 0, "", ""});
    }
    const ContextScope scope(inner->watched.Context());
    const WakeAtCancellation wakeUp(inner->cancellation, inner->watched.Context());
    while (!inner->IsCancelled()) {
        for (const MonitorEvent& event : inner->inbox->Empty()) {
            tell(event);
        }
        if (g_dbus_connection_is_closed(inner->watched.Connection()) != FALSE) {
            throw ClientError(ErrorKind::NoBus, "the bus has gone");
        }
        // A question above may have taken the wake-up.
        if (!inner->IsCancelled()) {
            g_main_context_iteration(inner->watched.Context(), TRUE);
        }
    }
}

}  // namespace Navo
