// SPDX-License-Identifier: Apache-2.0
#include "app/jobs/DeviceQueries.h"

#include <cstddef>

#include "app/NavoProxy.h"
#include "app/ResultCode.h"
#include "app/Se.h"
#include "app/ServerAddress.h"
#include "app/jobs/JobServices.h"
#include "common/Debug.h"
#include "common/Runtime.h"
#include "common/Utils.h"

namespace Na {

namespace {

constexpr char AgentVersion[] = "1.0.19";
constexpr unsigned PrimarySim = 0;

// A scheme of up to five letters counts as one; anything else is taken for a bare host.
constexpr std::size_t LongestScheme = 5;

std::string WithScheme(const std::string& address) {
    const std::size_t scheme = address.find("://");
    const bool hasScheme = scheme != std::string::npos && scheme <= LongestScheme;
    return hasScheme ? address : "https://" + address;
}

}  // namespace

void Job_GET_SE_STATUS::Execute() {
    SetResultCode(ResultCode::WrongCommand);
}

void Job_GET_CPLC::Execute() {
    LogPrint(LogInfo, "info: Get CPLC");
    SetResultCode(ResultCode::UnknownError);
    {
        SeSession session(request->readerKind);
        if (session.IsOpen()) {
            ReadCplc(*this, session.Element());
        }
    }
    if (!request->seId.empty()) {
        result[Key::ReturnCode] = request->cplc;
    }
}

void Job_GET_MEMORY::Execute() {
    LogPrint(LogInfo, "info: Get Memory");
    SetResultCode(ResultCode::UnknownError);
    result[Key::ReturnCode] = '0';  // stands when the card's answer cannot be read
    std::int32_t freeMemory = 0;
    {
        SeSession session(request->readerKind);
        if (session.IsOpen()) {
            freeMemory = static_cast<std::int32_t>(session.Element().GetFreeMemory());
        }
    }
    const std::string text = IntToString(freeMemory, 10);
    if (freeMemory > 0) {
        result[Key::MemoryInfo] = text;
        SetResultCode(ResultCode::Done);
    }
    result[Key::ReturnCode] = text;
}

void Job_CHECK_ELIGIBILITY::Execute() {
    LogPrint(LogInfo, "info: Eligibility");
    SetResultCode(ResultCode::UnknownError);
    {
        SeSession session(request->readerKind);
        if (session.IsOpen()) {
            ReadCplc(*this, session.Element());
            // A card that was asked and gave none has left the code of a good transmission.
            if (request->seId.empty()) {
                SetResultCode(ResultCode::UnknownError);
            }
        }
    }
    if (!request->seId.empty()) {
        NavoProxy().Eligibility(request->clientId, request->seId);
    }
}

void Job_GET_PHONEINFO::Execute() {
    const struct {
        const char* key;
        std::string value;
    } lines[] = {
        {"deviceModel", GetModelName()},
        {"location", GetCountryCode()},
        {"agentVersion", AgentVersion},
        {"deviceCsc", GetCscSalesCode()},
        {"deviceMnc", GetMnc(PrimarySim)},
        {"deviceMcc", GetMcc(PrimarySim)},
        {"deviceCodeVersion", GetDeviceBuildVersion()},
    };
    std::string text;
    for (const auto& line : lines) {
        text.append(text.empty() ? "" : "\n").append(line.key).append(": ").append(line.value);
    }
    result[Key::PhoneInfo] = text;
    SetResultCode(ResultCode::Done);
}

void Job_SET_ADDRESS::Execute() {
    const std::string address = WithScheme(request->data[Key::HostAddr]);
    LogPrint(LogDebug, JOB_LOCATED("New URL: %s"), address.c_str());
    SetNavoAddress(address);
    if (GetNavoAddress() == address) {
        LogPrint(LogDebug, JOB_LOCATED("Changed to use new NAVO URL: %s"), address.c_str());
        SetResultCode(ResultCode::Done);
    } else {
        LogPrint(LogError, JOB_LOCATED("Error changing URL"));
        SetResultCode(ResultCode::UnknownError);
    }
}

}  // namespace Na
