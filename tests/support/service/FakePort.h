// SPDX-License-Identifier: Apache-2.0
// A client port whose calls and whose end a test can see.
#pragma once

#include <string>
#include <vector>

#include "app/ClientPort.h"

class FakePort : public Na::IClientPort {
public:
    FakePort(std::vector<std::string>* calls, std::string portName)
        : journal(calls), name(std::move(portName)) {}
    ~FakePort() override { journal->push_back(name + " deleted"); }

    const char* GetName() const override { return name.c_str(); }
    bool SendResult(const std::string& clientId, const Na::RequestMap& result) override {
        const auto code = result.find("ReturnCode");
        journal->push_back(
            name + " to " + clientId + ": " + (code != result.end() ? code->second : "nothing"));
        return answers;
    }
    bool SendProgressCode(const std::string&, const std::string&) override { return true; }
    int StartListen() override {
        journal->push_back(name + " started");
        return startResult;
    }
    void StopListen() override { journal->push_back(name + " stopped"); }

    int startResult = 0;
    bool answers = true;

private:
    std::vector<std::string>* const journal;
    const std::string name;
};
