// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>

#include "keyserver/scripted/Script.h"
#include "keyserver/service/Reading.h"

namespace fs = std::filesystem;

namespace KeyServer {

namespace {

// The agent takes a longer text for a malformed command.
constexpr std::size_t MaximumApduDigits = 65544;

std::string ReadApdu(const Place& place) {
    const std::string apdu = place.NonEmptyText();
    if (apdu.size() > MaximumApduDigits) {
        place.Complain(
            "has " + std::to_string(apdu.size()) + " digits; the agent takes at most " +
            std::to_string(MaximumApduDigits));
    }
    const std::string mistake = ApduMistake(apdu);
    if (!mistake.empty()) {
        place.Complain("the command " + mistake + " (\"raw\" in place of \"apdu\" sends any text)");
    }
    return UpperCase(apdu);
}

std::string ReadRawApdu(const Place& place) {
    const std::string text = place.Text();
    if (text.find('/') != std::string::npos) {
        place.Complain("\"/\" separates commands; \"commandSet\" of the step sends any set");
    }
    return text;
}

std::vector<std::string> ReadExpected(const Place& place) {
    std::vector<std::string> patterns;
    for (const Place& each : place.OneOrMore()) {
        patterns.push_back(each.NonEmptyText());
        if (!IsStatusWordPattern(patterns.back())) {
            each.Complain(
                "\"" + patterns.back() +
                "\" is no status word; it has four hexadecimal digits, or x for any digit, for example 61xx");
        }
    }
    return patterns;
}

ScriptCommand ReadCommand(const Place& place) {
    ScriptCommand command;
    if (place.Is(JsonValue::Kind::Text)) {
        command.apdu = ReadApdu(place);
        return command;
    }
    place.OnlyMembers({"apdu", "raw", "expect", "comment"});
    if (place.Has("apdu") == place.Has("raw")) {
        place.Complain("a command has either \"apdu\" or \"raw\"");
    }
    command.apdu = place.Has("apdu") ? ReadApdu(place.At("apdu")) : ReadRawApdu(place.At("raw"));
    if (place.Has("expect")) {
        command.expected = ReadExpected(place.At("expect"));
    }
    if (place.Has("comment")) {
        command.comment = place.At("comment").Text();
    }
    return command;
}

RelayFailureRule::Action ReadAction(const Place& place) {
    const std::string action = place.Text();
    if (action == "end") {
        return RelayFailureRule::Action::End;
    }
    if (action == "continue") {
        return RelayFailureRule::Action::Continue;
    }
    if (action == "retry") {
        return RelayFailureRule::Action::Retry;
    }
    place.Complain("must be \"end\", \"continue\" or \"retry\", not \"" + action + "\"");
}

RelayFailureRule ReadRelayFailureRule(const Place& place) {
    place.OnlyMembers({"do", "code", "times"});
    RelayFailureRule rule;
    rule.action = ReadAction(place.At("do"));
    if (place.Has("code")) {
        rule.code = ReadEndingCode(place.At("code"));
    }
    if (place.Has("times")) {
        rule.retries = static_cast<unsigned>(place.At("times").Number(1, 1000));
    }
    return rule;
}

ScriptStep ReadStep(const Place& place, const RelayFailureRule& usual) {
    place.OnlyMembers({"comment", "commands", "commandSet", "onRelayFailure"});
    if (place.Has("commands") == place.Has("commandSet")) {
        place.Complain("a step has either \"commands\" or \"commandSet\"");
    }
    ScriptStep step;
    step.onRelayFailure =
        place.Has("onRelayFailure") ? ReadRelayFailureRule(place.At("onRelayFailure")) : usual;
    if (place.Has("comment")) {
        step.comment = place.At("comment").Text();
    }
    if (place.Has("commandSet")) {
        step.rawCommandSet = place.At("commandSet").NonEmptyText();
        return step;
    }
    ReadEach(place.At("commands").Items(), [&step](const Place& command) {
        step.commands.push_back(ReadCommand(command));
    });
    return step;
}

void ReadOptionalParts(const Place& place, Script& script) {
    Gathering gathering;
    const auto read = [&](const char* member, const std::function<void(const Place&)>& action) {
        if (place.Has(member)) {
            gathering.Read([&] { action(place.At(member)); });
        }
    };
    read("finalCode", [&](const Place& code) { script.finalCode = ReadEndingCode(code); });
    read("failureCode", [&](const Place& code) { script.failureCode = ReadEndingCode(code); });
    read("eligibility", [&](const Place& codes) {
        ReadEach(codes.Items(), [&](const Place& code) { script.eligibility.push_back(ReadCode(code)); });
    });
    read("misbehaviours", [&](const Place& faults) {
        ReadEach(faults.Items(), [&](const Place& fault) {
            script.misbehaviours.push_back(ReadMisbehaviour(fault));
        });
    });
    gathering.End();
}

// Without those that editors hide while they work.
std::vector<std::string> FilesOf(const std::string& folder) {
    std::error_code error;
    std::vector<std::string> files;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const fs::path name = entry->path().filename();
        if (name.extension() == ".json" && name.string().front() != '.') {
            files.push_back(entry->path().string());
        }
    }
    if (error) {
        throw ScriptError(folder + ": " + error.message());
    }
    if (files.empty()) {
        throw ScriptError(folder + ": holds no file that ends in .json");
    }
    std::sort(files.begin(), files.end());
    return files;
}

void AddScript(const std::string& file, Catalogue& catalogue) {
    Script script = ParseScript(ReadWholeFile(file), file);
    for (const std::string& id : script.serviceIds) {
        if (const auto other = catalogue.Find(id)) {
            throw ScriptError(
                file + ": /serviceId: the script \"" + other->Name() + "\" serves \"" + id + "\" already");
        }
    }
    if (!script.eligibility.empty()) {
        if (!catalogue.eligibility.empty()) {
            throw ScriptError(file + ": /eligibility: another script gives eligibility answers already");
        }
        catalogue.eligibility = script.eligibility;
    }
    catalogue.services.push_back(std::make_shared<const Script>(std::move(script)));
}

}  // namespace

Script ParseScript(const std::string& text, const std::string& origin) {
    const JsonValue whole = ParseFile(text, origin);
    const Place place(whole, origin);
    place.MustBe(JsonValue::Kind::Object);
    Script script;
    RelayFailureRule usual;
    Gathering gathering;
    gathering.Read([&] {
        place.OnlyMembers(
            {"$schema", "name", "serviceId", "finalCode", "failureCode", "onRelayFailure", "eligibility",
             "misbehaviours", "steps"});
    });
    gathering.Read([&] {
        ReadEach(place.At("serviceId").OneOrMore(), [&](const Place& id) {
            script.serviceIds.push_back(ReadServiceId(id));
        });
        script.name = place.Has("name") ? place.At("name").NonEmptyText() : script.serviceIds.front();
    });
    gathering.Read([&] { ReadOptionalParts(place, script); });
    gathering.Read([&] {
        usual = place.Has("onRelayFailure") ? ReadRelayFailureRule(place.At("onRelayFailure"))
                                            : RelayFailureRule();
    });
    gathering.Read([&] {
        ReadEach(place.At("steps").Items(), [&](const Place& step) {
            script.steps.push_back(ReadStep(step, usual));
        });
    });
    gathering.End();
    return script;
}

Catalogue ReadCatalogue(const std::vector<std::string>& files, const std::vector<std::string>& folders) {
    Catalogue catalogue;
    Gathering gathering;
    for (const std::string& file : files) {
        gathering.Read([&] { AddScript(file, catalogue); });
    }
    for (const std::string& folder : folders) {
        gathering.Read([&] {
            for (const std::string& file : FilesOf(folder)) {
                gathering.Read([&] { AddScript(file, catalogue); });
            }
        });
    }
    gathering.End();
    return catalogue;
}

}  // namespace KeyServer
