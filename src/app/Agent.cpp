#include "app/Agent.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <utility>

#include "app/ClientPort.h"
#include "app/ResultCode.h"
#include "app/Se.h"
#include "app/jobs/JobFactory.h"
#include "common/Debug.h"

namespace Na {

namespace {

// An item of a command set: "/", two characters, then the APDU.
constexpr std::size_t ItemPrefixLength = 3;
constexpr std::size_t LongestApdu = 65544;
constexpr std::size_t LongestApduWithoutProgress = 6;
constexpr std::size_t SeIdLength = 36;

// What the server gets in place of the responses. The first is spelled so in the protocol.
constexpr char MalformedSet[] = "21_taken wrong adpu.";
constexpr char NoResponse[] = "21_SD API Exception.";

// Reads the number of a command; false when the text does not fit a long.
bool ParseCommand(const std::string& text, long& command) {
    errno = 0;
    command = std::strtol(text.c_str(), nullptr, 16);
    return errno == 0;
}

// Text of the item that begins at `begin` and ends before `end`, without its prefix.
std::string ApduOfItem(const std::string& commandSet, std::size_t begin, std::size_t end) {
    const std::size_t first = begin + ItemPrefixLength;
    return first < end ? commandSet.substr(first, end - first) : std::string();
}

}  // namespace

AgentJob::AgentJob(std::unique_ptr<JobRequest> jobRequest) : request(std::move(jobRequest)) {
    LogPrint(LogDebug, LOCATED(""));
}

AgentJob::~AgentJob() {
    LogPrint(LogDebug, LOCATED(""));
    request.reset();
    result.clear();
}

Agent::Agent() : record(new Record) {
    LogPrint(LogDebug, LOCATED("%p"), static_cast<void*>(this));
}

Agent::Agent(Agent&& other) noexcept : record(std::move(other.record)) {}

Agent::~Agent() {
    LogPrint(LogDebug, LOCATED("%p"), static_cast<void*>(this));
    if (record != nullptr) {
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
    if (record == nullptr) {
        LogPrint(LogError, LOCATED("Fatal: use of uninitialized object"));
        return;
    }
    if (data.empty()) {
        LogPrint(LogError, LOCATED("Empty request from client application"));
        SetResultCode(ResultCode::RequestEmpty);
        port->SendReturnCode(clientId, GetResultMessage());
        return;
    }
    std::unique_ptr<JobRequest> request(new JobRequest);
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
    // The job and its request outlive their reply, for good: nothing releases them.
    Do(*job.release());
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

void SendProgress(const AgentJob& job, const std::string& instruction) {
    LogPrint(LogDebug, LOCATED("Sending progress"));
    if (job.request == nullptr || job.request->port == nullptr) {
        LogPrint(LogDebug, LOCATED("No Clients"));
        return;
    }
    LogPrint(LogDebug, LOCATED("Progress: %s"), instruction.c_str());
    const char* const known = FindDescription(instruction);
    const char* const description = known != nullptr ? known : "";
    LogPrint(LogDebug, LOCATED("Sending progress: %s"), description);
    job.request->port->SendProgressCode(job.request->clientId, instruction + "_" + description);
}

std::string SendApdu(const AgentJob& job, Se& se, const std::string& commandSet) {
    if (commandSet.empty()) {
        return std::string();
    }
    std::string output(1, commandSet.front());
    std::size_t begin = 0;
    while (begin < commandSet.size()) {
        const std::size_t end = std::min(commandSet.find('/', begin + 1), commandSet.size());
        const std::string apdu = ApduOfItem(commandSet, begin, end);
        LogPrint(LogDebug, LOCATED("CAPDU: %s [%d]"), apdu.c_str(), static_cast<int>(apdu.size()));
        if (apdu.size() < 2 || apdu.size() > LongestApdu) {
            LogPrint(LogError, LOCATED("Wrong cApdu"));
            SetResultCode(ResultCode::MalformedCommandSet);
            return MalformedSet;
        }
        if (apdu.size() > LongestApduWithoutProgress) {
            SendProgress(job, apdu.substr(2, 2));
        }
        const std::string response = se.Apdu(apdu);
        if (response.empty()) {
            LogPrint(LogError, LOCATED("Empty rAPDU"));
            return NoResponse;
        }
        output.append("01").append(response).append("/");
        begin = end;
    }
    output.pop_back();
    return output;
}

void ReadCplc(AgentJob& job, Se& se) {
    const std::string cplc = se.GetCplc();
    if (!cplc.empty()) {
        job.request->cplc = cplc;
        job.request->seId = cplc.substr(0, SeIdLength);
    }
}

}  // namespace Na
