// SPDX-License-Identifier: Apache-2.0
// The job that lets the key-management server drive the secure element.
#pragma once

#include "app/AgentJob.h"

namespace Na {

class NavoProxy;
class Se;

// Relays the server's command sets to the card and the responses back until the server's result code ends
// the script. The reply is that code.
class Job_SET_JOB_EXECUTOR : public AgentJob {
public:
    using AgentJob::AgentJob;
    void Execute() override;

private:
    void BeginSession(NavoProxy& server);
    std::string RunCommandSet(Se& se, const NavoProxy& server);
};

}  // namespace Na
