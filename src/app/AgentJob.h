// SPDX-License-Identifier: Apache-2.0
// One accepted request and the job that serves it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "app/RequestKeys.h"

// What is done for the agent logs under the agent's source, whatever file it stands in.
#define AGENT_SOURCE_FILE "/src/app/Agent.cpp"

// A job's line carries "Do" and the Agent's source by contract; its line number is that of the job's own
// file.
#define JOB_LOCATED(format) LOCATED_AS(AGENT_SOURCE_FILE, "Do", format)

namespace Na {

class Agent;
class IClientPort;

struct JobRequest {
    Agent* agent = nullptr;       // not owned
    std::string clientId;         // port-qualified
    IClientPort* port = nullptr;  // not owned; null once the client has gone
    RequestMap data;
    std::int32_t readerKind = 0;  // secure element to use, see CreateSeReader
    std::string cplc;             // hexadecimal text, empty until ReadCplc
    std::string seId;             // first 36 characters of `cplc`
};

// Base of all jobs. Execute leaves reply fields in `result` and its outcome in the current result.
class AgentJob {
public:
    explicit AgentJob(std::unique_ptr<JobRequest> request);
    virtual ~AgentJob();
    AgentJob(const AgentJob&) = delete;
    AgentJob& operator=(const AgentJob&) = delete;

    virtual void Execute() = 0;

    // Lets go of what came with the request and went out with the reply, and overwrites it. For a job that
    // has been answered: it is kept, and what is in it is not.
    void Forget() noexcept;

    RequestMap result;
    std::unique_ptr<JobRequest> request;
};

}  // namespace Na
