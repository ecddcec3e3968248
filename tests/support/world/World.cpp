// SPDX-License-Identifier: Apache-2.0
#include "tests/support/world/World.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>

#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/PrivatePcscd.h"

namespace fs = std::filesystem;

namespace {

constexpr char ServiceName[] = "com.orvenco.navoa";
constexpr char SchemaFolder[] = "usr/apps/com.orvenco.navoa/shared/res/gsettings";
constexpr char SchemaFile[] = "gschemas.compiled";
constexpr std::size_t ShownLines = 40;

std::string Replaced(std::string text, const std::string& place, const std::string& value) {
    for (std::size_t at = 0; (at = text.find(place, at)) != std::string::npos; at += value.size()) {
        text.replace(at, place.size(), value);
    }
    return text;
}

std::vector<std::string> EnvironmentIn(const fs::path& folder) {
    return {
        "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + (folder / "bus").string(),
        "NAVO_DEVICE_CONF=" + (folder / "etc/navo-device.conf").string(),
        "NAVO_DLOG=" + (folder / "dlog").string(),
        "PCSCLITE_CSOCK_NAME=" + PrivatePcscd::SocketIn(folder).string(), "LC_ALL=C.UTF-8"};
}

// What an installation lays down: the activation file and the compiled settings schema.
BusSurroundings InstallIn(const TemporaryFolder& folder) {
    const fs::path data = NAVO_DATA_DIR;
    const std::string activation = TextOf(data / "com.orvenco.navoa.service.in");
    const std::string programs = fs::path(NAVO_AGENT_PROGRAM).parent_path();
    const fs::path file =
        folder.Write("services/com.orvenco.navoa.service", Replaced(activation, "@bindir@", programs));
    folder.Write(fs::path(SchemaFolder) / SchemaFile, TextOf(NAVO_COMPILED_SCHEMA));
    BusSurroundings surroundings;
    surroundings.services = file.parent_path();
    surroundings.environment = CleanEnvironment(EnvironmentIn(folder.Path()));
    surroundings.workingDirectory = folder.Path();
    return surroundings;
}

struct ProcessRow {
    pid_t parent = 0;
    pid_t group = 0;
};

// Parent and process group of a process; zeros when it is gone.
ProcessRow RowOf(const std::string& pid) {
    const std::string text = TextOf("/proc/" + pid + "/stat");
    std::istringstream fields(text.substr(std::min(text.size(), text.rfind(')') + 1)));
    std::string state;
    ProcessRow row;
    fields >> state >> row.parent >> row.group;
    return row;
}

std::vector<pid_t> ChildrenInGroup(pid_t group) {
    std::vector<pid_t> children;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (!std::all_of(
                name.begin(), name.end(), [](unsigned char digit) { return std::isdigit(digit) != 0; })) {
            continue;
        }
        const ProcessRow row = RowOf(name);
        if (row.parent == getpid() && row.group == group) {
            children.push_back(std::stoi(name));
        }
    }
    return children;
}

void ShowEnd(const fs::path& file) {
    const std::vector<std::string> lines = LinesOf(TextOf(file));
    if (lines.empty()) {
        return;
    }
    std::cerr << "--- last lines of " << file.filename().string() << "\n";
    for (std::size_t i = lines.size() - std::min(lines.size(), ShownLines); i < lines.size(); ++i) {
        std::cerr << "    " << lines[i] << "\n";
    }
}

}  // namespace

World::World()
    : device(folder.Path() / "etc/navo-device.conf"),
      environment(CleanEnvironment(EnvironmentIn(folder.Path()))),
      bus(folder.Path(), InstallIn(folder)) {
    // A service that the bus has started becomes a child of this process, which so learns how it ends.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    device.Install(TestPackage, fs::read_symlink("/proc/self/exe"), Privilege::Platform);
}

World::~World() {
    EndServices();
    for (const auto& server : keyServers) {
        server->Stop();
    }
    bus.Stop();
    ReportSanitizers();
    if (::testing::Test::HasFailure() || std::uncaught_exceptions() > 0) {
        ShowLogs();
    }
}

void World::InstallInHouseLibraries() const {
    const fs::path place = Folder() / "usr/lib";
    fs::create_directories(place);
    for (const fs::path library : {NAVO_SPI_LIBRARY, NAVO_KEY_LIBRARY}) {
        fs::create_symlink(library, place / library.filename());
    }
}

void World::RemoveInHouseLibraries() const {
    fs::remove_all(Folder() / "usr/lib");
}

Navo::SessionOptions World::Options() const {
    Navo::SessionOptions options;
    options.busAddress = BusAddress();
    options.confirm = true;
    return options;
}

Navo::Map World::Ask(const Navo::Map& request) const {
    Navo::Session session(Options());
    Navo::Map reply = session.Call(request);
    session.Close();
    return reply;
}

World::Job World::RunScript(const std::string& serviceId) const {
    Job job;
    Navo::CallOptions options;
    options.onProgress = [&](const std::string& text) { job.progress.push_back(text); };
    Navo::Session session(Options());
    const Navo::Map reply = session.Call(
        {{"Cmd", "65"}, {"ServiceId", serviceId}, {"FcId", "ISSUE-1"}, {"pushReq", "push request"}}, options);
    job.returnCode = reply.at("ReturnCode");
    EXPECT_EQ(reply.size(), 1U);
    return job;
}

KeyServerProcess& World::StartKeyServer(const std::vector<std::string>& options) {
    KeyServerProcess& server = StartUnknownKeyServer(options);
    if (fs::exists(server.Authority())) {
        device.TrustCertificatesOf(server.Authority());
    }
    DirectServiceTo(server.Address());
    return server;
}

KeyServerProcess& World::StartUnknownKeyServer(const std::vector<std::string>& options) {
    const std::string name = "keyserver" + std::to_string(++programs);
    keyServers.push_back(
        std::make_unique<KeyServerProcess>(Process::Surroundings{Folder(), environment, name}, options));
    return *keyServers.back();
}

void World::DirectServiceTo(const std::string& address) const {
    const Navo::Map reply = Ask({{"Cmd", "1F5"}, {"hostAddr", address}});
    EXPECT_EQ(reply.at("ReturnCode"), ResultText::Done);
}

std::unique_ptr<ClientProcess> World::StartClient(const std::string& package) {
    std::vector<std::string> own = environment;
    own.push_back("NAVO_PACKAGE=" + package);
    const std::string name = "client" + std::to_string(++programs);
    return std::make_unique<ClientProcess>(NAVO_CLIENT_PROGRAM, Process::Surroundings{Folder(), own, name});
}

std::unique_ptr<Process> World::Start(const std::vector<std::string>& command, const std::string& package) {
    std::vector<std::string> own = environment;
    if (!package.empty()) {
        own.push_back("NAVO_PACKAGE=" + package);
    }
    const std::string name = fs::path(command.front()).filename().string() + std::to_string(++programs);
    return std::make_unique<Process>(command, Process::Surroundings{Folder(), own, name});
}

World::Result World::ResultOf(Process& process) {
    const std::optional<ExitStatus> status = process.WaitForEnd();
    EXPECT_TRUE(status) << "process " << process.Pid() << " does not end";
    return {status.value_or(-1), process.Output(), process.Errors()};
}

World::Result World::Run(const std::vector<std::string>& command) {
    return ResultOf(*Start(command));
}

World::Result World::Navoctl(const std::vector<std::string>& arguments, const std::string& package) {
    return ResultOf(*StartNavoctl(arguments, package));
}

std::unique_ptr<Process> World::StartNavoctl(
    const std::vector<std::string>& arguments, const std::string& package) {
    std::vector<std::string> command = {NAVO_NAVOCTL_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return Start(command, package);
}

std::unique_ptr<Process> World::StartService() {
    const std::string name = "service" + std::to_string(++programs);
    return std::make_unique<Process>(
        std::vector<std::string>{NAVO_AGENT_PROGRAM}, Process::Surroundings{Folder(), environment, name});
}

pid_t World::ServiceProcess() const {
    BusCaller caller(BusAddress());
    return caller.ProcessOf(ServiceName);
}

std::optional<ExitStatus> World::AwaitEndOf(pid_t service) const {
    std::optional<ExitStatus> status;
    Eventually([&] { return (status = Collect(service)).has_value(); });
    return status;
}

World::Holdings World::HoldingsOf(pid_t process) {
    Holdings holdings;
    const fs::path folder = "/proc/" + std::to_string(process);
    for (const fs::directory_entry& entry : fs::directory_iterator(folder / "fdinfo")) {
        ++holdings.descriptors;
        for (const std::string& line : LinesOf(TextOf(entry.path()))) {
            holdings.watches += line.rfind("inotify ", 0) == 0 ? 1 : 0;
        }
    }
    return holdings;
}

void World::StopBus() {
    EndServices();
    bus.Stop();
}

// Each line of the log begins with "D/NavoAgent( 1234): ".
std::vector<std::string> World::Log() const {
    std::vector<std::string> messages;
    for (const std::string& line : LinesOf(TextOf(Folder() / "dlog"))) {
        const std::size_t end = line.find("): ");
        messages.push_back(end == std::string::npos ? line : line.substr(end + 3));
    }
    return messages;
}

std::size_t World::LogCount(const std::string& text) const {
    const std::vector<std::string> lines = Log();
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(text) != std::string::npos;
    }));
}

bool World::ElementIsClosed() const {
    bool closed = true;
    for (const std::string& line : Log()) {
        closed = line.find("Starting to work with SE") == std::string::npos &&
                 (closed || line.find("Closing SE") != std::string::npos);
    }
    return closed;
}

// The service outlives its bus, so it is ended first.
void World::EndServices() const {
    if (bus.Pid() == 0) {
        return;
    }
    for (const pid_t child : ChildrenInGroup(bus.Pid())) {
        if (child != bus.Pid()) {
            EndChild(child);
        }
    }
}

void World::ReportSanitizers() const {
    for (const fs::directory_entry& entry : fs::directory_iterator(Folder())) {
        const std::string text = entry.is_regular_file() ? TextOf(entry.path()) : std::string();
        if (text.find("Sanitizer: ") != std::string::npos ||
            text.find("runtime error: ") != std::string::npos) {
            ADD_FAILURE() << entry.path().filename() << " holds a sanitizer's report:\n" << text;
        }
    }
}

void World::ShowLogs() const {
    for (const fs::directory_entry& entry : fs::directory_iterator(Folder())) {
        const std::string extension = entry.path().extension();
        if (entry.path().filename() == "dlog" || extension == ".log" || extension == ".out" ||
            extension == ".err") {
            ShowEnd(entry.path());
        }
    }
}
