#include "tests/support/PrivateBus.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace fs = std::filesystem;

namespace {

constexpr int AddressDescriptor = 3;
constexpr auto TimeToLeave = std::chrono::seconds(2);

class Descriptor {
public:
    explicit Descriptor(int number) : value(number) {}
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return value; }
    void Close() {
        if (value >= 0) {
            close(value);
            value = -1;
        }
    }

private:
    int value;
};

std::string ReadAll(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void Replace(std::string& text, const std::string& place, const std::string& value) {
    const size_t at = text.find(place);
    if (at == std::string::npos) {
        throw std::runtime_error("private-bus.conf.in has no place " + place);
    }
    // The comment at the head of the template names the places too.
    for (size_t next = at; next != std::string::npos; next = text.find(place, next + value.size())) {
        text.replace(next, place.size(), value);
    }
}

fs::path WriteConfiguration(const fs::path& folder, const fs::path& services) {
    const fs::path data = NAVO_TEST_DATA_DIR;
    std::string text = ReadAll(data / "private-bus.conf.in");
    Replace(text, "@socket@", folder / "bus");
    Replace(text, "@policy@", data / "com.orvenco.navoa.conf");
    Replace(text, "@services@", services);
    Replace(text, "@user@", std::to_string(geteuid()));
    const fs::path file = folder / "bus.conf";
    std::ofstream(file, std::ios::binary) << text;
    return file;
}

std::vector<std::string> ChangedEnvironment(const std::vector<std::string>& changes) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        result.emplace_back(*entry);
    }
    for (const std::string& change : changes) {
        const std::string name = change.substr(0, change.find('=')) + "=";
        const auto isNamed = [&name](const std::string& entry) {
            return entry.compare(0, name.size(), name) == 0;
        };
        result.erase(std::remove_if(result.begin(), result.end(), isNamed), result.end());
        if (change.find('=') != std::string::npos) {
            result.push_back(change);
        }
    }
    return result;
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

// Everything between fork and exec is safe in a process that has other threads.
[[noreturn]] void BecomeTheBus(
    char** arguments, char** environment, const char* folder, int log, int addressPipe) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (chdir(folder) == 0 && dup2(log, STDOUT_FILENO) >= 0 && dup2(log, STDERR_FILENO) >= 0 &&
        dup2(addressPipe, AddressDescriptor) >= 0) {
        fcntl(AddressDescriptor, F_SETFD, 0);
        execvpe(arguments[0], arguments, environment);
    }
    _exit(127);
}

std::string ReadLine(int descriptor) {
    std::string line;
    std::array<char, 256> buffer{};
    while (line.find('\n') == std::string::npos) {
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return {};
        }
        line.append(buffer.data(), static_cast<size_t>(count));
    }
    return line.substr(0, line.find('\n'));
}

void WaitForGroup(pid_t group) {
    const auto deadline = std::chrono::steady_clock::now() + TimeToLeave;
    while (kill(-group, 0) == 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    kill(-group, SIGKILL);
}

}  // namespace

PrivateBus::PrivateBus(const fs::path& place, const BusSurroundings& surroundings)
    : folder(place), logFile(place / "bus.log") {
    const fs::path services = surroundings.services.empty() ? folder / "services" : surroundings.services;
    fs::create_directories(services);
    const fs::path configuration = WriteConfiguration(folder, services);
    const fs::path directory = surroundings.workingDirectory.empty() ? folder : surroundings.workingDirectory;

    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    const Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    const Descriptor log(open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));

    std::vector<std::string> arguments = {
        "dbus-daemon", "--config-file=" + configuration.string(), "--nofork", "--nopidfile",
        "--print-address=" + std::to_string(AddressDescriptor)};
    std::vector<std::string> environment = ChangedEnvironment(surroundings.environment);
    std::vector<char*> argumentPointers = Pointers(arguments);
    std::vector<char*> environmentPointers = Pointers(environment);
    pid = fork();
    if (pid < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (pid == 0) {
        BecomeTheBus(
            argumentPointers.data(), environmentPointers.data(), directory.c_str(), log.Get(), writing.Get());
    }
    setpgid(pid, pid);
    writing.Close();
    address = ReadLine(reading.Get());
    if (address.empty()) {
        Stop();
        throw std::runtime_error("dbus-daemon did not start: " + ReadAll(logFile));
    }
}

PrivateBus::~PrivateBus() {
    Stop();
}

void PrivateBus::Stop() {
    if (pid <= 0) {
        return;
    }
    kill(pid, SIGTERM);
    while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    WaitForGroup(pid);
    pid = 0;
}
