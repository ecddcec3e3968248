// SPDX-License-Identifier: Apache-2.0
// The least that answers the service's clients at all: the same as navo-floor-service with systemd's bus
// library in place of GDBus, and so without a thread of its own for the bus.
//   navo-floor-sdbus [--silent] [SERVER]
#include <systemd/sd-bus.h>

#include <cstring>

#include "bench/floors/Conduct.h"
#include "bench/floors/Owners.h"

namespace {

using Message = Floor::Owned<sd_bus_message, sd_bus_message_unref>;
using Bus = Floor::Owned<sd_bus, sd_bus_flush_close_unref>;

struct Service {
    Floor::Conduct conduct;
    bool ends = false;
};

unsigned ProcessOf(sd_bus* bus, const char* sender) {
    sd_bus_message* raw = nullptr;
    sd_bus_call_method(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", nullptr, &raw, "s", sender);
    const Message reply(raw);
    unsigned process = 0;
    if (reply) {
        sd_bus_message_read(reply.get(), "u", &process);
    }
    return process;
}

void Answer(sd_bus_message* call, const char* text) {
    sd_bus_message* raw = nullptr;
    sd_bus_message_new_method_return(call, &raw);
    const Message reply(raw);
    sd_bus_message_append(raw, "a{ss}", 1, "ReturnCode", text);
    sd_bus_send(nullptr, raw, nullptr);
}

// Hands each pair of the map to `take`; texts stay the message's.
template <typename Take>
void Read(sd_bus_message* message, Take take) {
    sd_bus_message_rewind(message, 1);
    sd_bus_message_enter_container(message, 'a', "{ss}");
    const char* key = nullptr;
    const char* value = nullptr;
    while (sd_bus_message_read(message, "{ss}", &key, &value) > 0) {
        take(key, value);
    }
    sd_bus_message_exit_container(message);
}

std::string TextOf(sd_bus_message* message, const char* wanted) {
    std::string text;
    Read(message, [&](const char* key, const char* value) {
        if (std::strcmp(key, wanted) == 0) {
            text = value;
        }
    });
    return text;
}

int Handle(sd_bus_message* message, void* data, sd_bus_error*) {
    if (sd_bus_message_is_method_call(message, Floor::Name, "Session") <= 0 &&
        sd_bus_message_is_method_call(message, Floor::Name, "Cmd") <= 0) {
        return 0;
    }
    auto* const service = static_cast<Service*>(data);
    sd_bus* const bus = sd_bus_message_get_bus(message);
    const unsigned process = ProcessOf(bus, sd_bus_message_get_sender(message));
    Floor::Call call = {bus, process, Floor::ClientOf(process)};
    Read(message, [&](const char* key, const char* value) {
        if (std::strcmp(key, "Session") == 0) {
            call.session = value;
        } else if (std::strcmp(key, "Cmd") == 0) {
            call.command = value;
        }
    });
    call.text = [&](const char* key) { return TextOf(message, key); };
    call.answer = [&](const char* text) { Answer(message, text); };
    call.emit = [&](const std::string& path, const std::string& text) {
        sd_bus_emit_signal(bus, path.c_str(), Floor::Name, "Progress", "s", text.c_str());
    };
    service->ends = !service->conduct.Handle(call);
    return 1;
}

}  // namespace

int main(int count, char** words) {
    const Floor::Libraries libraries;
    Service service = {Floor::ConductFrom(count, words)};
    sd_bus* raw = nullptr;
    if (sd_bus_open_system(&raw) < 0) {
        return EXIT_FAILURE;
    }
    const Bus bus(raw);
    if (sd_bus_add_object(raw, nullptr, Floor::ObjectPath, Handle, &service) < 0 ||
        sd_bus_request_name(raw, Floor::Name, 0) < 0) {
        return EXIT_FAILURE;
    }
    while (!service.ends) {
        const int progress = sd_bus_process(raw, nullptr);
        if (progress < 0 || (progress == 0 && sd_bus_wait(raw, UINT64_MAX) < 0)) {
            return EXIT_FAILURE;
        }
    }
}
