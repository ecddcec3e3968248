// SPDX-License-Identifier: Apache-2.0
// The job that plays CCM scripts.
#pragma once

#include "app/AgentJob.h"

namespace Na {

// "LccmReturnCode" is the verdict on the script; the current result is whatever the card layers left.
class Job_HANDLE_CCM_DATA : public AgentJob {
public:
    using AgentJob::AgentJob;
    void Execute() override;
};

}  // namespace Na
