// SPDX-License-Identifier: Apache-2.0
// The key-management server as a real process on a free port of this machine.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/support/Process.h"

class KeyServerProcess {
public:
    // A message as the server recorded it, with the members of its JSON object.
    struct Message {
        std::string kind;  // "NEXTAPDU"
        std::map<std::string, std::string> fields;
        std::string body;        // as it came, "data=" included
        std::string resultCode;  // of the answer
        std::string remark;
        std::vector<std::string> notes;  // what the server learned from the responses
    };

    struct Counts {
        std::uint64_t connections = 0;
        std::uint64_t handshakes = 0;
        std::uint64_t messages = 0;
        std::uint64_t sessions = 0;
    };

    // Speaks HTTPS with a certificate that it makes for itself unless the options say "--http", and serves
    // the project's own scripts unless the options name others, a catalogue or answers to eligibility.
    // Returns when it listens.
    KeyServerProcess(const Process::Surroundings& surroundings, const std::vector<std::string>& options);

    const std::string& Address() const { return address; }

    // The certificate to trust; none is there with plain HTTP.
    std::filesystem::path Authority() const { return folder / "ca.pem"; }

    // The file that it records each message in.
    std::filesystem::path Record() const { return folder / "record"; }
    std::vector<Message> Messages() const;

    // How many messages of this kind arrived.
    std::size_t Count(const std::string& kind) const;

    // Ends the server; the counts are complete then.
    Counts Stop();

private:
    std::filesystem::path folder;  // of the certificates, the record and the counts
    Process process;
    std::string address;
};
