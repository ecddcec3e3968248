// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/vendor/LibraryJobs.h"

#include <fstream>

#include "app/ResultCode.h"

bool IsLoaded(const std::string& library) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.size() > library.size() && line.substr(line.size() - library.size() - 1) == "/" + library) {
            return true;
        }
    }
    return false;
}

// The library goes when a job finds the count at 0. A release lowers the count, and a request that is refused
// raises it.
LibraryJobs::~LibraryJobs() {
    constexpr int LargestCount = 50;
    world.Configure(DeviceWorld::OrdinaryDevice());
    for (int i = 0; i < LargestCount && IsLoaded(KeyLibraryName); ++i) {
        Ask({{"Cmd", "3F4"}});
    }
    for (int i = 0; i < 2 * LargestCount && IsLoaded(KeyLibraryName); ++i) {
        Ask({{"Cmd", "3F1"}});
    }
    EXPECT_FALSE(IsLoaded(KeyLibraryName));
}

// The job is kept until its reply has been looked at, and no longer; the service itself never lets go of it.
Na::RequestMap LibraryJobs::Ask(const Na::RequestMap& data) {
    world.ForgetLog();
    port.replies.clear();
    Na::SetResultCodeText("left behind");
    const std::unique_ptr<Na::AgentJob> job = agent.ConstructJob(RequestOf(&agent, &port, data));
    if (job == nullptr) {
        ADD_FAILURE() << "this is no request: " << Na::GetResultMessage();
        return {};
    }
    Na::Do(*job);
    EXPECT_EQ(port.replies.size(), 1U);
    return port.replies.empty() ? Na::RequestMap() : port.replies.front().result;
}

std::vector<std::string> LibraryJobs::JobLines() const {
    std::vector<std::string> lines;
    for (const std::string& line : world.LocatedLog()) {
        const std::string message = line.substr(2);
        const bool isAgents = message.compare(0, 14, "ConstructJob: ") == 0 || message == "AgentJob: " ||
                              message == "~AgentJob: " || message == "TaskComplete: " ||
                              message.compare(0, 16, "Do: Job result: ") == 0 ||
                              message.compare(0, 26, "Do: Job execution status: ") == 0;
        if (!isAgents) {
            lines.push_back(line);
        }
    }
    return lines;
}
