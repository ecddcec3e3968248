#include "tests/support/world/Process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds TimeToLeave{5};

[[noreturn]] void Fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int CreateFile(const fs::path& file) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        Fail(file);
    }
    return descriptor;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

struct Descriptors {
    int input;
    int output;
    int errors;
};

// Everything between fork and exec is safe in a process that has other threads.
[[noreturn]] void Become(char** command, char** environment, const char* directory, const Descriptors& own) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (chdir(directory) == 0 && dup2(own.input, STDIN_FILENO) >= 0 && dup2(own.output, STDOUT_FILENO) >= 0 &&
        dup2(own.errors, STDERR_FILENO) >= 0) {
        execvpe(command[0], command, environment);
    }
    _exit(127);
}

}  // namespace

const std::vector<std::string>& UnwantedVariables() {
    static const std::vector<std::string> names = {
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
        "NAVO_DLOG"};
    return names;
}

std::vector<std::string> CleanEnvironment(const std::vector<std::string>& changes) {
    const auto nameOf = [](const std::string& entry) { return entry.substr(0, entry.find('=')); };
    std::vector<std::string> taken = UnwantedVariables();
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

std::optional<ExitStatus> Collect(pid_t child) {
    int status = 0;
    const pid_t found = waitpid(child, &status, WNOHANG);
    if (found != child) {
        return std::nullopt;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void EndChild(pid_t child) {
    kill(child, SIGTERM);
    if (!Eventually([child] { return Collect(child) || kill(child, 0) != 0; }, TimeToLeave)) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

Process::Process(std::vector<std::string> command, const Surroundings& surroundings)
    : output(surroundings.directory / (surroundings.name + ".out")),
      errors(surroundings.directory / (surroundings.name + ".err")) {
    // Sockets, because writing to a program that is gone must not raise a signal here.
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        Fail("socketpair");
    }
    input = ends[1];
    const Descriptors own{ends[0], CreateFile(output), CreateFile(errors)};
    std::vector<std::string> environment = surroundings.environment;
    std::vector<char*> commandPointers = Pointers(command);
    std::vector<char*> environmentPointers = Pointers(environment);
    pid = fork();
    if (pid == 0) {
        Become(commandPointers.data(), environmentPointers.data(), surroundings.directory.c_str(), own);
    }
    for (const int descriptor : {own.input, own.output, own.errors}) {
        close(descriptor);
    }
    if (pid < 0) {
        Fail("fork");
    }
}

Process::~Process() {
    End();
    close(input);
}

bool Process::IsRunning() {
    if (!ending) {
        ending = Collect(pid);
    }
    return !ending;
}

std::optional<ExitStatus> Process::WaitForEnd(std::chrono::milliseconds limit) {
    Eventually([this] { return !IsRunning(); }, limit);
    return ending;
}

void Process::Say(const std::string& line) const {
    const std::string text = line + "\n";
    for (std::size_t written = 0; written < text.size();) {
        const ssize_t count = send(input, text.data() + written, text.size() - written, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            Fail("telling process " + std::to_string(pid));
        }
        written += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
}

void Process::Signal(int number) const {
    kill(pid, number);
}

void Process::End() {
    if (IsRunning()) {
        EndChild(pid);
        ending = -SIGTERM;
    }
}

std::string Process::Output() const {
    return TextOf(output);
}

std::string Process::Errors() const {
    return TextOf(errors);
}

std::vector<std::string> Process::OutputLines() const {
    return LinesOf(Output());
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0, end = 0; (end = text.find('\n', begin)) != std::string::npos;
         begin = end + 1) {
        lines.push_back(text.substr(begin, end - begin));
    }
    return lines;
}

// A file of /proc whose process goes away while it is read ends there; the buffer itself would throw.
std::string TextOf(const fs::path& file) {
    const std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}
