// SPDX-License-Identifier: Apache-2.0
// The job that injects, verifies and reads keys through the maker's key-provisioning library.
#pragma once

#include <cstdint>

#include "app/AgentJob.h"

namespace Na {

// Calls one entry point of the library. "ReturnCode" is the entry point's result or one of the verdicts
// below, "dalmData" the data that it returned; the current result is 1 in every case.
//
// D-Bus carries only UTF-8 in a text. Returned data that is none goes out without "dalmData": a positive
// "ReturnCode" alone says that the data exists and does not fit.
//
// The library stays loaded while its process-wide reference count is not 0. 0x3F3 raises the count and 0x3F4
// lowers it; a refused parameter leaves it raised; a 0x3F4 alone drives it below 0.
class Job_DALM : public AgentJob {
public:
    enum Verdict : int {
        LibraryMissing = -2,
        SizeMissing = -4,
        WrongInjectionType = -10,
        WrongKeyType = -11,
        KeyNameMissing = -12,
        WrongEncoding = -13,
        WrongParameter = -30,
    };

    Job_DALM(std::unique_ptr<JobRequest> jobRequest, std::int32_t commandNumber);
    void Execute() override;

private:
    int CallLibrary();
    int CallEntryPoint(void* entryPoint);
    int InjectKey(void* entryPoint);
    int VerifyKey(void* entryPoint);
    int ReadKeyUid(void* entryPoint);
    int CreateGetKeySession(void* entryPoint);
    void ReturnData(const std::string& data);

    std::int32_t command;
};

}  // namespace Na
