// SPDX-License-Identifier: Apache-2.0
// The service under its unit, started by the system bus of a booted system.
#include <gmock/gmock.h>

#include <fstream>

#include "tests/system/Files.h"
#include "tests/system/Machine.h"

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr char Cplc[] =
    "4F525731000150600100506100C0FFEE00424F5050654F4550664F495070000000014F53507100000002\n";
constexpr char AddressFile[] = "/opt/usr/data/com.orvenco.navoa/.pref/tuvo";
constexpr char CookieFolder[] = "/tmp/com.orvenco.navoa/.ssid";

class Unit : public testing::Test {
protected:
    void SetUp() override {
        if (NAVO_SANITIZED != 0) {
            GTEST_SKIP() << "a sanitizer needs what the unit takes away";
        }
        Boot();
        if (!machine->Impediment().empty()) {
            GTEST_SKIP() << "no system can be booted here: " << machine->Impediment();
        }
    }

    void Boot(const std::map<std::string, std::string>& more = {}) {
        machine.reset();
        machine = std::make_unique<Machine>(more);
    }

    Machine::Result Navoctl(
        const std::vector<std::string>& arguments, const std::string& account = "member") {
        std::vector<std::string> command = {"navoctl"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return machine->Run(account, command);
    }

    std::string Output(const std::vector<std::string>& command) {
        return machine->Run("root", command).output;
    }

    // Starts the key server of the demonstration; its address.
    std::string StartServer() {
        server = machine->Start(
            "root", {"navo-keyserver", "--make-certificate", "/run/certificates", "--catalogue",
                     "/usr/local/share/catalogues/wallet.json", "--port-file", "/run/port"});
        EXPECT_TRUE(Eventually([this] { return fs::exists(machine->At("/run/port")); }))
            << server->Output() << server->Errors();
        // The service's device reads it from now on.
        std::ofstream(machine->At("/etc/navo-device.conf"), std::ios::app)
            << "[trust]\nca-file=/run/certificates/ca.pem\n";
        return "https://127.0.0.1:" + LinesOf(TextOf(machine->At("/run/port"))).front();
    }

    // As another start of the service would have left it.
    void StoreAddress(const std::string& address) {
        const std::string script =
            "umask 077; mkdir -p \"${1%/*}\"; printf \"[network]\\nnavo-url='%s'\\n\" \"$2\" >\"$1\"";
        const Machine::Result stored =
            machine->Run("navoagent", {"sh", "-c", script, "sh", AddressFile, address});
        EXPECT_EQ(stored.status, 0) << stored.errors;
    }

    // Opens a session that stays; the service's process as the test sees it.
    fs::path HoldTheService() {
        const Machine::Result opened = machine->Run(
            "member", {"gdbus", "call", "--system", "--dest", "com.orvenco.navoa", "--object-path",
                       "/com/orvenco/navoa", "--method", "com.orvenco.navoa.Session", "{'Session': 'Open'}"});
        EXPECT_EQ(opened.output, "({'ReturnCode': 'Success'},)\n") << opened.errors;
        return machine->At("/proc") / machine->Property("MainPID");
    }

    std::unique_ptr<Machine> machine;
    std::unique_ptr<Process> server;
};

}  // namespace

TEST_F(Unit, StartsForAMemberAndEndsWithItsSession) {
    EXPECT_EQ(machine->Property("ActiveState"), "inactive");
    const Machine::Result answer = Navoctl({"cplc"});
    EXPECT_EQ(answer.output, Cplc) << answer.errors;
    EXPECT_TRUE(Eventually([this] { return machine->Property("ActiveState") == "inactive"; }));
    EXPECT_EQ(machine->Property("Result"), "success");
    EXPECT_THAT(machine->Journal(), HasSubstr("Started navoagent.service"));
}

TEST_F(Unit, DoesNotStartForWhoIsNoMember) {
    for (const char* account : {"stranger", "navoagent"}) {
        const Machine::Result answer = Navoctl({"cplc"}, account);
        EXPECT_EQ(answer.output, "");
        EXPECT_THAT(answer.errors, HasSubstr("Rejected send message")) << account;
    }
    EXPECT_THAT(machine->Journal(), Not(HasSubstr("navoagent.service")));
    EXPECT_EQ(Navoctl({"cplc"}, "root").output, Cplc);
}

TEST_F(Unit, FindsItsAccountAndItsFoldersFromTheStartOfTheSystem) {
    EXPECT_THAT(Output({"getent", "group", "navo"}), HasSubstr(":member\n"));
    for (const char* folder : {"/opt/usr/data/com.orvenco.navoa", "/tmp/com.orvenco.navoa", CookieFolder}) {
        EXPECT_EQ(Output({"stat", "--format=%a %U %G", folder}), "700 navoagent navoagent\n") << folder;
    }
}

TEST_F(Unit, RunsTheDemonstrationsJob) {
    StoreAddress(StartServer());
    const Machine::Result run = Navoctl({"run", "--service-id", "demo.wallet", "--fc-id", "ISSUE"});
    EXPECT_EQ(run.output, "00000001_The job has done successfully\n") << run.errors;
    EXPECT_THAT(run.errors, HasSubstr("D8_Key Changes"));
    // The cookie is where the next start finds it, and where nobody else does.
    EXPECT_EQ(
        Output({"find", CookieFolder, "-type", "f", "-printf", "%m %u %g\n"}), "600 navoagent navoagent\n");
}

TEST_F(Unit, LeavesCookiesThatGoWhenTheyAreOld) {
    StoreAddress(StartServer());
    ASSERT_EQ(Navoctl({"run", "--service-id", "demo.wallet", "--fc-id", "ISSUE"}).status, 0);
    EXPECT_THAT(Output({"ls", CookieFolder}), HasSubstr("dbus_app_"));
    // An age of nothing, in place of days that no test can let pass.
    std::string lines = ShippedFile("navoagent.tmpfiles.conf");
    const std::size_t age = lines.find(" 10d\n");
    ASSERT_NE(age, std::string::npos);
    std::ofstream(machine->At("/etc/aged.conf")) << lines.replace(age, 4, " 0  ");
    EXPECT_EQ(machine->Run("root", {"systemd-tmpfiles", "--clean", "/etc/aged.conf"}).status, 0);
    EXPECT_EQ(
        Output({"find", "/tmp/com.orvenco.navoa", "-printf", "%p\n"}),
        std::string("/tmp/com.orvenco.navoa\n") + CookieFolder + "\n");
    EXPECT_THAT(TextOf(machine->At(AddressFile)), HasSubstr("navo-url"));
}

TEST_F(Unit, TakesOneSessionAfterTheOtherWithoutPause) {
    constexpr int Sessions = 20;
    int answered = 0;
    const std::string script = "for i in $(seq \"$1\"); do navoctl memory || exit; done";
    const Machine::Result all = machine->Run("member", {"sh", "-c", script, "sh", std::to_string(Sessions)});
    for (const std::string& line : LinesOf(all.output)) {
        answered += line == "1310720" ? 1 : 0;
    }
    EXPECT_EQ(answered, Sessions) << all.errors;
    EXPECT_EQ(machine->Property("Result"), "success");
}

TEST_F(Unit, ACrashIsMendedByTheNextClient) {
    HoldTheService();
    const std::string first = machine->Property("MainPID");
    machine->Run("root", {"kill", "-SEGV", first});
    EXPECT_TRUE(Eventually([this] { return machine->Property("ActiveState") == "failed"; }));
    EXPECT_EQ(Navoctl({"cplc"}).output, Cplc);
}

TEST_F(Unit, EndsWithTheBusAndStartsOnTheNextOne) {
    HoldTheService();
    machine->Run("root", {"systemctl", "restart", "dbus.service"});
    EXPECT_TRUE(Eventually([this] { return machine->Property("ActiveState") == "inactive"; }));
    EXPECT_EQ(Navoctl({"cplc"}).output, Cplc);
}

TEST_F(Unit, HoldsTheProcessToItsLimits) {
    const fs::path process = HoldTheService();
    const std::string status = TextOf(process / "status");
    EXPECT_THAT(status, HasSubstr("CapBnd:\t0000000000000000\n"));
    EXPECT_THAT(status, HasSubstr("NoNewPrivs:\t1\n"));
    EXPECT_THAT(status, HasSubstr("Seccomp:\t2\n"));
    EXPECT_THAT(TextOf(process / "limits"), testing::ContainsRegex("Max core file size +0 +0 "));
    EXPECT_THAT(TextOf(process / "mountinfo"), testing::ContainsRegex(" /proc [^\n]*hidepid=(2|invisible)"));
    EXPECT_EQ(machine->Property("MemoryMax"), "268435456");
    const fs::path group = machine->At("/sys/fs/cgroup") / machine->Property("ControlGroup").substr(1);
    if (TextOf(machine->At("/sys/fs/cgroup/cgroup.controllers")).find("memory") != std::string::npos) {
        EXPECT_EQ(TextOf(group / "memory.max"), "268435456\n");
    }
}

TEST_F(Unit, KeepsTheRestOfTheSystemFromTheProcess) {
    HoldTheService();
    std::ofstream(machine->At("/tmp/of-somebody-else")) << "\n";
    const std::string inside =
        "ls -A /tmp; touch /tmp/com.orvenco.navoa/mine && echo cookies; "
        "touch /opt/usr/data/com.orvenco.navoa/mine && echo address; "
        "for place in / /etc /opt /usr/local /var/lib /opt/usr/data; do "
        "touch \"$place/theirs\" 2>/dev/null && echo \"$place\"; done; true";
    // In the process's own view of the file system, where even root can write nowhere else.
    const Machine::Result seen = machine->Run(
        "root", {"nsenter", "--target", machine->Property("MainPID"), "--mount", "sh", "-c", inside});
    EXPECT_EQ(seen.output, "com.orvenco.navoa\ncookies\naddress\n") << seen.errors;
}

TEST_F(Unit, GivesADeviceBackWhatItAsksFor) {
    Boot(
        {{"etc/systemd/system/navoagent.service.d/device.conf", DropInWithEverything()},
         {"etc/sysusers.d/device.conf", "g nfc -\n"}});
    // Its caller's program can be seen now, and with it the package, which is a privileged one.
    const std::string address = StartServer();
    const Machine::Result stored = Navoctl({"set-address", address});
    EXPECT_EQ(stored.status, 0) << stored.errors;
    EXPECT_THAT(TextOf(machine->At(AddressFile)), HasSubstr("navo-url='" + address + "'"));
    EXPECT_EQ(Navoctl({"run", "--service-id", "demo.wallet", "--fc-id", "ISSUE"}).status, 0);
    EXPECT_THAT(Output({"ls", CookieFolder}), HasSubstr("dbus_com.orvenco.navoctl_"));
}
