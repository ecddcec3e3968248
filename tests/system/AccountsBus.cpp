// SPDX-License-Identifier: Apache-2.0
#include "tests/system/AccountsBus.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>

#include "tests/system/Files.h"

namespace fs = std::filesystem;

namespace {

constexpr gid_t Clients = 41000;
constexpr gid_t Applications = 41006;

// The bus's own account is needed, because it gives up being root.
constexpr char Users[] =
    "root:x:0:0::/:/bin/sh\n"
    "messagebus:x:41001:41001::/:/bin/false\n"
    "navoagent:x:41002:41002::/:/bin/false\n"
    "member:x:41003:41003::/:/bin/sh\n"
    "stranger:x:41004:41004::/:/bin/sh\n"
    "application:x:41005:41005::/:/bin/sh\n";
constexpr char Groups[] =
    "root:x:0:\n"
    "messagebus:x:41001:\n"
    "navoagent:x:41002:\n"
    "member:x:41003:\n"
    "stranger:x:41004:\n"
    "application:x:41005:\n"
    "secure-element:x:41006:application\n"
    "navo:x:41000:member\n";

// What runs as "$0" sees the lists that the folder holds.
constexpr char WithAccounts[] =
    "set -e; mount --bind \"$0/passwd\" /etc/passwd; mount --bind \"$0/group\" /etc/group; exec \"$@\"";

std::string OutcomeOf(const std::vector<std::string>& command) {
    const TemporaryFolder folder;
    Process process(command, {folder.Path(), CleanEnvironment({"LC_ALL=C.UTF-8"}), "probe"});
    return process.WaitForEnd() == 0 ? "" : process.Errors() + " ";
}

std::vector<std::string> As(const Account& account, const std::vector<std::string>& command) {
    const std::string user = std::to_string(account.user);
    std::string groups;
    for (const gid_t group : account.groups) {
        groups += (groups.empty() ? "--groups=" : ",") + std::to_string(group);
    }
    std::vector<std::string> all = {
        "setpriv", "--reuid=" + user, "--regid=" + user, groups.empty() ? "--clear-groups" : groups};
    all.insert(all.end(), command.begin(), command.end());
    return all;
}

}  // namespace

const Account& Root() {
    static const Account account = {"root", 0, {}};
    return account;
}

const Account& Service() {
    static const Account account = {"navoagent", 41002, {}};
    return account;
}

const Account& Member() {
    static const Account account = {"member", 41003, {Clients}};
    return account;
}

const Account& Stranger() {
    static const Account account = {"stranger", 41004, {}};
    return account;
}

const Account& Application() {
    static const Account account = {"application", 41005, {Applications}};
    return account;
}

std::string AccountsBus::Impediment() {
    if (geteuid() != 0) {
        return "several accounts take root";
    }
    for (const char* program : {"unshare", "setpriv", "gdbus", "dbus-monitor"}) {
        if (!IsInstalled(program)) {
            return std::string(program) + " is not installed";
        }
    }
    const std::string namespaces =
        OutcomeOf({"unshare", "--mount", "sh", "-c", "mount --bind /etc/passwd /etc/passwd"});
    return namespaces.empty() ? OutcomeOf(As(Member(), {"true"})) : namespaces;
}

// The programs are where other accounts reach them, whatever holds the build.
void AccountsBus::Install(const std::string& policy) const {
    folder.Write("passwd", Users);
    folder.Write("group", Groups);
    folder.Write("policies/com.orvenco.navoa.conf", ShippedFile("com.orvenco.navoa.conf"));
    if (!policy.empty()) {
        folder.Write("policies/com.orvenco.navoa.device.conf", policy);
    }
    for (const fs::path program : {NAVO_AGENT_PROGRAM, NAVO_NAVOCTL_PROGRAM}) {
        fs::copy_file(program, Folder() / program.filename());
    }
    folder.Write("device.conf", "[network]\ntype=wifi\n");
    folder.Write(
        "usr/apps/com.orvenco.navoa/shared/res/gsettings/gschemas.compiled", TextOf(NAVO_COMPILED_SCHEMA));
    fs::permissions(Folder(), fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec);
}

AccountsBus::AccountsBus(const std::string& policy) {
    Install(policy);
    const std::string configuration = folder.Write("bus.conf", SystemBusConfiguration(Folder() / "policies"));
    const std::string address = "unix:path=" + (Folder() / "bus").string();
    bus = std::make_unique<Process>(
        std::vector<std::string>{
            "unshare", "--mount", "sh", "-c", WithAccounts, Folder(), "dbus-daemon",
            "--config-file=" + configuration, "--address=" + address, "--nofork", "--nopidfile",
            "--nosyslog"},
        Process::Surroundings{Folder(), CleanEnvironment({"LC_ALL=C.UTF-8"}), "dbus-daemon"});
    if (!Eventually([this] { return fs::exists(Folder() / "bus") || !bus->IsRunning(); }) ||
        !bus->IsRunning()) {
        throw std::runtime_error("the bus did not start: " + bus->Errors());
    }
}

std::unique_ptr<Process> AccountsBus::Start(const Account& account, const std::vector<std::string>& command) {
    // A leak checker's list of exceptions cannot be read by every account.
    const std::vector<std::string> environment = CleanEnvironment(
        {"LC_ALL=C.UTF-8", "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + (Folder() / "bus").string(),
         "NAVO_DEVICE_CONF=" + (Folder() / "device.conf").string(), "ASAN_OPTIONS=detect_leaks=0",
         "LSAN_OPTIONS=", "UBSAN_OPTIONS="});
    const std::string name = "program-" + std::to_string(++programs);
    return std::make_unique<Process>(
        As(account, command), Process::Surroundings{Folder(), environment, name});
}

AccountsBus::Result AccountsBus::Run(const Account& account, const std::vector<std::string>& command) {
    const std::unique_ptr<Process> process = Start(account, command);
    const std::optional<ExitStatus> status = process->WaitForEnd();
    if (!status) {
        ADD_FAILURE() << command.front() << " does not end";
    }
    return {status.value_or(-1), process->Output() + process->Errors()};
}

std::unique_ptr<Process> AccountsBus::StartService(const Account& account) {
    std::unique_ptr<Process> service = Start(account, {Folder() / "NavoAgent"});
    EXPECT_TRUE(Eventually([this] {
        return AskBus(Root(), "org.freedesktop.DBus.NameHasOwner", {"com.orvenco.navoa"}).output ==
               "(true,)\n";
    })) << service->Errors();
    return service;
}

void AccountsBus::StoreAddress(const std::string& address) const {
    const fs::path file =
        folder.Write("opt/usr/data/com.orvenco.navoa/.pref/tuvo", "[network]\nnavo-url='" + address + "'\n");
    for (fs::path place = file; place != Folder() / "opt"; place = place.parent_path()) {
        if (chown(place.c_str(), Service().user, Service().user) != 0) {
            throw std::runtime_error("the address cannot be given to the service's account");
        }
    }
}

AccountsBus::Result AccountsBus::AskBus(
    const Account& account, const std::string& method, const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {"gdbus",
                                        "call",
                                        "--system",
                                        "--dest",
                                        "org.freedesktop.DBus",
                                        "--object-path",
                                        "/org/freedesktop/DBus",
                                        "--method",
                                        method};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return Run(account, command);
}
