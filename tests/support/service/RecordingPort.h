// SPDX-License-Identifier: Apache-2.0
// A client port that remembers what the agents send, and a job whose work the test gives.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/AgentJob.h"
#include "app/ClientPort.h"

class RecordingPort : public Na::IClientPort {
public:
    struct Reply {
        std::string clientId;
        Na::RequestMap result;
        bool statusOnly;  // sent as a bare status, not as a job's map
    };

    const char* GetName() const override { return "recording port"; }

    bool SendResult(const std::string& clientId, const Na::RequestMap& result) override {
        replies.push_back({clientId, result, sendingStatus});
        if (onReply) {
            onReply();
        }
        return true;
    }

    bool SendReturnCode(const std::string& clientId, const std::string& code) override {
        sendingStatus = true;
        const bool sent = IClientPort::SendReturnCode(clientId, code);
        sendingStatus = false;
        return sent;
    }

    bool SendProgressCode(const std::string& clientId, const std::string& value) override {
        progress.emplace_back(clientId, value);
        if (onProgress) {
            onProgress();
        }
        return true;
    }

    bool IsTrusted(const std::string& clientId) override {
        askedAbout.push_back(clientId);
        return trusted;
    }

    int StartListen() override { return 0; }
    void StopListen() override {}

    std::vector<Reply> replies;
    std::vector<std::pair<std::string, std::string>> progress;  // client id and text
    std::vector<std::string> askedAbout;
    bool trusted = true;
    std::function<void()> onReply;
    std::function<void()> onProgress;

private:
    bool sendingStatus = false;
};

inline const char ClientId[] = "dbus;com.example.wallet_2817";

inline std::unique_ptr<Na::JobRequest> RequestOf(
    Na::Agent* agent, Na::IClientPort* port, const Na::RequestMap& data = {}) {
    auto request = std::make_unique<Na::JobRequest>();
    request->agent = agent;
    request->clientId = ClientId;
    request->port = port;
    request->data = data;
    return request;
}

class GivenJob : public Na::AgentJob {
public:
    using Work = std::function<void(GivenJob&)>;

    explicit GivenJob(std::unique_ptr<Na::JobRequest> jobRequest, Work jobWork = {})
        : AgentJob(std::move(jobRequest)), work(std::move(jobWork)) {}

    void Execute() override { work(*this); }

private:
    Work work;
};
