// SPDX-License-Identifier: Apache-2.0
// A script: fixed steps of command APDUs that are played whatever the card answers, as long as the status
// words are those that the script expects.
#pragma once

#include <string>
#include <vector>

#include "keyserver/service/Dialogue.h"
#include "keyserver/service/Reading.h"

namespace KeyServer {

struct ScriptCommand {
    std::string apdu;
    std::vector<std::string> expected;  // status word patterns; empty accepts every status word
    std::string comment;
};

// What follows when the agent reports that it could not run a command set.
struct RelayFailureRule {
    enum class Action { End, Continue, Retry };
    Action action = Action::End;
    std::string code = ResultCode::RelayFailed;  // for End, and for Retry when the retries are used up
    unsigned retries = 3;
};

struct ScriptStep {
    std::string comment;
    std::vector<ScriptCommand> commands;
    std::string rawCommandSet;  // sent as it stands in place of the commands, when it is not empty
    RelayFailureRule onRelayFailure;
};

class Script final : public Service {
public:
    std::string name;
    std::vector<std::string> serviceIds;
    std::string finalCode = ResultCode::Success;
    std::string failureCode = ResultCode::UnexpectedStatusWord;
    std::vector<std::string> eligibility;
    std::vector<Misbehaviour> misbehaviours;
    std::vector<ScriptStep> steps;

    const std::string& Name() const override { return name; }
    const std::vector<std::string>& ServiceIds() const override { return serviceIds; }
    const std::vector<Misbehaviour>& Misbehaviours() const override { return misbehaviours; }

    // The dialogue refers to this script.
    std::unique_ptr<Dialogue> Open(const Message& opening) const override;
};

// `origin` names the text in messages. Throws ScriptError.
Script ParseScript(const std::string& text, const std::string& origin);

// Reads files, and of each folder the files that end in ".json", in the order of their names. Throws
// ScriptError, also when two scripts serve the same service or two give eligibility answers.
Catalogue ReadCatalogue(const std::vector<std::string>& files, const std::vector<std::string>& folders);

}  // namespace KeyServer
