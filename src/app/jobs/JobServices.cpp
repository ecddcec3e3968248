// SPDX-License-Identifier: Apache-2.0
#include "app/jobs/JobServices.h"

#include <algorithm>

#include "app/AgentJob.h"
#include "app/ClientPort.h"
#include "app/ResultCode.h"
#include "app/Se.h"
#include "common/Debug.h"

namespace Na {

namespace {

// An item of a command set: "/", two characters, then the APDU.
constexpr std::size_t ItemPrefixLength = 3;
constexpr std::size_t LongestApdu = 65544;
constexpr std::size_t LongestApduWithoutProgress = 6;
constexpr std::size_t SeIdLength = 36;
constexpr std::size_t UsualProgressLength = 32;

// What the server gets in place of the responses. The first is spelled so in the protocol.
constexpr char MalformedSet[] = "21_taken wrong adpu.";
constexpr char NoResponse[] = "21_SD API Exception.";

// Takes the text of the item that begins at `begin` and ends before `end`, without its prefix.
void TakeApdu(std::string& apdu, const std::string& commandSet, std::size_t begin, std::size_t end) {
    const std::size_t first = std::min(begin + ItemPrefixLength, end);
    apdu.assign(commandSet, first, end - first);
}

}  // namespace

void SendProgress(const AgentJob& job, const std::string& instruction) {
    LogPrint(LogDebug, LOCATED_AS(AGENT_SOURCE_FILE, __func__, "Sending progress"));
    if (job.request == nullptr || job.request->port == nullptr) {
        LogPrint(LogDebug, LOCATED_AS(AGENT_SOURCE_FILE, __func__, "No Clients"));
        return;
    }
    LogPrint(LogDebug, LOCATED_AS(AGENT_SOURCE_FILE, __func__, "Progress: %s"), instruction.c_str());
    const char* const known = FindDescription(instruction);
    const char* const description = known != nullptr ? known : "";
    LogPrint(LogDebug, LOCATED_AS(AGENT_SOURCE_FILE, __func__, "Sending progress: %s"), description);
    std::string value;
    value.reserve(UsualProgressLength);
    value.append(instruction).append("_").append(description);
    job.request->port->SendProgressCode(job.request->clientId, value);
}

std::string SendApdu(const AgentJob& job, Se& se, const std::string& commandSet) {
    if (commandSet.empty()) {
        return std::string();
    }
    std::string output(1, commandSet.front());
    std::string apdu;  // one for all, so that its memory is asked for once
    std::size_t begin = 0;
    while (begin < commandSet.size()) {
        const std::size_t end = std::min(commandSet.find('/', begin + 1), commandSet.size());
        TakeApdu(apdu, commandSet, begin, end);
        LogPrint(
            LogDebug, LOCATED_AS(AGENT_SOURCE_FILE, __func__, "CAPDU: %s [%d]"), apdu.c_str(),
            static_cast<int>(apdu.size()));
        if (apdu.size() < 2 || apdu.size() > LongestApdu) {
            LogPrint(LogError, LOCATED_AS(AGENT_SOURCE_FILE, __func__, "Wrong cApdu"));
            SetResultCode(ResultCode::MalformedCommandSet);
            return MalformedSet;
        }
        if (apdu.size() > LongestApduWithoutProgress) {
            SendProgress(job, apdu.substr(2, 2));
        }
        const std::string response = se.Apdu(apdu);
        if (response.empty()) {
            LogPrint(LogError, LOCATED_AS(AGENT_SOURCE_FILE, __func__, "Empty rAPDU"));
            return NoResponse;
        }
        // A set that cannot be sent any more is not kept growing: only that it is too long still counts.
        if (output.size() <= LongestResponseSet + 1) {
            output.append("01").append(response).append("/");
        }
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
