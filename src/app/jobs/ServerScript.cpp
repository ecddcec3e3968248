// SPDX-License-Identifier: Apache-2.0
#include "app/jobs/ServerScript.h"

#include <cstddef>
#include <string>

#include "app/NavoProxy.h"
#include "app/ResultCode.h"
#include "app/Se.h"
#include "app/jobs/JobServices.h"
#include "common/Debug.h"

namespace Na {

namespace {

// What the server gets in place of the responses; unlike other failures, with a closing "/".
constexpr char ClientDisappeared[] = "21_client disappeared./";

}  // namespace

void Job_SET_JOB_EXECUTOR::Execute() {
    LogPrint(LogInfo, "info: Execute");
    SetResultCode(ResultCode::UnknownError);
    if (request == nullptr) {
        return;
    }
    SeSession session(request->readerKind);
    if (!session.IsOpen()) {
        LogPrint(LogError, JOB_LOCATED("Error opening SE"));
        return;
    }
    ReadCplc(*this, session.Element());
    if (request->seId.empty()) {
        return;
    }
    NavoProxy server;  // goes before the secure element closes
    const std::string seId = request->seId;
    BeginSession(server);
    while (GetResultCode() == ResultCode::CommandSetToRun) {
        const std::string responseSet = RunCommandSet(session.Element(), server);
        if (responseSet.empty()) {
            // Nothing was exchanged and nothing will be sent, so no further pass can change anything.
            LogPrint(LogError, JOB_LOCATED("Command set is missing or empty"));
            SetResultCode(ResultCode::NoApdu);
        } else if (responseSet.size() <= LongestResponseSet) {
            LogPrint(LogDebug, JOB_LOCATED("rAPDU: %s"), responseSet.c_str());
            server.NextApdu(request->clientId, seId, responseSet);
        }
    }
}

void Job_SET_JOB_EXECUTOR::BeginSession(NavoProxy& server) {
    const std::string serviceId = request->data[Key::ServiceId];
    const std::string functionId = request->data[Key::FcId];
    const std::string pushRequest = request->data[Key::PushReq];
    LogPrint(
        LogDebug, JOB_LOCATED("Job execution: sid %s; fid %s; req %s"), serviceId.c_str(), functionId.c_str(),
        pushRequest.c_str());
    server.InitializeApdu(
        request->clientId, request->seId, serviceId, request->cplc, functionId, pushRequest);
}

std::string Job_SET_JOB_EXECUTOR::RunCommandSet(Se& se, const NavoProxy& server) {
    if (request->port == nullptr) {
        LogPrint(LogDebug, JOB_LOCATED("Client disappeared. Terminating"));
        SetResultCode(ResultCode::ProtocolError);
        return ClientDisappeared;
    }
    const std::string& commandSet = server.LatestAnswer().Get("cApduSet");
    LogPrint(LogDebug, JOB_LOCATED("cAPDU: %s"), commandSet.c_str());
    return SendApdu(*this, se, commandSet);
}

}  // namespace Na
