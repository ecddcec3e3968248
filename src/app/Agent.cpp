// SPDX-License-Identifier: Apache-2.0
#include "app/Agent.h"

#include <cerrno>
#include <cstdlib>
#include <deque>
#include <exception>
#include <utility>

#include "app/ClientPort.h"
#include "app/ResultCode.h"
#include "app/jobs/JobFactory.h"
#include "common/Debug.h"
#include "common/NeverDestroyed.h"
#include "common/Secret.h"

namespace Na {

namespace {

// Reads the number of a command; false when the text does not fit a long.
bool ParseCommand(const std::string& text, long& command) {
    errno = 0;
    command = std::strtol(text.c_str(), nullptr, 16);
    return errno == 0;
}

// The jobs that ran, and with them their requests. They outlive their reply for good: nothing releases them,
// and none goes before the process does.
std::deque<std::unique_ptr<AgentJob>>& KeptJobs() {
    static NeverDestroyed<std::deque<std::unique_ptr<AgentJob>>> jobs;
    return *jobs;
}

}  // namespace

Agent::Agent() {
    LogPrint(LogDebug, LOCATED("%p"), static_cast<void*>(this));
}

Agent::Agent(Agent&& other) noexcept : initialised(std::exchange(other.initialised, false)) {}

Agent::~Agent() {
    LogPrint(LogDebug, LOCATED("%p"), static_cast<void*>(this));
    if (initialised) {
        Trigger_Shutdown();
    }
}

void Agent::Trigger_Shutdown() {
    LogPrint(LogDebug, LOCATED(""));
}

void Agent::TaskComplete() {
    LogPrint(LogDebug, LOCATED(""));
}

void Agent::Trigger_ClientData(IClientPort* port, const std::string& clientId, const RequestMap& data) {
    LogPrint(LogInfo, "info: Request from Client arrived");
    LogPrint(LogDebug, LOCATED("Client ID: %s"), clientId.c_str());
    if (!initialised) {
        LogPrint(LogError, LOCATED("Fatal: use of uninitialized object"));
        return;
    }
    if (data.empty()) {
        LogPrint(LogError, LOCATED("Empty request from client application"));
        SetResultCode(ResultCode::RequestEmpty);
        port->SendReturnCode(clientId, GetResultMessage());
        return;
    }
    auto request = std::make_unique<JobRequest>();
    request->agent = this;
    request->clientId = clientId;
    request->port = port;
    request->data = data;
    std::unique_ptr<AgentJob> job = ConstructJob(std::move(request));
    if (job == nullptr) {
        const std::string message = GetResultMessage();
        LogPrint(LogError, LOCATED("Error starting a new job: %s"), message.c_str());
        port->SendReturnCode(clientId, message);
        return;
    }
    LogPrint(LogDebug, LOCATED("Starting Job"));
    KeptJobs().push_back(std::move(job));
    AgentJob& running = *KeptJobs().back();
    Do(running);
    running.Forget();
}

std::unique_ptr<AgentJob> Agent::ConstructJob(std::unique_ptr<JobRequest> request) {
    const auto value = request->data.find(Key::Cmd);
    const bool hasCommand = value != request->data.end();
    LogPrint(LogDebug, LOCATED("data : %d"), hasCommand ? 1 : 0);
    if (!hasCommand) {
        SetResultCode(ResultCode::CommandMissing);
        return nullptr;
    }
    long command = 0;
    if (!ParseCommand(value->second, command)) {
        LogPrint(LogDebug, LOCATED("Wrong parameter"));
        SetResultCode(ResultCode::CommandUnreadable);
        return nullptr;
    }
    LogPrint(LogDebug, LOCATED("cmd: %x"), static_cast<unsigned>(command));
    if (IsPrivilegedCommand(command)) {
        LogPrint(LogDebug, LOCATED("Privileged command from %s"), request->clientId.c_str());
        if (!request->port->IsTrusted(request->clientId)) {
            LogPrint(LogDebug, LOCATED("Not authorized"));
            LogPrint(LogDebug, LOCATED("Wrong command: %d"), -1);
            SetResultCode(ResultCode::WrongCommand);
            return nullptr;
        }
    }
    std::unique_ptr<AgentJob> job = MakeJob(command, std::move(request));
    if (job == nullptr) {
        LogPrint(LogDebug, LOCATED("Wrong command: %d"), static_cast<int>(command));
        SetResultCode(ResultCode::WrongCommand);
    }
    return job;
}

void Do(AgentJob& job) {
    try {
        job.Execute();
    } catch (const std::exception& error) {
        // Unwinding has closed what the job had open. The request still gets its ordinary reply.
        LogPrint(LogError, LOCATED("Job ended by an exception: %s"), error.what());
        SetResultCode(ResultCode::UnknownError);
    }
    LogPrint(LogInfo, "info: Done. Sending status to Client");
    RequestMap result = job.result;
    const CleansedAtEnd<RequestMap> letGo(result);
    const std::string& clientId = job.request->clientId;
    IClientPort* const port = job.request->port;
    job.request->agent->TaskComplete();
    // Without a port the client has gone, and nobody is left to answer.
    if (result.empty()) {
        const std::string message = GetResultMessage();
        LogPrint(LogDebug, LOCATED("Job execution status: %s"), message.c_str());
        if (port != nullptr) {
            port->SendReturnCode(clientId, message);
        }
    } else {
        const auto returnCode = result.emplace(Key::ReturnCode, GetResultMessage()).first;
        LogPrint(LogDebug, LOCATED("Job result: %s"), returnCode->second.c_str());
        if (port != nullptr) {
            port->SendResult(clientId, result);
        }
    }
    LogPrint(LogInfo, "info: Job execution is complete");
}

void TerminateJob(const AgentJob* job) {
    if (job != nullptr) {
        LogPrint(LogDebug, LOCATED("Terminating currently running job"));
    }
}

}  // namespace Na
