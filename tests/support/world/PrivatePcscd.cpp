// SPDX-License-Identifier: Apache-2.0
#include "tests/support/world/PrivatePcscd.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <random>
#include <stdexcept>
#include <utility>

#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

constexpr char VpcdVariable[] = "NAVO_VPCD_LIBRARY";

// Below the ports that the system gives away by itself.
constexpr int LowestPort = 20000;
constexpr int HighestPort = 32000;

// The driver of the virtual reader, unpacked but not installed.
fs::path DriverLibrary() {
    const char* named = std::getenv(VpcdVariable);
    return named != nullptr ? fs::path(named) : fs::path(NAVO_VPCD_LIBRARY);
}

// Whoever may not make a mount namespace gets one in a user namespace, where that is allowed.
std::vector<std::string> InNamespace(const std::string& script, const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {"unshare", "--mount"};
    if (geteuid() != 0) {
        command.insert(command.end(), {"--user", "--map-root-user"});
    }
    command.insert(command.end(), {"sh", "-c", script, "sh"});
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

// The service's folder is fixed. Nothing of the machine's own readers is found: their drivers are hidden.
constexpr char HideTheMachine[] = R"(
mount -t tmpfs none /run && mkdir /run/pcscd || exit 1
[ ! -d /usr/lib/pcsc/drivers ] || mount -t tmpfs none /usr/lib/pcsc/drivers || exit 1
)";

// Newer ones ask polkit about every caller, also where there is none, and then refuse.
constexpr char StartService[] = R"(
! pcscd --help 2>/dev/null | grep -q -e --disable-polkit || alone=--disable-polkit
mount --bind "$1" /run/pcscd && exec pcscd --foreground --info $alone --config "$2"
)";

bool IsFree(int port) {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    const bool free = bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    return free;
}

// The first of two neighbours that nobody has.
std::uint16_t FreePortPair() {
    std::random_device random;
    std::uniform_int_distribution<int> ports(LowestPort / 2, HighestPort / 2);
    for (;;) {
        const int port = 2 * ports(random);
        if (IsFree(port) && IsFree(port + 1)) {
            return static_cast<std::uint16_t>(port);
        }
    }
}

bool Listens(const fs::path& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.string().copy(address.sun_path, sizeof address.sun_path - 1);
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool listens = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    return listens;
}

// Whether all threads of a process are in state T.
bool HasStopped(pid_t process) {
    for (const fs::directory_entry& thread :
         fs::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        const std::string row = TextOf(thread.path() / "stat");
        if (row.compare(std::min(row.size(), row.rfind(')')), 4, ") T ") != 0) {
            return false;
        }
    }
    return true;
}

bool Succeeds(const std::vector<std::string>& command) {
    TemporaryFolder folder;
    Process process(command, {folder.Path(), CleanEnvironment({}), "attempt"});
    return process.WaitForEnd() == 0;
}

}  // namespace

std::string PrivatePcscd::Impediment() {
    static const std::string impediment = []() -> std::string {
        if (!fs::exists(DriverLibrary())) {
            return "the virtual reader's driver is not at " + DriverLibrary().string() +
                   "; script/bootstrap test unpacks it";
        }
        if (!Succeeds({"sh", "-c", "command -v pcscd unshare"})) {
            return "pcscd or unshare is not installed";
        }
        if (!Succeeds(InNamespace(HideTheMachine, {}))) {
            return "no mount namespace can be made here";
        }
        return {};
    }();
    return impediment;
}

PrivatePcscd::PrivatePcscd(fs::path placeOfFiles) : folder(std::move(placeOfFiles)) {
    fs::create_directories(folder / "pcscd");
    fs::create_directories(folder / "readers");
    Start();
}

void PrivatePcscd::WriteReaders(Readers readers) const {
    std::ofstream file(folder / "readers" / "vpcd", std::ios::trunc);
    if (readers == Readers::Present) {
        file << "FRIENDLYNAME \"Virtual PCD\"\nDEVICENAME /dev/null:" << port << "\nLIBPATH "
             << DriverLibrary().string() << "\nCHANNELID " << port << "\n";
    }
}

void PrivatePcscd::Start(Readers readers) {
    constexpr int MostAttempts = 5;
    for (int attempt = 0; attempt < MostAttempts; ++attempt) {
        port = port != 0 && attempt == 0 ? port : FreePortPair();
        if (Takes(readers)) {
            return;
        }
    }
    throw std::runtime_error(
        "pcscd does not start: " + (process ? process->Output() + process->Errors() : ""));
}

bool PrivatePcscd::Takes(Readers readers) {
    Stop();
    WriteReaders(readers);
    fs::remove(folder / "pcscd" / "pcscd.comm");
    fs::remove(folder / "pcscd" / "pcscd.pid");
    process = std::make_unique<Process>(
        InNamespace(std::string(HideTheMachine) + StartService, {folder / "pcscd", folder / "readers"}),
        Process::Surroundings{folder, CleanEnvironment({}), "pcscd" + std::to_string(++starts)});
    // It says that it is ready a moment before it listens.
    Eventually([this] { return Listens(SocketIn(folder)) || !process->IsRunning(); });
    const std::size_t waiting = readers == Readers::Present ? 2 : 0;
    return process->IsRunning() && Mentions("Waiting for virtual ICC") == waiting;
}

void PrivatePcscd::Stop() {
    if (process) {
        process->End();
    }
}

void PrivatePcscd::Kill() {
    process->Signal(SIGKILL);
    process->WaitForEnd();
}

// The signal reaches one thread after the other.
void PrivatePcscd::Suspend() {
    process->Signal(SIGSTOP);
    EXPECT_TRUE(Eventually([this] { return HasStopped(process->Pid()); }));
}

void PrivatePcscd::Resume() {
    process->Signal(SIGCONT);
}

std::size_t PrivatePcscd::Mentions(const std::string& text) const {
    const std::vector<std::string> lines = LinesOf(process->Output());
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(text) != std::string::npos;
    }));
}

// Also of a card that was there before the service first looked at its reader.
std::size_t PrivatePcscd::Insertions() const {
    return Mentions("Card ATR: ");
}
