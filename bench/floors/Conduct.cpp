// SPDX-License-Identifier: Apache-2.0
#include "bench/floors/Conduct.h"

#include <aul.h>
#include <curl/curl.h>
#include <nfc.h>

#include <cstdlib>
#include <cstring>
#include <exception>

#include "bench/floors/Log.h"
#include "bench/floors/ScriptFloor.h"

namespace Floor {

namespace {

constexpr char Port[] = "/src/app/tizen/ClientPort_dbus.cpp";
constexpr char Listener[] = "/src/app/ClientListener.cpp";
constexpr char Agent[] = "/src/app/Agent.cpp";

constexpr long StatusCommand = 0x66;
constexpr long ScriptCommand = 0x65;

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

void Report(const Call& call, const std::string& client, const std::string& instruction) {
    const char* const description = DescriptionOf(instruction);
    Debug(PLACED(Agent, 181, "SendProgress", "Sending progress"));
    Debug(PLACED(Agent, 186, "SendProgress", "Progress: %s"), instruction.c_str());
    Debug(PLACED(Agent, 189, "SendProgress", "Sending progress: %s"), description);
    Debug(PLACED(Port, 537, "SendProgressCode", "Sending progress to %s"), client.c_str());
    Debug(
        PLACED(Port, 142, "SendProgress", "Sending progress to %s. %p"), call.client.c_str(),
        call.connection);
    call.emit("/navoa/client/" + std::to_string(call.process), instruction + "_" + description);
    Debug(PLACED(Port, 544, "SendProgressCode", "Sent progress"));
}

std::string RunScript(const std::string& server, const Call& call, const std::string& client) {
    ScriptRequest request;
    request.server = server;
    request.client = client;
    request.serviceId = call.text("ServiceId");
    request.functionId = call.text("FcId");
    request.pushRequest = call.text("pushReq");
    request.report = [&](const std::string& instruction) { Report(call, client, instruction); };
    const std::string code = RunScript(request);
    return code == "00000001" ? code + "_The job has done successfully" : code;
}

void HandleRequest(const std::string& server, const Call& call) {
    const long command = call.command != nullptr ? std::strtol(call.command, nullptr, 16) : 0;
    const std::string client = "dbus;" + call.client;
    LogArrival(client, command);
    std::string outcome = "10000001_Invalid Cmd parameter is being used";
    if (command == ScriptCommand) {
        outcome = RunScript(server, call, client);
    } else if (command != StatusCommand) {
        outcome = "the floor does not know this command";
    }
    LogEnd(client, outcome.c_str());
    call.answer(outcome.c_str());
    LogAnswered();
}

}  // namespace

std::string ClientOf(unsigned process) {
    char package[255] = {};
    aul_app_get_pkgname_bypid(static_cast<int>(process), package, sizeof package);
    return std::string(package) + "_" + std::to_string(process);
}

bool Conduct::Handle(const Call& call) {
    if (call.session == nullptr) {
        try {
            HandleRequest(server, call);
        } catch (const std::exception& error) {
            call.answer(error.what());
        }
        return true;
    }
    if (std::strcmp(call.session, "Open") == 0) {
        ++sessions[call.client];
    } else {
        sessions.erase(call.client);
    }
    call.answer("Success");
    return !sessions.empty();
}

Conduct ConductFrom(int count, char** words) {
    Conduct conduct;
    for (int at = 1; at < count; ++at) {
        if (std::strcmp(words[at], "--silent") == 0) {
            BeSilent();
        } else {
            conduct.server = words[at];
        }
    }
    return conduct;
}

Libraries::Libraries() {
    if (nfc_manager_initialize() != NFC_ERROR_NONE || curl_global_init(CURL_GLOBAL_ALL) != CURLE_OK) {
        std::exit(EXIT_FAILURE);
    }
}

Libraries::~Libraries() {
    curl_global_cleanup();
    nfc_manager_deinitialize();
}

}  // namespace Floor
