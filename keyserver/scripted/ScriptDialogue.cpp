// SPDX-License-Identifier: Apache-2.0
#include "keyserver/scripted/Script.h"

namespace KeyServer {

namespace {

std::string Joined(const std::vector<std::string>& patterns) {
    std::string text;
    for (const std::string& pattern : patterns) {
        text += (text.empty() ? "" : " or ") + pattern;
    }
    return text.empty() ? "anything" : text;
}

bool Accepts(const ScriptCommand& command, const std::string& statusWord) {
    for (const std::string& pattern : command.expected) {
        if (MatchesStatusWord(pattern, statusWord)) {
            return true;
        }
    }
    return command.expected.empty();
}

class ScriptDialogue final : public Dialogue {
public:
    explicit ScriptDialogue(const Script& played) : script(played) {}

    Turn Begin() override {
        current = 0;
        retries = 0;
        return PlayCurrent();
    }

    Turn Continue(const ResponseSet& responses) override {
        if (current >= script.steps.size()) {
            return End(ResultCode::OutOfTurn, "the script has ended already");
        }
        const ScriptStep& step = script.steps[current];
        if (!responses.Relayed()) {
            return AfterRelayFailure(step.onRelayFailure, responses.relayFailure);
        }
        if (!step.rawCommandSet.empty()) {
            return PlayNext({});
        }
        return AfterResponses(step, responses.responses);
    }

private:
    static Turn End(const std::string& code, const std::string& description) {
        Turn turn;
        turn.resultCode = code;
        turn.description = description;
        return turn;
    }

    Turn PlayCurrent() const {
        const ScriptStep& step = script.steps[current];
        Turn turn;
        turn.resultCode = ResultCode::CommandsExist;
        turn.commandSet = step.rawCommandSet;
        if (turn.commandSet.empty()) {
            std::vector<std::string> commands;
            commands.reserve(step.commands.size());
            for (const ScriptCommand& command : step.commands) {
                commands.push_back(command.apdu);
            }
            turn.commandSet = JoinCommandSet(commands);
        }
        turn.description = "step " + std::to_string(current + 1) + " of " +
                           std::to_string(script.steps.size()) +
                           (step.comment.empty() ? "" : ": " + step.comment);
        return turn;
    }

    Turn PlayNext(std::vector<Verdict> verdicts) {
        ++current;
        retries = 0;
        const bool completed = current >= script.steps.size();
        Turn turn = completed ? End(script.finalCode, "script completed") : PlayCurrent();
        turn.completed = completed;
        turn.verdicts = std::move(verdicts);
        return turn;
    }

    Turn AfterRelayFailure(const RelayFailureRule& rule, const std::string& words) {
        const std::string failure = "the agent relayed nothing (" + words + ")";
        if (rule.action == RelayFailureRule::Action::Continue) {
            return PlayNext({});
        }
        if (rule.action == RelayFailureRule::Action::Retry && retries < rule.retries) {
            ++retries;
            return PlayCurrent();
        }
        return End(rule.code, failure);
    }

    Turn AfterResponses(const ScriptStep& step, const std::vector<std::string>& responses) {
        std::vector<Verdict> verdicts;
        for (std::size_t i = 0; i < responses.size() && i < step.commands.size(); ++i) {
            const ScriptCommand& command = step.commands[i];
            const std::string statusWord = StatusWord(responses[i]);
            verdicts.push_back(
                {command.apdu, responses[i], statusWord, Joined(command.expected),
                 Accepts(command, statusWord), command.comment});
        }
        if (responses.size() != step.commands.size()) {
            return Refuse(
                ResultCode::WrongNumberOfResponses,
                std::to_string(step.commands.size()) + " responses were expected, " +
                    std::to_string(responses.size()) + " came",
                std::move(verdicts));
        }
        for (const Verdict& verdict : verdicts) {
            if (!verdict.accepted) {
                const std::string reason =
                    "status word " + verdict.statusWord + " where " + verdict.expected + " was expected";
                return Refuse(script.failureCode, reason, std::move(verdicts));
            }
        }
        return PlayNext(std::move(verdicts));
    }

    Turn Refuse(const std::string& code, const std::string& reason, std::vector<Verdict> verdicts) {
        Turn turn = End(code, reason);
        turn.verdicts = std::move(verdicts);
        return turn;
    }

    const Script& script;
    std::size_t current = 0;
    unsigned retries = 0;
};

}  // namespace

std::unique_ptr<Dialogue> Script::Open(const Message&) const {
    return std::make_unique<ScriptDialogue>(*this);
}

}  // namespace KeyServer
