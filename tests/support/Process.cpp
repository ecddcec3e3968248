// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Process.h"

#include <sys/socket.h>
#include <sys/wait.h>

#include <array>
#include <csignal>
#include <fstream>
#include <sstream>

#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds TimeToLeave{5};

[[noreturn]] void Fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Sockets, because writing to a program that is gone must not raise a signal here.
DescriptorPair NewSocketPair() {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        Fail("socketpair");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Descriptor GivenOr(int given, const fs::path& file) {
    return given >= 0 ? Descriptor(given) : OpenToWrite(file, O_TRUNC);
}

}  // namespace

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

Process::Process(const std::vector<std::string>& command, const Surroundings& surroundings)
    : output(surroundings.directory / (surroundings.name + ".out")),
      errors(surroundings.directory / (surroundings.name + ".err")) {
    DescriptorPair ends = NewSocketPair();
    input = std::move(ends.second);
    const Descriptor ownOutput = GivenOr(surroundings.output, output);
    const Descriptor ownErrors = GivenOr(surroundings.errors, errors);
    pid = Start(
        {command,
         surroundings.environment,
         surroundings.directory,
         {ends.first.Get(), ownOutput.Get(), ownErrors.Get()}});
}

Process::~Process() {
    End();
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
        const ssize_t count = send(input.Get(), text.data() + written, text.size() - written, MSG_NOSIGNAL);
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

Ended RunToEnd(const std::vector<std::string>& command) {
    const TemporaryFolder folder;
    Process process(command, {folder.Path(), CleanEnvironment({}), "program"});
    const int status = process.WaitForEnd().value_or(-1);
    return {status, process.Output(), process.Errors()};
}

std::string OutputOf(const std::vector<std::string>& command) {
    return RunToEnd(command).output;
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
