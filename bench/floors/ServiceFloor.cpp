// SPDX-License-Identifier: Apache-2.0
// The least that answers the service's clients: GDBus, the platform's calls, the same log lines and the same
// replies. It knows the sessions, the status command and the server-driven script. Its replies carry fixed
// texts, and nothing is kept of a request.
//   navo-floor-service [--silent] [SERVER]
#include <aul.h>
#include <curl/curl.h>
#include <nfc.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <string>

#include "bench/floors/Log.h"
#include "bench/floors/Owners.h"
#include "bench/floors/ScriptFloor.h"

namespace {

using Floor::Debug;
using Floor::Info;

constexpr char Name[] = "com.orvenco.navoa";
constexpr char ObjectPath[] = "/com/orvenco/navoa";
constexpr char Document[] =
    "<node><interface name='com.orvenco.navoa'>"
    "<method name='Session'><arg type='a{ss}' direction='in'/><arg type='a{ss}' direction='out'/></method>"
    "<method name='Cmd'><arg type='a{ss}' direction='in'/><arg type='a{ss}' direction='out'/></method>"
    "<signal name='Progress'><arg type='s'/></signal>"
    "</interface></node>";

constexpr char Port[] = "/src/app/tizen/ClientPort_dbus.cpp";
constexpr char Listener[] = "/src/app/ClientListener.cpp";
constexpr char Agent[] = "/src/app/Agent.cpp";

constexpr long StatusCommand = 0x66;
constexpr long ScriptCommand = 0x65;

struct Service {
    GMainLoop* loop;
    std::string server;
    std::map<std::string, unsigned> sessions;
};

struct Caller {
    GDBusConnection* connection;
    unsigned process;
    std::string client;  // "PACKAGE_PROCESS"
};

unsigned ProcessOf(GDBusConnection* connection, const char* sender) {
    const Floor::Variant reply(g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", g_variant_new("(s)", sender), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    unsigned process = 0;
    if (reply) {
        g_variant_get(reply.get(), "(u)", &process);
    }
    return process;
}

Caller CallerOf(GDBusConnection* connection, const char* sender) {
    char package[255] = {};
    const unsigned process = ProcessOf(connection, sender);
    aul_app_get_pkgname_bypid(static_cast<int>(process), package, sizeof package);
    return {connection, process, std::string(package) + "_" + std::to_string(process)};
}

void Answer(GDBusMethodInvocation* invocation, const char* text) {
    GVariantBuilder map;
    g_variant_builder_init(&map, G_VARIANT_TYPE("a{ss}"));
    g_variant_builder_add(&map, "{ss}", "ReturnCode", text);
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(a{ss})", &map));
}

// What a map says of the caller's wish; null where it says nothing.
struct Wish {
    const char* session = nullptr;
    const char* command = nullptr;
};

Wish WishOf(GVariant* map) {
    GVariantIter pairs;
    g_variant_iter_init(&pairs, map);
    Wish wish;
    const char* key = nullptr;
    const char* value = nullptr;
    while (g_variant_iter_next(&pairs, "{&s&s}", &key, &value) != FALSE) {
        if (std::strcmp(key, "Session") == 0) {
            wish.session = value;
        } else if (std::strcmp(key, "Cmd") == 0) {
            wish.command = value;
        }
    }
    return wish;
}

std::string TextOf(GVariant* map, const char* key) {
    const char* value = "";
    g_variant_lookup(map, key, "&s", &value);
    return value;
}

void HandleSession(
    Service& service, const std::string& client, const char* action, GDBusMethodInvocation* invocation) {
    const bool opens = std::strcmp(action, "Open") == 0;
    if (opens) {
        ++service.sessions[client];
    } else {
        service.sessions.erase(client);
    }
    GDBusConnection* const connection = g_dbus_method_invocation_get_connection(invocation);
    Answer(invocation, "Success");
    if (service.sessions.empty()) {
        g_dbus_connection_flush_sync(connection, nullptr, nullptr);
        g_main_loop_quit(service.loop);
    }
}

void LogArrival(const std::string& client, long command) {
    Debug(PLACED(Port, 266, "OnClientData", "Handling request data"));
    Debug(PLACED(Listener, 63, "OnClientData", "port : %s, remote : %s"), "D-bus port", client.c_str());
    Info("info: Request from Client arrived");
    Debug(PLACED(Agent, 82, "Trigger_ClientData", "Client ID: %s"), client.c_str());
    Debug(PLACED(Agent, 116, "ConstructJob", "data : %d"), 1);
    Debug(PLACED(Agent, 127, "ConstructJob", "cmd: %x"), static_cast<unsigned>(command));
    Debug(PLACED(Agent, 47, "AgentJob", ""));
    Debug(PLACED(Agent, 108, "Trigger_ClientData", "Starting Job"));
}

void LogEnd(const std::string& client, const char* outcome) {
    Info("info: Done. Sending status to Client");
    Debug(PLACED(Agent, 75, "TaskComplete", ""));
    Debug(PLACED(Agent, 161, "Do", "Job execution status: %s"), outcome);
    Debug(PLACED(Port, 516, "SendResult", "Sending response to %s"), client.c_str());
    Debug(PLACED(Port, 128, "SendReply", "Sending reply"));
}

void LogAnswered() {
    Debug(PLACED(Port, 522, "SendResult", "Sent response"));
    Info("info: Job execution is complete");
    Debug(PLACED(Port, 268, "OnClientData", "Done"));
}

// Description of an instruction as the progress text carries it.
const char* DescriptionOf(const std::string& instruction) {
    return instruction == "A4" ? "Select Service" : instruction == "CA" ? "Research" : "";
}

void Report(const Caller& caller, const std::string& client, const std::string& instruction) {
    const char* const description = DescriptionOf(instruction);
    const std::string path = "/navoa/client/" + std::to_string(caller.process);
    Debug(PLACED(Agent, 181, "SendProgress", "Sending progress"));
    Debug(PLACED(Agent, 186, "SendProgress", "Progress: %s"), instruction.c_str());
    Debug(PLACED(Agent, 189, "SendProgress", "Sending progress: %s"), description);
    Debug(PLACED(Port, 537, "SendProgressCode", "Sending progress to %s"), client.c_str());
    Debug(
        PLACED(Port, 142, "SendProgress", "Sending progress to %s. %p"), caller.client.c_str(),
        static_cast<void*>(caller.connection));
    g_dbus_connection_emit_signal(
        caller.connection, nullptr, path.c_str(), Name, "Progress",
        g_variant_new("(s)", (instruction + "_" + description).c_str()), nullptr);
    Debug(PLACED(Port, 544, "SendProgressCode", "Sent progress"));
}

std::string RunScript(
    const Service& service, const Caller& caller, const std::string& client, GVariant* map) {
    Floor::ScriptRequest request;
    request.server = service.server;
    request.client = client;
    request.serviceId = TextOf(map, "ServiceId");
    request.functionId = TextOf(map, "FcId");
    request.pushRequest = TextOf(map, "pushReq");
    request.report = [&](const std::string& instruction) { Report(caller, client, instruction); };
    const std::string code = Floor::RunScript(request);
    return code == "00000001" ? code + "_The job has done successfully" : code;
}

void HandleRequest(
    const Service& service, const Caller& caller, GVariant* map, const char* wanted,
    GDBusMethodInvocation* invocation) {
    const long command = wanted != nullptr ? std::strtol(wanted, nullptr, 16) : 0;
    const std::string client = "dbus;" + caller.client;
    LogArrival(client, command);
    std::string outcome = "10000001_Invalid Cmd parameter is being used";
    if (command == ScriptCommand) {
        outcome = RunScript(service, caller, client, map);
    } else if (command != StatusCommand) {
        outcome = "the floor does not know this command";
    }
    LogEnd(client, outcome.c_str());
    Answer(invocation, outcome.c_str());
    LogAnswered();
}

void Handle(
    GDBusConnection* connection, const char* sender, const char*, const char*, const char*,
    GVariant* arguments, GDBusMethodInvocation* invocation, gpointer data) {
    auto* const service = static_cast<Service*>(data);
    const Caller caller = CallerOf(connection, sender);
    const Floor::Variant map(g_variant_get_child_value(arguments, 0));
    const Wish wish = WishOf(map.get());
    try {
        if (wish.session != nullptr) {
            HandleSession(*service, caller.client, wish.session, invocation);
        } else {
            HandleRequest(*service, caller, map.get(), wish.command, invocation);
        }
    } catch (const std::exception& error) {
        Answer(invocation, error.what());
    }
}

const GDBusInterfaceVTable Methods = {Handle, nullptr, nullptr, {}};

void Register(GDBusConnection* connection, const char*, gpointer service) {
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    const Floor::NodeInfo node(g_dbus_node_info_new_for_xml(Document, nullptr));
    g_dbus_connection_register_object(
        connection, ObjectPath, node->interfaces[0], &Methods, service, nullptr, nullptr);
}

void Serve(Service& service) {
    const unsigned owner = g_bus_own_name(
        G_BUS_TYPE_SYSTEM, Name, G_BUS_NAME_OWNER_FLAGS_NONE, Register, nullptr, nullptr, &service, nullptr);
    g_main_loop_run(service.loop);
    g_bus_unown_name(owner);
}

bool StartLibraries() {
    return nfc_manager_initialize() == NFC_ERROR_NONE && curl_global_init(CURL_GLOBAL_ALL) == CURLE_OK;
}

}  // namespace

int main(int count, char** words) {
    std::string server;
    for (int at = 1; at < count; ++at) {
        if (std::strcmp(words[at], "--silent") == 0) {
            Floor::BeSilent();
        } else {
            server = words[at];
        }
    }
    if (!StartLibraries()) {
        return EXIT_FAILURE;
    }
    const Floor::Loop loop(g_main_loop_new(nullptr, FALSE));
    Service service = {loop.get(), server, {}};
    Serve(service);
    curl_global_cleanup();
    nfc_manager_deinitialize();
    return EXIT_SUCCESS;
}
