// SPDX-License-Identifier: Apache-2.0
#include "tests/system/Machine.h"

#include <gtest/gtest.h>

#include <iostream>
#include <stdexcept>

#include "tests/system/Files.h"

namespace fs = std::filesystem;

namespace {

constexpr char Unit[] = "navoagent.service";
constexpr char ProgramFolder[] = "usr/local/bin";
constexpr ExitStatus Impossible = 77;

// The numbers are far from those that a system gives by itself.
constexpr char Accounts[] =
    "root:x:0:0::/:/bin/sh\n"
    "messagebus:x:40001:40001::/:/bin/false\n"
    "member:x:40002:40002::/:/bin/sh\n"
    "stranger:x:40003:40003::/:/bin/sh\n"
    "nobody:x:65534:65534::/:/bin/false\n";
constexpr char Groups[] =
    "root:x:0:\n"
    "messagebus:x:40001:\n"
    "member:x:40002:\n"
    "stranger:x:40003:\n"
    "nogroup:x:65534:\n";

constexpr char Device[] =
    "[device]\n"
    "model-name=NAVO Virtual Wearable\n"
    "[network]\n"
    "type=wifi\n"
    "[visibility]\n"
    "platform=3135A718804C3B67BBC57A6983AE995CAA89945F1D3074142E912A953AE931C3\n"
    "[package com.orvenco.navoctl]\n"
    "executables=/usr/local/bin/navoctl\n"
    "distributor-root=/etc/platform-root.pem\n";

constexpr char Bus[] =
    "[Unit]\n"
    "Requires=dbus.socket\n"
    "[Service]\n"
    "Type=notify\n"
    "NotifyAccess=main\n"
    "ExecStart=/usr/bin/dbus-daemon --config-file=/etc/dbus.conf --address=systemd: --nofork --nopidfile "
    "--systemd-activation --syslog-only\n";

std::map<std::string, std::string> SystemFiles() {
    return {
        {"etc/passwd", Accounts},
        {"etc/group", Groups},
        {"etc/nsswitch.conf", "passwd: files\ngroup: files\nhosts: files\n"},
        {"etc/machine-id", "6e61766f6e61766f6e61766f6e61766f\n"},
        {"etc/systemd/journald.conf", "[Journal]\nStorage=volatile\nReadKMsg=no\nAudit=no\n"},
        {"etc/systemd/system/dbus.socket", "[Socket]\nListenStream=/run/dbus/system_bus_socket\n"},
        {"etc/systemd/system/dbus.service", Bus},
        {"etc/systemd/system/navo-test.target",
         "[Unit]\nRequires=dbus.service\nAfter=dbus.service sysinit.target\n"},
        {"etc/dbus.conf", SystemBusConfiguration("/etc/dbus-1/system.d")},
        {"etc/navo-device.conf", Device}};
}

// What an installation lays down.
std::map<std::string, std::string> InstalledFiles() {
    const std::string programs = std::string("/") + ProgramFolder;
    return {
        {"etc/dbus-1/system.d/com.orvenco.navoa.conf", ShippedFile("com.orvenco.navoa.conf")},
        {"usr/local/share/dbus-1/system-services/com.orvenco.navoa.service",
         ShippedFile("com.orvenco.navoa.service.in", programs)},
        {std::string("usr/local/lib/systemd/system/") + Unit, ShippedFile("navoagent.service.in", programs)},
        {"usr/local/lib/sysusers.d/navoagent.conf", ShippedFile("navoagent.sysusers.conf")},
        {"usr/local/lib/tmpfiles.d/navoagent.conf", ShippedFile("navoagent.tmpfiles.conf")}};
}

// Brought as they are.
std::map<std::string, fs::path> BroughtFiles() {
    const std::string programs = ProgramFolder;
    return {
        {programs + "/NavoAgent", NAVO_AGENT_PROGRAM},
        {programs + "/navoctl", NAVO_NAVOCTL_PROGRAM},
        {programs + "/navo-keyserver", NAVO_KEYSERVER_PROGRAM},
        {"usr/local/share/catalogues", NAVO_CATALOGUES_DIR},
        {"usr/apps/com.orvenco.navoa/shared/res/gsettings/gschemas.compiled", NAVO_COMPILED_SCHEMA},
        {"etc/platform-root.pem", fs::path(NAVO_DEVICE_CERTIFICATES_DIR) / "platform-root.pem"},
        {"etc/ld.so.cache", "/etc/ld.so.cache"}};
}

}  // namespace

Machine::Machine(const std::map<std::string, std::string>& more) {
    LayOut(more);
    boot = std::make_unique<Process>(
        std::vector<std::string>{NAVO_BOOT_PROGRAM, folder.Path()},
        Process::Surroundings{folder.Path(), CleanEnvironment({"LC_ALL=C.UTF-8"}), "boot"});
    if (Eventually([this] { return IsUp() || !boot->IsRunning(); }) && boot->IsRunning()) {
        TakeIn("member");
        return;
    }
    const std::vector<std::string> lines = boot->OutputLines();
    if (boot->WaitForEnd(std::chrono::milliseconds(0)) == Impossible && !lines.empty()) {
        impediment = lines.back();
        return;
    }
    throw std::runtime_error("the system did not boot: " + boot->Output() + boot->Errors());
}

Machine::~Machine() {
    if (impediment.empty() && ::testing::Test::HasFailure()) {
        std::cerr << Run("root", {"journalctl", "--no-pager", "--boot", "--lines=60"}).output;
    }
}

void Machine::LayOut(const std::map<std::string, std::string>& more) const {
    const fs::path overlay = "overlay";
    fs::create_directory(folder.Path() / "root");
    for (const auto& files : {SystemFiles(), InstalledFiles(), more}) {
        for (const auto& [place, text] : files) {
            folder.Write(overlay / place, text);
        }
    }
    for (const auto& [place, file] : BroughtFiles()) {
        const fs::path link = folder.Path() / overlay / place;
        fs::create_directories(link.parent_path());
        fs::create_symlink(file, link);
    }
}

bool Machine::IsUp() {
    if (init.empty()) {
        const std::vector<std::string> lines = LinesOf(TextOf(folder.Path() / "init"));
        init = lines.empty() ? "" : lines.front();
    }
    return !init.empty() && Run("root", {"systemctl", "is-active", "navo-test.target"}).output == "active\n";
}

// The group is there since the start of the system, or not at all.
void Machine::TakeIn(const std::string& account) {
    Run("root", {"sed", "-i", "s/^navo:.*:$/&" + account + "/", "/etc/group"});
}

std::unique_ptr<Process> Machine::Start(const std::string& account, const std::vector<std::string>& command) {
    std::vector<std::string> all = {"nsenter",        "--target", init,      "--all", "setpriv",
                                    "--reuid",        account,    "--regid", account, "--init-groups",
                                    "--inh-caps=-all"};
    all.insert(all.end(), command.begin(), command.end());
    const std::string name = "program-" + std::to_string(++programs);
    const std::string path = "PATH=/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
    return std::make_unique<Process>(
        all, Process::Surroundings{folder.Path(), {path, "LC_ALL=C.UTF-8"}, name});
}

Machine::Result Machine::Run(const std::string& account, const std::vector<std::string>& command) {
    const std::unique_ptr<Process> process = Start(account, command);
    const std::optional<ExitStatus> status = process->WaitForEnd();
    if (!status) {
        ADD_FAILURE() << command.front() << " does not end";
    }
    return {status.value_or(-1), process->Output(), process->Errors()};
}

fs::path Machine::At(const fs::path& place) const {
    return fs::path("/proc") / init / "root" / place.relative_path();
}

std::string Machine::Property(const std::string& name) {
    const std::string text = Run("root", {"systemctl", "show", "--value", "--property", name, Unit}).output;
    return text.substr(0, text.find('\n'));
}

std::string Machine::Journal() {
    return Run("root", {"journalctl", "--no-pager", "--unit", Unit}).output;
}
