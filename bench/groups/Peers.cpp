// SPDX-License-Identifier: Apache-2.0
// The service beside programs of other people that do something alike, from one run on one machine: services
// on a bus of their own, and programs that send bodies to a server over HTTPS. What they do is not the same,
// so that there is no target. A program that is not installed is left out by name.
#include <gio/gio.h>
#include <sys/resource.h>

#include <fstream>
#include <iostream>
#include <stdexcept>

#include "bench/Groups.h"
#include "bench/Memory.h"
#include "bench/Runner.h"
#include "bench/Work.h"
#include "tests/support/BusDaemon.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;

namespace Bench {

namespace {

constexpr char Group[] = "peers";
constexpr unsigned CallsOfARound = 200;
constexpr unsigned FewExchanges = 5;
constexpr unsigned ManyExchanges = 105;
constexpr std::chrono::seconds Patience{30};

// Everybody may do everything on it, since nobody else is there.
constexpr char BusConfiguration[] =
    "<!DOCTYPE busconfig PUBLIC '-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN' "
    "'http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd'>\n"
    "<busconfig><type>system</type><listen>unix:path=@folder@/bus</listen><auth>EXTERNAL</auth>"
    "<policy context='default'><allow user='*'/><allow own='*'/><allow send_destination='*'/>"
    "<allow receive_sender='*'/></policy></busconfig>\n";

// A service of somebody else, and a property that it reads when it is asked.
struct PeerService {
    const char* name;
    fs::path program;
    const char* busName;
    const char* object;
    const char* interface;
    const char* property;
};

const PeerService Services[] = {
    {"systemd-hostnamed", "/usr/lib/systemd/systemd-hostnamed", "org.freedesktop.hostname1",
     "/org/freedesktop/hostname1", "org.freedesktop.hostname1", "Hostname"},
    {"boltd", "/usr/libexec/boltd", "org.freedesktop.bolt", "/org/freedesktop/bolt",
     "org.freedesktop.bolt1.Manager", "Version"},
    {"upowerd", "/usr/libexec/upowerd", "org.freedesktop.UPower", "/org/freedesktop/UPower",
     "org.freedesktop.UPower", "DaemonVersion"},
};

struct Sample {
    double start = 0;         // from exec to the name on the bus, ms
    double privateDirty = 0;  // then, bytes
    double processor = 0;     // for a call, us
};

BusDaemon::Surroundings BusIn(const TemporaryFolder& folder) {
    std::string text = BusConfiguration;
    const std::string place = "@folder@";
    text.replace(text.find(place), place.size(), folder.Path().string());
    return {folder.Write("bus.conf", text), folder.Path() / "bus.log", folder.Path(), CleanEnvironment({})};
}

// A client on the peer's bus.
class PeerBus {
public:
    explicit PeerBus(const std::string& address)
        : connection(
              g_dbus_connection_new_for_address_sync(
                  address.c_str(),
                  static_cast<GDBusConnectionFlags>(
                      G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                      G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                  nullptr, nullptr, nullptr),
              g_object_unref) {
        if (!connection) {
            throw std::runtime_error("the peers' bus does not let its client in");
        }
    }

    bool HasOwner(const char* name) const {
        GVariant* const reply = Call(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
            g_variant_new("(s)", name));
        gboolean owned = FALSE;
        if (reply != nullptr) {
            g_variant_get(reply, "(b)", &owned);
            g_variant_unref(reply);
        }
        return owned != FALSE;
    }

    // False when it is not answered.
    bool Read(const PeerService& peer) const {
        GVariant* const reply = Call(
            peer.busName, peer.object, "org.freedesktop.DBus.Properties", "Get",
            g_variant_new("(ss)", peer.interface, peer.property));
        if (reply != nullptr) {
            g_variant_unref(reply);
        }
        return reply != nullptr;
    }

private:
    GVariant* Call(
        const char* name, const char* object, const char* interface, const char* method,
        GVariant* arguments) const {
        return g_dbus_connection_call_sync(
            connection.get(), name, object, interface, method, arguments, nullptr, G_DBUS_CALL_FLAGS_NONE,
            G_MAXINT, nullptr, nullptr);
    }

    std::unique_ptr<GDBusConnection, decltype(&g_object_unref)> connection;
};

Sample SampleOf(const PeerService& peer) {
    const TemporaryFolder folder;
    const BusDaemon bus(BusIn(folder));
    const PeerBus client(bus.Address());
    std::unique_ptr<Process> service;
    Sample sample;
    sample.start = MicrosecondsOf([&] {
                       service = std::make_unique<Process>(
                           std::vector<std::string>{peer.program},
                           Process::Surroundings{
                               folder.Path(), CleanEnvironment({"DBUS_SYSTEM_BUS_ADDRESS=" + bus.Address()}),
                               peer.name});
                       const auto deadline = std::chrono::steady_clock::now() + Patience;
                       while (!client.HasOwner(peer.busName) && std::chrono::steady_clock::now() < deadline) {
                       }
                   }) /
                   1000;
    sample.privateDirty = MemoryOf(service->Pid()).privateDirty;
    if (!client.Read(peer)) {
        throw std::runtime_error(std::string(peer.name) + " does not answer: " + service->Errors());
    }
    const double before = ProcessorTimeOf(service->Pid());
    for (unsigned call = 0; call < CallsOfARound; ++call) {
        client.Read(peer);
    }
    sample.processor = (ProcessorTimeOf(service->Pid()) - before) / CallsOfARound;
    return sample;
}

Sample OwnSample() {
    Stage stage(Side::Ours);
    Sample sample;
    sample.start = MicrosecondsOf([&] { stage.Start(); }) / 1000;
    sample.privateDirty = MemoryOf(stage.Pid()).privateDirty;
    stage.AskForStatus(1);
    sample.processor = ProcessorTimeOf(stage, [&] { stage.AskForStatus(CallsOfARound); }) / CallsOfARound;
    stage.End();
    return sample;
}

void CompareServices(Report& report, const Settings& settings) {
    for (const PeerService& peer : Services) {
        if (!fs::exists(peer.program)) {
            std::cerr << "navo-bench: " << peer.name << " is not installed and left out\n";
            continue;
        }
        const std::string beside = std::string(", beside ") + peer.name;
        Figure start = {Group, "start" + beside, Milliseconds, {}, {}};
        Figure memory = {Group, "private dirty" + beside, ByteCount, {}, {}};
        Figure call = {Group, "CPU for a call" + beside, Microseconds, {}, {}};
        for (unsigned round = 0; round < settings.rounds; ++round) {
            const auto add = [&](const Sample& sample, std::vector<double> Figure::* side) {
                (start.*side).push_back(sample.start);
                (memory.*side).push_back(sample.privateDirty);
                (call.*side).push_back(sample.processor);
            };
            add(OwnSample(), &Figure::ours);
            add(SampleOf(peer), &Figure::floor);
        }
        for (const Figure& figure : {start, memory, call}) {
            report.Add(figure);
        }
    }
}

// Sends so many bodies to one address, one after the other.
struct PeerSender {
    const char* name;
    fs::path program;
    std::vector<std::string> options;  // the certificate to trust comes behind
};

const PeerSender Senders[] = {
    {"curl", "/usr/bin/curl", {"--silent", "--data", "data={}", "--cacert"}},
    {"wget", "/usr/bin/wget", {"--quiet", "--output-document=-", "--post-data=data={}", "--ca-certificate"}},
};

double ProcessorTimeOfChildren() {
    rusage usage = {};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto microseconds = [](const timeval& time) {
        return 1e6 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec);
    };
    return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

double SenderTime(
    const PeerSender& sender, const HttpPeer& server, const std::string& trusted, unsigned exchanges,
    const Settings& settings) {
    std::vector<std::string> command = {sender.program};
    command.insert(command.end(), sender.options.begin(), sender.options.end());
    command.push_back(trusted);
    command.insert(command.end(), exchanges, server.Url() + "/IssueCard.do");
    const double before = ProcessorTimeOfChildren();
    OutputOf(settings.scratch, command);
    return ProcessorTimeOfChildren() - before;
}

void CompareSenders(Report& report, const Settings& settings) {
    for (const PeerSender& sender : Senders) {
        if (!fs::exists(sender.program)) {
            std::cerr << "navo-bench: " << sender.name << " is not installed and left out\n";
            continue;
        }
        ScriptedServer server;
        Stage stage(Side::Ours);
        server.Serve(stage);
        stage.Start();
        const TestCertificate certificate({"127.0.0.1"});
        const HttpPeer peer(certificate.ServerContext());
        const fs::path trusted = settings.scratch / (std::string(sender.name) + ".pem");
        std::ofstream(trusted) << certificate.Pem();
        const std::string beside = std::string(", beside ") + sender.name;
        Figure figure = {Group, "CPU for an exchange" + beside, Microseconds, {}, {}};
        constexpr double Exchanges = ManyExchanges - FewExchanges;
        for (unsigned round = 0; round < settings.rounds; ++round) {
            const auto ours = [&](unsigned count) {
                return ProcessorTimeOf(stage, [&] { server.Play(stage, count, 1); });
            };
            figure.ours.push_back((ours(ManyExchanges) - ours(FewExchanges)) / Exchanges);
            const auto theirs = [&](unsigned count) {
                return SenderTime(sender, peer, trusted, count, settings);
            };
            figure.floor.push_back((theirs(ManyExchanges) - theirs(FewExchanges)) / Exchanges);
        }
        report.Add(figure);
        report.Add(
            {Group,
             "handshakes" + beside,
             Count,
             {static_cast<double>(server.Handshakes())},
             {static_cast<double>(peer.Handshakes())}});
        stage.End();
    }
}

}  // namespace

void MeasurePeers(Report& report, const Settings& settings) {
    if (settings.wall) {
        CompareServices(report, settings);
        CompareSenders(report, settings);
    }
}

}  // namespace Bench
