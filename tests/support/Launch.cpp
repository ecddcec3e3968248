// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Launch.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "tests/support/Descriptor.h"

namespace {

constexpr const char* UnwantedVariables[] = {
    "http_proxy",
    "https_proxy",
    "all_proxy",
    "no_proxy",
    "HTTP_PROXY",
    "HTTPS_PROXY",
    "ALL_PROXY",
    "NO_PROXY",
    "SSL_CERT_FILE",
    "SSL_CERT_DIR",
    "CURL_CA_BUNDLE",
    "DBUS_SESSION_BUS_ADDRESS",
    "NAVO_PACKAGE",
    "DBUS_STARTER_ADDRESS",
    "DBUS_STARTER_BUS_TYPE",
    "G_MESSAGES_DEBUG",
    "NAVO_DEVICE_CONF",
    "NAVO_DLOG",
    "NAVO_MASK"};

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

// Everything between fork and exec is safe in a process that has other threads.
[[noreturn]] void Become(const Launch& launch, char** command, char** environment) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (launch.ownGroup) {
        setpgid(0, 0);
    }
    // Whoever starts the tests may ignore them, and what is ignored stays so.
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE}) {
        std::signal(number, SIG_DFL);
    }
    bool ready = chdir(launch.directory.c_str()) == 0;
    for (int number = 0; number < static_cast<int>(launch.descriptors.size()); ++number) {
        ready = ready && dup2(launch.descriptors[static_cast<std::size_t>(number)], number) >= 0 &&
                fcntl(number, F_SETFD, 0) == 0;
    }
    if (ready) {
        execvpe(command[0], command, environment);
    }
    _exit(127);
}

}  // namespace

pid_t Start(Launch launch) {
    std::vector<char*> command = Pointers(launch.command);
    std::vector<char*> environment = Pointers(launch.environment);
    DescriptorPair untilItRuns = NewPipe();
    const pid_t pid = fork();
    if (pid == 0) {
        Become(launch, command.data(), environment.data());
    }
    if (pid < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (launch.ownGroup) {
        setpgid(pid, pid);
    }
    untilItRuns.second.Close();
    char byte = 0;
    while (read(untilItRuns.first.Get(), &byte, 1) < 0 && errno == EINTR) {
    }
    return pid;
}

std::vector<std::string> CleanEnvironment(const std::vector<std::string>& changes) {
    const auto nameOf = [](const std::string& entry) { return entry.substr(0, entry.find('=')); };
    std::vector<std::string> taken(std::begin(UnwantedVariables), std::end(UnwantedVariables));
    for (const std::string& change : changes) {
        taken.push_back(nameOf(change));
    }
    std::vector<std::string> result = changes;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (std::find(taken.begin(), taken.end(), nameOf(*entry)) == taken.end()) {
            result.emplace_back(*entry);
        }
    }
    return result;
}
