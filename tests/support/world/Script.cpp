// SPDX-License-Identifier: Apache-2.0
#include "tests/support/world/Script.h"

#include <map>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"

namespace {

constexpr char RawPrefix[] = "raw ";

nlohmann::json CommandOf(const std::string& text) {
    if (text.rfind(RawPrefix, 0) == 0) {
        return {{"raw", text.substr(sizeof RawPrefix - 1)}};
    }
    return text;
}

std::string NameOf(const std::string& instruction) {
    static const std::map<std::string, std::string> names = {
        {"EA", "Deletion"},
        {"CA", "Research"},
        {"F2", "Status Inquiry"},
        {"E6", "Services Installation"},
        {"E8", "Service loading"},
        {"D8", "Key Changes"},
        {"A4", "Select Service"},
        {"F0", "Change of state"},
        {"E2", "Change Info"},
        {"50", "Authentication request"},
        {"82", "Authentication response"}};
    const auto found = names.find(instruction);
    return found == names.end() ? std::string() : found->second;
}

}  // namespace

std::string ScriptOf(const std::vector<std::vector<std::string>>& steps, const std::string& furtherMembers) {
    nlohmann::json script = {{"serviceId", "test.service"}, {"steps", nlohmann::json::array()}};
    for (const std::vector<std::string>& commands : steps) {
        nlohmann::json step = {{"commands", nlohmann::json::array()}};
        for (const std::string& command : commands) {
            step["commands"].push_back(CommandOf(command));
        }
        script["steps"].push_back(step);
    }
    if (!furtherMembers.empty()) {
        script.update(nlohmann::json::parse(furtherMembers));
    }
    return script.dump();
}

std::vector<std::string> CommandsOf(const std::string& scriptFile) {
    std::vector<std::string> commands;
    const nlohmann::json script = nlohmann::json::parse(TextOf(scriptFile));
    for (const nlohmann::json& step : script.at("steps")) {
        for (const nlohmann::json& command : step.at("commands")) {
            commands.push_back(command.is_string() ? command : command.at("apdu"));
        }
    }
    return commands;
}

std::vector<std::string> ProgressOf(const std::vector<std::string>& commands) {
    std::vector<std::string> texts;
    for (const std::string& command : commands) {
        if (command.size() > 6) {
            const std::string instruction = command.substr(2, 2);
            texts.push_back(instruction + "_" + NameOf(instruction));
        }
    }
    return texts;
}
