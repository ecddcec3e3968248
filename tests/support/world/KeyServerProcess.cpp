// SPDX-License-Identifier: Apache-2.0
#include "tests/support/world/KeyServerProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

constexpr char ListeningLine[] = "navo-keyserver listening on ";

bool Has(const std::vector<std::string>& options, const std::vector<std::string>& names) {
    return std::find_first_of(options.begin(), options.end(), names.begin(), names.end()) != options.end();
}

std::vector<std::string> CommandOf(const fs::path& folder, const std::vector<std::string>& options) {
    std::vector<std::string> command = {NAVO_KEYSERVER_PROGRAM};
    if (!Has(options, {"--http"})) {
        command.insert(command.end(), {"--make-certificate", folder});
    }
    if (!Has(options, {"--script", "--scripts", "--catalogue", "--eligibility"})) {
        command.insert(command.end(), {"--scripts", NAVO_SCRIPTS_DIR});
    }
    command.insert(
        command.end(),
        {"--record", folder / "record", "--mask", "none", "--summary-file", folder / "counts"});
    command.insert(command.end(), options.begin(), options.end());
    return command;
}

fs::path FolderOf(const Process::Surroundings& surroundings) {
    const fs::path folder = surroundings.directory / surroundings.name;
    fs::create_directories(folder);
    return folder;
}

// The body of a message is "data=" and a JSON object of texts.
KeyServerProcess::Message MessageOf(const nlohmann::json& row) {
    KeyServerProcess::Message message;
    message.kind = row.at("msgCd");
    message.body = row.at("request");
    message.resultCode = row.at("resultCode");
    message.remark = row.at("remark");
    message.notes = row.at("notes").get<std::vector<std::string>>();
    const nlohmann::json object = nlohmann::json::parse(message.body.substr(5));
    for (const auto& [key, value] : object.items()) {
        message.fields[key] = value.get<std::string>();
    }
    return message;
}

}  // namespace

KeyServerProcess::KeyServerProcess(
    const Process::Surroundings& surroundings, const std::vector<std::string>& options)
    : folder(FolderOf(surroundings)), process(CommandOf(folder, options), surroundings) {
    const bool listens = Eventually([this] {
        const std::string text = process.Output();
        const std::size_t at = text.find(ListeningLine);
        const std::size_t end = text.find('\n', at);
        if (at != std::string::npos && end != std::string::npos) {
            const std::size_t begin = at + sizeof ListeningLine - 1;
            address = text.substr(begin, end - begin);
        }
        return !address.empty() || !process.IsRunning();
    });
    if (!listens || address.empty()) {
        throw std::runtime_error("the key server does not listen: " + process.Errors());
    }
}

std::vector<KeyServerProcess::Message> KeyServerProcess::Messages() const {
    std::vector<Message> messages;
    for (const std::string& line : LinesOf(TextOf(folder / "record"))) {
        messages.push_back(MessageOf(nlohmann::json::parse(line)));
    }
    return messages;
}

std::size_t KeyServerProcess::Count(const std::string& kind) const {
    const std::vector<Message> messages = Messages();
    return static_cast<std::size_t>(std::count_if(
        messages.begin(), messages.end(), [&](const Message& message) { return message.kind == kind; }));
}

KeyServerProcess::Counts KeyServerProcess::Stop() {
    if (process.IsRunning()) {
        process.Signal(SIGTERM);
        EXPECT_EQ(process.WaitForEnd(), 0) << "the key server: " << process.Errors();
    }
    Counts counts;
    const std::string text = TextOf(folder / "counts");
    if (!text.empty()) {
        const nlohmann::json object = nlohmann::json::parse(text);
        counts.connections = object.at("connections");
        counts.handshakes = object.at("handshakes");
        counts.messages = object.at("messages");
        counts.sessions = object.at("sessions");
    }
    return counts;
}
