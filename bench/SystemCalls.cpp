// SPDX-License-Identifier: Apache-2.0
#include "bench/SystemCalls.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace Bench {

namespace {

constexpr const char* OfTheDevice[] = {"/etc/navo-device.conf", "/dlog", "/environ", "/exe\""};

bool Holds(const std::string& line, const char* part) {
    return line.find(part) != std::string::npos;
}

// The rest of an interrupted call, a signal, or the end of a thread.
bool IsNoCall(const std::string& line) {
    return Holds(line, " resumed>") || Holds(line, " --- ") || Holds(line, " +++ ");
}

bool IsOfTheDevice(const std::string& line) {
    return std::any_of(
        std::begin(OfTheDevice), std::end(OfTheDevice), [&](const char* file) { return Holds(line, file); });
}

}  // namespace

// Descriptors are written with what they stand for, which tells whose a call is.
std::vector<std::string> TracedCommand(const fs::path& result, const std::vector<std::string>& command) {
    std::vector<std::string> traced = {"strace", "-f", "-y", "-qq", "-s", "0", "-o", result.string()};
    traced.insert(traced.end(), command.begin(), command.end());
    return traced;
}

SystemCalls SystemCallsIn(const fs::path& result) {
    std::ifstream stream(result);
    SystemCalls calls;
    for (std::string line; std::getline(stream, line);) {
        if (!IsNoCall(line)) {
            ++(IsOfTheDevice(line) ? calls.device : calls.others);
        }
    }
    if (calls.others == 0) {
        throw std::runtime_error("no system calls in " + result.string());
    }
    return calls;
}

double WaitsOf(pid_t process) {
    constexpr char Key[] = "voluntary_ctxt_switches:";
    double waits = 0;
    for (const fs::directory_entry& thread :
         fs::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        std::ifstream stream(thread.path() / "status");
        for (std::string line; std::getline(stream, line);) {
            if (line.rfind(Key, 0) == 0) {
                waits += std::stod(line.substr(sizeof Key - 1));
            }
        }
    }
    return waits;
}

}  // namespace Bench
