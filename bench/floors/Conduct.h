// SPDX-License-Identifier: Apache-2.0
// What a floor does with a call, whichever library carries it: the sessions, the status command and the
// server-driven script, with the service's log lines. Replies have fixed texts, and nothing is kept of a
// request.
#pragma once

#include <functional>
#include <map>
#include <string>

namespace Floor {

constexpr char Name[] = "com.orvenco.navoa";
constexpr char ObjectPath[] = "/com/orvenco/navoa";

// One call, as its library hands it over. Texts belong to the library.
struct Call {
    void* connection;
    unsigned process;
    std::string client;             // "PACKAGE_PROCESS"
    const char* session = nullptr;  // null where the map does not say
    const char* command = nullptr;
    std::function<std::string(const char* key)> text = {};  // of the map; empty where it does not say
    std::function<void(const char* text)> answer = {};
    std::function<void(const std::string& path, const std::string& text)> emit = {};  // the progress signal
};

// How the service names a client, by its process.
std::string ClientOf(unsigned process);

class Conduct {
public:
    // Answers the call; false when that ended the last session.
    bool Handle(const Call& call);

    std::string server;

private:
    std::map<std::string, unsigned> sessions;
};

// By a floor's command line: [--silent] [SERVER].
Conduct ConductFrom(int count, char** words);

// What the service initialises, as long as it lives; ends the process where that fails.
class Libraries {
public:
    Libraries();
    ~Libraries();
    Libraries(const Libraries&) = delete;
    Libraries& operator=(const Libraries&) = delete;
};

}  // namespace Floor
