// SPDX-License-Identifier: Apache-2.0
// Method calls as they come from the bus. The first byte chooses the method and the kind of its body; the
// body is lines of "key=value" for a map, and any bytes for the other kinds.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "app/AppMain.h"
#include "app/ClientListener.h"
#include "app/ServerAddress.h"
#include "app/tizen/ClientPort_dbus.h"
#include "device/gate/Permanent.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/PeerBus.h"
#include "tests/fuzz/ServiceWorld.h"

namespace {

// The service behind a bus, as its entry point sets it up, with this program as the one package that exists.
// A job that asks for a server finds a proxy that refuses.
class ServiceOnBus {
public:
    ServiceOnBus() : bus(ServiceWorld().Path()) {
        const std::string program = std::filesystem::read_symlink("/proc/self/exe");
        ServiceWorld().Configure(
            "[network]\ntype=wifi\nproxy=127.0.0.1:1\n[package app]\nexecutables=" + program + "\n");
        ServiceWorld().InstallInHouseLibraries();
        setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
        Na::AppMain::GetInstance()->SetMainLoop(g_main_loop_new(nullptr, TRUE));
        Na::ClientListener* const registry = Na::ClientListener::GetInstance();
        auto port = std::make_unique<Tizen::DbusClientPort>();
        port->StartListen();
        registry->RegisterPort(std::move(port));
        Require(bus.WaitForService(), "the service asks for its name");
    }

    PeerBus bus;
};

// Stays for the rest of the process, like the service's own objects.
PeerBus& Bus() {
    static auto& service = Device::Permanent<ServiceOnBus>();
    return service.bus;
}

// Text of the bus: UTF-8 without zero bytes. What does not belong to it ends the text.
GVariant* Text(const std::string& text) {
    const char* end = nullptr;
    g_utf8_validate(text.c_str(), -1, &end);
    return g_variant_new_string(std::string(text.c_str(), end).c_str());
}

GVariant* Map(FuzzInput& input) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    while (!input.AtEnd()) {
        const std::string line = input.Line();
        const std::size_t sign = line.find('=');
        g_variant_builder_add(
            &builder, "{@s@s}", Text(line.substr(0, sign)),
            Text(sign == std::string::npos ? "" : line.substr(sign + 1)));
    }
    return g_variant_builder_end(&builder);
}

GVariant* Body(std::uint8_t kind, FuzzInput& input) {
    switch (kind) {
        case 0:
        case 1:
        case 2:
            return g_variant_new("(@a{ss})", Map(input));
        case 3:
            return g_variant_new("(@a{ss}s)", Map(input), "tag");
        case 4:
            return g_variant_new("(@s)", Text(input.Rest()));
        case 5:
            return g_variant_new("(@a{ss}@s)", Map(input), Text("another"));
        default:
            return nullptr;
    }
}

void RequireReply(const char* method, GVariant* body) {
    GDBusMessage* const reply = Bus().Call(method, body);
    Require(reply != nullptr, "every call is answered");
    g_object_unref(reply);
}

GVariant* SessionMap(const char* action) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    g_variant_builder_add(&builder, "{ss}", "Session", action);
    return g_variant_new("(@a{ss})", g_variant_builder_end(&builder));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr const char* Methods[] = {"Session", "Cmd", "Cmd", "Exec", "Session", "Cmd", "Exec", "Other"};
    FuzzInput input(data, size);
    const std::uint8_t choice = input.Byte() % 8;
    RequireReply("Session", SessionMap("Open"));
    Na::SetNavoAddress("http://127.0.0.1:1");
    RequireReply(Methods[choice], Body(choice, input));
    RequireReply("Session", SessionMap("Open"));
    return 0;
}
