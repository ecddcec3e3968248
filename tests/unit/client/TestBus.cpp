#include "tests/unit/client/TestBus.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "client/lib/Owners.h"
#include "navo/Client.h"

namespace {

// The address that the daemon prints once it listens.
std::string ReadLine(int descriptor) {
    std::string line;
    char character = 0;
    while (read(descriptor, &character, 1) == 1 && character != '\n') {
        line += character;
    }
    return line;
}

}  // namespace

TestBus::TestBus(const std::string& policy) {
    WriteConfiguration(policy);
    Start();
}

TestBus::~TestBus() {
    Kill();
}

void TestBus::WriteConfiguration(const std::string& policy) {
    std::filesystem::create_directory(folder.Path() / "services");
    folder.Write(
        "bus.conf",
        "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
        " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        "<busconfig>\n"
        "  <type>system</type>\n"
        "  <listen>unix:path=" +
            (folder.Path() / "bus").string() +
            "</listen>\n"
            "  <auth>EXTERNAL</auth>\n"
            "  <servicedir>" +
            (folder.Path() / "services").string() +
            "</servicedir>\n"
            "  <policy context=\"default\">\n"
            "    <allow user=\"*\"/>\n"
            "    <allow own=\"*\"/>\n"
            "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
            "    <allow eavesdrop=\"true\"/>\n" +
            policy +
            "  </policy>\n"
            "</busconfig>\n");
}

void TestBus::Start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    const std::string configuration = "--config-file=" + (folder.Path() / "bus.conf").string();
    const std::string log = (folder.Path() / "bus.log").string();
    process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[1], STDOUT_FILENO);
        dup2(open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), STDERR_FILENO);
        execl(
            "/usr/bin/dbus-daemon", "dbus-daemon", configuration.c_str(), "--nofork", "--nopidfile",
            "--nosyslog", "--print-address=1", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(ends[1]);
    address = ReadLine(ends[0]);
    close(ends[0]);
    if (address.empty()) {
        throw std::runtime_error("dbus-daemon did not start: " + ReadFile(folder.Path() / "bus.log"));
    }
}

void TestBus::Kill() {
    if (process > 0) {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        process = -1;
    }
}

void TestBus::OfferActivation(const std::string& commandLine) {
    folder.Write(
        std::string("services/") + Navo::ServiceName + ".service",
        std::string("[D-BUS Service]\nName=") + Navo::ServiceName + "\nExec=" + commandLine + "\n");
    GError* error = nullptr;
    const Navo::ConnectionPtr connection(g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    const Navo::VariantPtr reply(g_dbus_connection_call_sync(
        connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "ReloadConfig", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
    const Navo::ErrorPtr owned(error);
    if (reply == nullptr) {
        throw std::runtime_error(std::string("ReloadConfig: ") + owned->message);
    }
    g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
}
