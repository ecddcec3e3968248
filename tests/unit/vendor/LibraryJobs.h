// SPDX-License-Identifier: Apache-2.0
// Jobs that use the in-house libraries, run in the test's own process with the real shared objects.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "app/Agent.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/RecordingPort.h"

constexpr char SecureSpiName[] = "liborv_sem.so";
constexpr char KeyLibraryName[] = "liborv_dalm.so";

// Whether the process has a mapping of a file of that name.
bool IsLoaded(const std::string& library);

class LibraryJobs : public testing::Test {
protected:
    LibraryJobs() { world.InstallInHouseLibraries(); }

    // Leaves the process without the key-provisioning library, whatever count the test has left behind.
    ~LibraryJobs() override;

    // The reply to one request. The log holds what this request brought.
    Na::RequestMap Ask(const Na::RequestMap& data);

    // What the job itself logged during the latest request, without the agent's own lines.
    std::vector<std::string> JobLines() const;

    DeviceWorld world;

private:
    RecordingPort port;
    Na::Agent agent;
};
