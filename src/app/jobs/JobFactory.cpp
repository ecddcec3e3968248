// SPDX-License-Identifier: Apache-2.0
#include "app/jobs/JobFactory.h"

#include <utility>

#include "app/jobs/CcmData.h"
#include "app/jobs/Dalm.h"
#include "app/jobs/DeviceQueries.h"
#include "app/jobs/ServerScript.h"

namespace Na {

bool IsPrivilegedCommand(long command) {
    switch (static_cast<Command>(command)) {
        case Command::GetPhoneInfo:
        case Command::SetAddress:
        case Command::Reserved:
            return true;
        default:
            return false;
    }
}

std::unique_ptr<AgentJob> MakeJob(long command, std::unique_ptr<JobRequest> request) {
    switch (static_cast<Command>(command)) {
        case Command::SetJobExecutor:
            return std::make_unique<Job_SET_JOB_EXECUTOR>(std::move(request));
        case Command::GetSeStatus:
            return std::make_unique<Job_GET_SE_STATUS>(std::move(request));
        case Command::GetCplc:
            return std::make_unique<Job_GET_CPLC>(std::move(request));
        case Command::GetMemory:
            return std::make_unique<Job_GET_MEMORY>(std::move(request));
        case Command::CheckEligibility:
            return std::make_unique<Job_CHECK_ELIGIBILITY>(std::move(request));
        case Command::GetPhoneInfo:
            return std::make_unique<Job_GET_PHONEINFO>(std::move(request));
        case Command::SetAddress:
            return std::make_unique<Job_SET_ADDRESS>(std::move(request));
        case Command::HandleCcmData:
            return std::make_unique<Job_HANDLE_CCM_DATA>(std::move(request));
        case Command::DalmKeyInjection:
        case Command::DalmInjectedKeyVerification:
        case Command::DalmReadInjectedKeyUid:
        case Command::DalmCreateGetKeySession:
        case Command::DalmReleaseGetKeySession:
        case Command::DalmUnknown:
            return std::make_unique<Job_DALM>(std::move(request), static_cast<std::int32_t>(command));
        default:
            return nullptr;
    }
}

}  // namespace Na
