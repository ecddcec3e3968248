// SPDX-License-Identifier: Apache-2.0
// Turns one client request into one job, runs it, and sends the client its reply.
#pragma once

#include <memory>
#include <string>

#include "app/AgentJob.h"
#include "app/RequestKeys.h"

namespace Na {

class IClientPort;

// A client's own dispatcher. A moved-from Agent is uninitialised, and answers nothing.
class Agent {
public:
    Agent();
    ~Agent();
    Agent(Agent&& other) noexcept;
    Agent& operator=(Agent&&) = delete;

    // Entry for one request; the reply goes out through `port` before this returns.
    void Trigger_ClientData(IClientPort* port, const std::string& clientId, const RequestMap& data);

    // The client's record goes away.
    void Trigger_Shutdown();

    // A job for the command in the request; none when the current result says why not.
    std::unique_ptr<AgentJob> ConstructJob(std::unique_ptr<JobRequest> request);

    // A job of this agent has run.
    void TaskComplete();

private:
    bool initialised = true;
};

// Runs a job and sends its reply. A standard exception that leaves the job ends it with 10000000.
void Do(AgentJob& job);

// Names the running job in the log; jobs are not interrupted, and nothing calls this.
void TerminateJob(const AgentJob* job);

}  // namespace Na
