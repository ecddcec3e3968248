// SPDX-License-Identifier: Apache-2.0
// Which command is which job.
#pragma once

#include <memory>

#include "app/AgentJob.h"

namespace Na {

// Whether only a privileged client may use the command.
bool IsPrivilegedCommand(long command);

// Null for a number that is no command.
std::unique_ptr<AgentJob> MakeJob(long command, std::unique_ptr<JobRequest> request);

}  // namespace Na
