// SPDX-License-Identifier: Apache-2.0
#include "tests/e2e/Tinyproxy.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>

#include "tests/support/HttpPeer.h"

namespace {

constexpr char Program[] = "/usr/bin/tinyproxy";
constexpr int Tries = 10;

// Nobody listens there now; somebody may in a moment.
std::string FreeAddress() {
    return ClosedPort().Address();
}

}  // namespace

bool Tinyproxy::IsInstalled() {
    return access(Program, X_OK) == 0;
}

Tinyproxy::Tinyproxy(World& world, const std::string& lines) {
    for (int attempt = 0; attempt < Tries; ++attempt) {
        address = FreeAddress();
        const std::string port = address.substr(address.find(':') + 1);
        log = world.Write("tinyproxy-" + port + ".log", "");
        const std::string configuration = world.Write(
            "tinyproxy-" + port + ".conf",
            "Port " + port +
                "\nListen 127.0.0.1\nTimeout 60\nMaxClients 20\nLogLevel Info\n"
                "LogFile \"" +
                log + "\"\n" + lines);
        process = world.Start({Program, "-d", "-c", configuration});
        Eventually([&] {
            return TextOf(log).find("Accepting connections") != std::string::npos || !process->IsRunning();
        });
        if (process->IsRunning()) {
            return;
        }
    }
    throw std::runtime_error("tinyproxy does not run: " + process->Errors() + TextOf(log));
}

// "CONNECT   Nov 21 06:00:00 [1234]: Request (file descriptor 6): CONNECT 127.0.0.1:443 HTTP/1.1"
std::vector<std::string> Tinyproxy::Requests() const {
    constexpr char Request[] = "]: Request (file descriptor ";
    std::vector<std::string> requests;
    for (const std::string& line : LinesOf(TextOf(log))) {
        const std::size_t at = line.find(Request);
        if (at != std::string::npos) {
            requests.push_back(line.substr(line.find("): ", at) + 3));
        }
    }
    return requests;
}

std::size_t Tinyproxy::Count(const std::string& requestBegin) const {
    const std::vector<std::string> requests = Requests();
    return static_cast<std::size_t>(std::count_if(
        requests.begin(), requests.end(),
        [&](const std::string& request) { return request.rfind(requestBegin, 0) == 0; }));
}

void Tinyproxy::Die() {
    process->Signal(SIGKILL);
    process->WaitForEnd();
}
