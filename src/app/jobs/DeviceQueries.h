// SPDX-License-Identifier: Apache-2.0
// Jobs that answer a question about the device or its secure element, or change the server address.
#pragma once

#include "app/AgentJob.h"

namespace Na {

// Always ends with 10000001.
class Job_GET_SE_STATUS : public AgentJob {
public:
    using AgentJob::AgentJob;
    void Execute() override;
};

// "ReturnCode" is the CPLC itself when the card gave one.
class Job_GET_CPLC : public AgentJob {
public:
    using AgentJob::AgentJob;
    void Execute() override;
};

// "ReturnCode" is the number of free bytes itself, "0" when it could not be read.
class Job_GET_MEMORY : public AgentJob {
public:
    using AgentJob::AgentJob;
    void Execute() override;
};

// Ends with the server's verdict on this device.
class Job_CHECK_ELIGIBILITY : public AgentJob {
public:
    using AgentJob::AgentJob;
    void Execute() override;
};

class Job_GET_PHONEINFO : public AgentJob {
public:
    using AgentJob::AgentJob;
    void Execute() override;
};

class Job_SET_ADDRESS : public AgentJob {
public:
    using AgentJob::AgentJob;
    void Execute() override;
};

}  // namespace Na
