// SPDX-License-Identifier: Apache-2.0
#include "app/AgentJob.h"

#include <utility>

#include "common/Debug.h"
#include "common/Secret.h"

Na::AgentJob::AgentJob(std::unique_ptr<JobRequest> jobRequest) : request(std::move(jobRequest)) {
    LogPrint(LogDebug, LOCATED_AS(AGENT_SOURCE_FILE, __func__, ""));
}

Na::AgentJob::~AgentJob() {
    LogPrint(LogDebug, LOCATED_AS(AGENT_SOURCE_FILE, __func__, ""));
    request.reset();
    result.clear();
}

void Na::AgentJob::Forget() noexcept {
    Cleanse(result);
    if (request != nullptr) {
        Cleanse(request->data);
        Cleanse(request->clientId);
        Cleanse(request->cplc);
        Cleanse(request->seId);
    }
}
