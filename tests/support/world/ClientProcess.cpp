// SPDX-License-Identifier: Apache-2.0
#include "tests/support/world/ClientProcess.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

constexpr char ProgressWord[] = "progress\t";

bool IsProgress(const std::string& line) {
    return line.rfind(ProgressWord, 0) == 0;
}

}  // namespace

void ClientProcess::OpenSession() {
    process.Say("open");
    EXPECT_EQ(AwaitAnswer(), "opened");
}

void ClientProcess::CloseSession() {
    process.Say("close");
    EXPECT_EQ(AwaitAnswer(), "closed");
}

Navo::Map ClientProcess::Call(const Navo::Map& request) {
    Ask(request);
    return AwaitReply();
}

void ClientProcess::Ask(const Navo::Map& request) {
    std::string line = "call";
    for (const auto& [key, value] : request) {
        line.append("\t").append(key).append("=").append(value);
    }
    process.Say(line);
}

Navo::Map ClientProcess::AwaitReply() {
    const std::string answer = AwaitAnswer();
    EXPECT_EQ(answer.rfind("reply", 0), 0U) << answer;
    Navo::Map reply;
    for (std::size_t tab = answer.find('\t'); tab != std::string::npos;) {
        const std::size_t next = answer.find('\t', tab + 1);
        const std::string field = answer.substr(tab + 1, next == std::string::npos ? next : next - tab - 1);
        const std::size_t sign = field.find('=');
        reply[field.substr(0, sign)] = field.substr(sign + 1);
        tab = next;
    }
    return reply;
}

std::vector<std::string> ClientProcess::Progress() const {
    std::vector<std::string> texts;
    for (const std::string& line : process.OutputLines()) {
        if (IsProgress(line)) {
            texts.push_back(line.substr(sizeof ProgressWord - 1));
        }
    }
    return texts;
}

void ClientProcess::Die() {
    process.Signal(SIGKILL);
    process.WaitForEnd();
}

std::string ClientProcess::AwaitAnswer() {
    std::string answer;
    const bool arrived = Eventually([&] {
        std::size_t answers = 0;
        for (const std::string& line : process.OutputLines()) {
            if (!IsProgress(line) && ++answers > answersSeen) {
                answer = line;
                return true;
            }
        }
        return !process.IsRunning();
    });
    EXPECT_TRUE(arrived && !answer.empty()) << "the client did not answer: " << process.Errors();
    ++answersSeen;
    return answer;
}
