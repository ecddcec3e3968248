// SPDX-License-Identifier: Apache-2.0
// A server-driven script of 30 exchanges over HTTPS, beside a bare loop of the same shape around libcurl and
// the platform's secure element: with few and with many trusted certificates, and over a longer way.
#include <algorithm>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <tuple>

#include "bench/Callgrind.h"
#include "bench/DelayRelay.h"
#include "bench/Groups.h"
#include "bench/Stage.h"
#include "tests/support/world/Script.h"

namespace fs = std::filesystem;

namespace Bench {

namespace {

constexpr unsigned Exchanges = 30;
constexpr double LargestRatio = 1.2;
constexpr double LargestRatioOfAWait = 1.02;
constexpr double MostInstructions = 20e6;  // of a script that follows another
constexpr char SystemTrust[] = "/etc/ssl/certs/ca-certificates.crt";

// The first exchange opens the session and brings the first command set, so there is one set less.
std::string ScriptText() {
    return ScriptOf(std::vector<std::vector<std::string>>(Exchanges - 1, {"00A4040000"}));
}

// The key server stands in a world of its own; its scripts are for services on both sides.
class Server {
public:
    Server() : process(world.StartUnknownKeyServer({"--script", world.Write("script.json", ScriptText())})) {}

    const std::string& Address() const { return process.Address(); }
    int Port() const { return std::stoi(Address().substr(Address().rfind(':') + 1)); }
    fs::path OnlyOwnTrust() const { return process.Authority(); }
    KeyServerProcess::Counts Stop() { return process.Stop(); }

    // The server's certificate behind all those that this machine trusts; empty when the machine has none.
    fs::path FullTrust() const {
        const std::string all = TextOf(SystemTrust);
        return all.empty() ? fs::path() : fs::path(world.Write("trust.pem", all + TextOf(OnlyOwnTrust())));
    }

private:
    World world;
    KeyServerProcess& process;
};

std::string AddressOf(const DelayRelay& relay) {
    return "https://127.0.0.1:" + std::to_string(relay.Port());
}

void RunScript(Stage& stage) {
    const Navo::Map reply = stage.Session().Call(
        {{"Cmd", "65"}, {"ServiceId", "test.service"}, {"FcId", "ISSUE-1"}, {"pushReq", "push"}});
    if (reply.at("ReturnCode") != Done) {
        throw std::runtime_error("a script ended with " + reply.at("ReturnCode"));
    }
}

double MillisecondsOfAScript(Stage& stage) {
    return MicrosecondsOf([&] { RunScript(stage); }) / 1000;
}

double ProcessorMillisecondsOfAScript(Stage& stage) {
    return ProcessorTimeOf(stage, [&] { RunScript(stage); }) / 1000;
}

// Both services, directed to one server.
struct Pair {
    Pair(const std::string& address, const fs::path& trusted) : ours(Side::Ours), floor(Side::Floor) {
        for (Stage* stage : {&ours, &floor}) {
            stage->UseServer(address, trusted);
            stage->Start();
        }
    }
    ~Pair() = default;
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    void End() {
        ours.End();
        floor.End();
    }

    Stage ours;
    Stage floor;
};

Figure Times(
    Pair& pair, const std::string& name, const Settings& settings,
    double (*taken)(Stage& stage) = MillisecondsOfAScript) {
    Figure figure = {"script", name, Milliseconds, {}, {}};
    RunScript(pair.ours);
    RunScript(pair.floor);
    for (unsigned round = 0; round < settings.rounds; ++round) {
        figure.ours.push_back(taken(pair.ours));
        figure.floor.push_back(taken(pair.floor));
    }
    return figure;
}

struct Variant {
    std::string name;
    fs::path trusted;
    bool silent;
    std::optional<double> target;
};

std::vector<Variant> Variants(const Server& server) {
    std::vector<Variant> variants;
    const fs::path full = server.FullTrust();
    if (!full.empty()) {
        variants.push_back({"the system's trusted certificates", full, false, LargestRatio});
    }
    variants.push_back({"one trusted certificate", server.OnlyOwnTrust(), false, LargestRatio});
    variants.push_back({"the same, floor without log lines", server.OnlyOwnTrust(), true, std::nullopt});
    return variants;
}

// Instructions of a service for so many scripts. Each is counted once, whichever figures stand on it.
class ScriptCounts {
public:
    ScriptCounts(std::string address, const Settings& bench) : server(std::move(address)), settings(bench) {}

    double Of(Side side, const Variant& variant, unsigned scripts) {
        const bool silent = variant.silent && side != Side::Ours;
        const auto key = std::make_tuple(side, variant.trusted, silent, scripts);
        const auto found = counts.find(key);
        if (found != counts.end()) {
            return found->second;
        }
        return counts[key] = Count(side, variant.trusted, silent, scripts);
    }

    // Of a script that follows another: the mean of three.
    double Following(Side side, const Variant& variant) {
        return (Of(side, variant, 4) - Of(side, variant, 1)) / 3;
    }

    double First(Side side, const Variant& variant) { return Of(side, variant, 1) - Of(side, variant, 0); }

private:
    double Count(Side side, const fs::path& trusted, bool silent, unsigned scripts) const {
        const fs::path result = settings.scratch / "script.count";
        Stage stage(side);
        stage.UseServer(server, trusted);
        if (silent) {
            stage.WithoutLines();
        }
        stage.StartCounted(result);
        for (unsigned script = 0; script < scripts; ++script) {
            RunScript(stage);
        }
        stage.End();
        return CountIn(result);
    }

    std::string server;
    const Settings& settings;
    std::map<std::tuple<Side, fs::path, bool, unsigned>, double> counts;
};

// Under callgrind a client loads its certificates for longer than the server waits for a handshake, so that
// the server is behind a relay.
void CountAll(Report& report, const Settings& settings) {
    const Server server;
    const DelayRelay relay(server.Port());
    ScriptCounts counts(AddressOf(relay), settings);
    for (const Variant& variant : Variants(server)) {
        report.Add(
            {"script",
             variant.name,
             Instructions,
             {counts.Following(Side::Ours, variant)},
             {counts.Following(Side::Floor, variant)},
             variant.target,
             MostInstructions});
        if (!variant.silent) {
            report.Add(
                {"script",
                 "the first, " + variant.name,
                 Instructions,
                 {counts.First(Side::Ours, variant)},
                 {counts.First(Side::Floor, variant)},
                 variant.target});
        }
    }
    const Variant small = {"", server.OnlyOwnTrust(), false, std::nullopt};
    report.Add(
        {"script",
         "one trusted certificate, floor on sd-bus",
         Instructions,
         {counts.Following(Side::Ours, small)},
         {counts.Following(Side::SdBusFloor, small)}});
}

void TimeTrust(Report& report, const Settings& settings) {
    const Server server;
    for (const Variant& variant : Variants(server)) {
        if (!variant.silent) {
            Pair pair(server.Address(), variant.trusted);
            report.Add(Times(pair, variant.name, settings));
            report.Add(Times(pair, variant.name + ", CPU time", settings, ProcessorMillisecondsOfAScript));
            pair.End();
        }
    }
}

// One for each exchange; the connection is there.
void CountRoundTrips(Report& report, const DelayRelay& relay, Pair& pair) {
    const auto each = [&](Stage& stage) {
        const unsigned before = relay.RoundTrips();
        RunScript(stage);
        return static_cast<double>(relay.RoundTrips() - before);
    };
    report.Add(
        {"script",
         "round trips of a script",
         Count,
         {each(pair.ours)},
         {each(pair.floor)},
         std::nullopt,
         Exchanges});
}

void TimeDistance(Report& report, const Settings& settings) {
    const Server server;
    DelayRelay relay(server.Port());
    Pair pair(AddressOf(relay), server.OnlyOwnTrust());
    report.Add(Times(pair, "through the relay, no delay", settings));
    for (const int milliseconds : {20, 50, 100}) {
        relay.SetRoundTrip(std::chrono::milliseconds(milliseconds));
        if (milliseconds == 20) {
            CountRoundTrips(report, relay, pair);
        }
        Figure far = Times(pair, std::to_string(milliseconds) + " ms of round trip", settings);
        far.target = LargestRatioOfAWait;
        report.Add(far);
    }
    pair.End();
}

void CountConnections(Report& report) {
    constexpr int Scripts = 3;
    Server server;
    Stage stage(Side::Ours);
    stage.UseServer(server.Address(), server.OnlyOwnTrust());
    stage.Start();
    for (int script = 0; script < Scripts; ++script) {
        RunScript(stage);
    }
    stage.End();
    const KeyServerProcess::Counts counts = server.Stop();
    const auto add = [&](const char* name, std::uint64_t count) {
        report.Add({"script", name, Count, {static_cast<double>(count)}, {1}, std::nullopt, 1});
    };
    add("connections of three scripts", counts.connections);
    add("TLS handshakes of three scripts", counts.handshakes);
}

// Ours opens the secure element twice, and probes it before: that is how the service behaves.
void RequireSameWork() {
    constexpr std::size_t LinesOfOpening = 5;
    const Server server;
    Pair pair(server.Address(), server.OnlyOwnTrust());
    RequireSameLines(pair.ours, pair.floor, LinesOfOpening, RunScript);
    pair.End();
}

}  // namespace

void MeasureScript(Report& report, const Settings& settings) {
    RequireSameWork();
    if (settings.wall) {
        CountConnections(report);
        TimeTrust(report, settings);
        TimeDistance(report, settings);
    }
    if (settings.instructions) {
        CountAll(report, settings);
    }
}

}  // namespace Bench
