// SPDX-License-Identifier: Apache-2.0
// Kills the service without warning, at random moments of address changes and of server-driven scripts, and
// looks at what it left: the stored address is the old or the new one, cookie files can be read, and the next
// start serves as before.
#include <gio/gio.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <random>
#include <stdexcept>
#include <thread>

#include "tests/soak/Promise.h"
#include "tests/support/world/Script.h"
#include "tests/support/world/World.h"

namespace fs = std::filesystem;

namespace {

constexpr char SettingsFile[] = "opt/usr/data/com.orvenco.navoa/.pref/tuvo";
constexpr char CookieFolder[] = "tmp/com.orvenco.navoa/.ssid";
constexpr int CookieFields = 7;  // of a line of the Netscape format

// The one value that the service stores; empty when the file is not there.
std::string StoredAddress(const fs::path& folder) {
    const fs::path file = folder / SettingsFile;
    if (!fs::exists(file)) {
        return {};
    }
    const std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> keys(g_key_file_new(), g_key_file_unref);
    GError* error = nullptr;
    if (!g_key_file_load_from_file(keys.get(), file.c_str(), G_KEY_FILE_NONE, &error)) {
        const std::string cause = error->message;
        g_error_free(error);
        throw std::runtime_error("the settings cannot be read: " + cause);
    }
    char** const groups = g_key_file_get_groups(keys.get(), nullptr);
    const std::string group = groups[0] != nullptr ? groups[0] : "";
    g_strfreev(groups);
    char* const value = g_key_file_get_value(keys.get(), group.c_str(), "navo-url", nullptr);
    Require(value != nullptr, "the settings hold the address");
    std::string address = value;
    g_free(value);
    // The backend stores a text as GVariant prints it.
    return address.size() > 2 ? address.substr(1, address.size() - 2) : address;
}

bool IsCookieLine(const std::string& line) {
    return line.empty() || (line[0] == '#' && line.rfind("#HttpOnly_", 0) != 0) ||
           std::count(line.begin(), line.end(), '\t') == CookieFields - 1;
}

void CheckCookies(const fs::path& folder) {
    if (!fs::exists(folder / CookieFolder)) {
        return;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(folder / CookieFolder)) {
        std::ifstream stream(entry.path());
        for (std::string line; std::getline(stream, line);) {
            Require(IsCookieLine(line), "a cookie file can be read: " + line);
        }
    }
}

class Victim {
public:
    Victim() : random(20261121) {
        const std::string script =
            world.Write("script.json", ScriptOf({{"00A4040000"}, {"80CA9F7F00"}, {"80CA006600"}}));
        server = world.StartKeyServer({"--script", script, "--quiet"}).Address();
    }

    // A request that takes up to so long, and a kill within that time. True when the service was still at it.
    bool KillDuring(const Navo::Map& request, std::chrono::microseconds longest) {
        Navo::SessionOptions options = world.Options();
        options.confirm = false;
        Navo::Session session(options);
        const pid_t service = world.ServiceProcess();
        std::future<bool> interrupted = std::async(std::launch::async, [&] {
            try {
                session.Call(request);
                return false;
            } catch (const Navo::ClientError&) {
                return true;
            }
        });
        std::this_thread::sleep_for(
            std::chrono::microseconds(std::uniform_int_distribution<long>(0, longest.count())(random)));
        kill(service, SIGKILL);
        const bool atIt = interrupted.get();
        Require(world.AwaitEndOf(service) == -SIGKILL, "it was the kill that ended the service");
        return atIt;
    }

    bool DuringAddressChange(const std::string& address) {
        const std::string before = StoredAddress(world.Folder());
        const bool atIt = KillDuring({{"Cmd", "1F5"}, {"hostAddr", address}}, std::chrono::milliseconds(8));
        const std::string after = StoredAddress(world.Folder());
        Require(after == before || after == address, "the address is the old or the new one, not " + after);
        Require(atIt || after == address, "an address that was acknowledged is stored");
        stored += after == address ? 1 : 0;
        return atIt;
    }

    bool DuringScript() {
        world.DirectServiceTo(server);
        const bool atIt = KillDuring(
            {{"Cmd", "65"}, {"ServiceId", "test.service"}, {"FcId", "ISSUE"}, {"pushReq", "x"}},
            std::chrono::milliseconds(40));
        CheckCookies(world.Folder());
        return atIt;
    }

    int Stored() const { return stored; }

    void RequireService() {
        world.DirectServiceTo(server);
        Require(world.RunScript("test.service").returnCode == Done, "the next start runs a script");
    }

private:
    World world;
    std::mt19937 random;
    std::string server;
    int stored = 0;  // addresses that the kill did not stop
};

int Kill(int count) {
    Victim victim;
    int changes = 0;
    int scripts = 0;
    for (int round = 0; round < count; ++round) {
        changes += victim.DuringAddressChange("https://host-" + std::to_string(round) + ".example") ? 1 : 0;
        scripts += victim.DuringScript() ? 1 : 0;
        if (round % 50 == 49 || round + 1 == count) {
            victim.RequireService();
            std::cout << 2 * (round + 1) << " kills, " << changes << " within an address change, "
                      << victim.Stored() << " new addresses stored, " << scripts << " within a script\n"
                      << std::flush;
        }
    }
    return changes > 0 && scripts > 0 ? 0 : 1;
}

}  // namespace

// navo-kills [ROUNDS]
int main(int count, char** arguments) {
    try {
        return Kill(count > 1 ? std::stoi(arguments[1]) : 1000);
    } catch (const std::exception& error) {
        std::cerr << "navo-kills: " << error.what() << "\n";
        return 1;
    }
}
