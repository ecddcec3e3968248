// SPDX-License-Identifier: Apache-2.0
// From exec to the name on the bus, and the memory that a service holds, beside a bare program that links and
// initialises the same libraries.
#include <gio/gio.h>

#include <fstream>
#include <set>
#include <stdexcept>

#include "bench/Callgrind.h"
#include "bench/Groups.h"
#include "bench/Memory.h"
#include "bench/Runner.h"
#include "bench/Stage.h"

namespace fs = std::filesystem;

namespace Bench {

namespace {

constexpr char ServiceName[] = "com.orvenco.navoa";
constexpr double LargestTimeRatio = 1.2;
constexpr double LargestMemoryRatio = 1.3;
constexpr double MostMemory = 4 << 20;
constexpr double MostGrowth = 1024;
constexpr unsigned Requests = 1000;

// Learns of the name's owner without asking again and again.
class NameWatch {
public:
    explicit NameWatch(const std::string& busAddress) : context(g_main_context_new(), g_main_context_unref) {
        g_main_context_push_thread_default(context.get());
        const auto flags = static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
        connection.reset(
            g_dbus_connection_new_for_address_sync(busAddress.c_str(), flags, nullptr, nullptr, nullptr));
        if (!connection) {
            throw std::runtime_error("the bus does not let the watch in");
        }
        watch = g_bus_watch_name_on_connection(
            connection.get(), ServiceName, G_BUS_NAME_WATCHER_FLAGS_NONE, Appeared, Vanished, this, nullptr);
        Await(false);
    }
    ~NameWatch() {
        g_bus_unwatch_name(watch);
        g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
        g_main_context_pop_thread_default(context.get());
    }
    NameWatch(const NameWatch&) = delete;
    NameWatch& operator=(const NameWatch&) = delete;

    // Returns when somebody, or nobody, has the name.
    void Await(bool owned) {
        while (!known || hasOwner != owned) {
            g_main_context_iteration(context.get(), TRUE);
        }
    }

private:
    static void Appeared(GDBusConnection*, const char*, const char*, gpointer self) {
        static_cast<NameWatch*>(self)->Learn(true);
    }
    static void Vanished(GDBusConnection*, const char*, gpointer self) {
        static_cast<NameWatch*>(self)->Learn(false);
    }
    void Learn(bool owned) {
        known = true;
        hasOwner = owned;
    }

    std::unique_ptr<GMainContext, decltype(&g_main_context_unref)> context;
    std::unique_ptr<GDBusConnection, decltype(&g_object_unref)> connection{nullptr, g_object_unref};
    guint watch = 0;
    bool known = false;
    bool hasOwner = false;
};

double MillisecondsToTheName(Stage& stage, NameWatch& watch) {
    std::unique_ptr<Process> service;
    const double taken = MicrosecondsOf([&] {
        service = stage.Surroundings().Start(stage.Command());
        watch.Await(true);
    });
    service->End();
    watch.Await(false);
    return taken / 1000;
}

// Each side in turn on a bus of its own. The first start of all is not counted.
Figure Times(const Settings& settings) {
    Stage ours(Side::Ours);
    Stage floor(Side::Floor);
    Figure figure = {"start", "from exec to the name on the bus", Milliseconds, {}, {}, LargestTimeRatio};
    for (unsigned round = 0; round <= settings.rounds; ++round) {
        NameWatch oursWatch(ours.Surroundings().BusAddress());
        const double ourTime = MillisecondsToTheName(ours, oursWatch);
        NameWatch floorWatch(floor.Surroundings().BusAddress());
        const double floorTime = MillisecondsToTheName(floor, floorWatch);
        if (round > 0) {
            figure.ours.push_back(ourTime);
            figure.floor.push_back(floorTime);
        }
    }
    return figure;
}

double CountOfAStart(Side side, const Settings& settings) {
    const fs::path result = settings.scratch / "start.count";
    Stage stage(side);
    stage.StartCounted(result);
    stage.End();
    return CountIn(result);
}

// After the start, after the first requests, and what a further one leaves behind.
struct Sample {
    Memory started;
    Memory busy;
    double growth = 0;
};

// What the first requests need once is no growth, so that is taken from the next ones.
Sample Take(Side side) {
    Stage stage(side);
    stage.Start();
    Sample sample;
    sample.started = MemoryOf(stage.Pid());
    stage.AskForStatus(Requests);
    sample.busy = MemoryOf(stage.Pid());
    stage.AskForStatus(Requests);
    sample.growth = (MemoryOf(stage.Pid()).privateDirty - sample.busy.privateDirty) / Requests;
    stage.End();
    return sample;
}

void MeasureMemory(Report& report, const Settings& settings) {
    Figure dirty = {"start",   "private dirty after the start", ByteCount, {}, {}, LargestMemoryRatio,
                    MostMemory};
    Figure share = {"start", "proportional share after the start", ByteCount, {}, {}};
    Figure later = {"start",   "private dirty after 1,000 requests", ByteCount, {}, {}, std::nullopt,
                    MostMemory};
    Figure laterShare = {"start", "proportional share after 1,000 requests", ByteCount, {}, {}};
    Figure growth = {"start", "growth by a status request", ByteCount, {}, {}, std::nullopt, MostGrowth};
    for (unsigned round = 0; round < settings.rounds; ++round) {
        for (const Side side : {Side::Ours, Side::Floor}) {
            const Sample sample = Take(side);
            const auto add = [&](Figure& figure, double value) {
                (side == Side::Ours ? figure.ours : figure.floor).push_back(value);
            };
            add(dirty, sample.started.privateDirty);
            add(share, sample.started.proportional);
            add(later, sample.busy.privateDirty);
            add(laterShare, sample.busy.proportional);
            add(growth, sample.growth);
        }
    }
    for (const Figure& figure : {dirty, share, later, laterShare, growth}) {
        report.Add(figure);
    }
}

// Names of the shared libraries in a process.
std::set<std::string> LibrariesOf(pid_t process) {
    std::ifstream stream("/proc/" + std::to_string(process) + "/maps");
    std::set<std::string> libraries;
    for (std::string line; std::getline(stream, line);) {
        const std::size_t at = line.find('/');
        if (at != std::string::npos && line.find(".so", at) != std::string::npos) {
            libraries.insert(line.substr(at));
        }
    }
    return libraries;
}

double LibraryCount(Side side) {
    Stage stage(side);
    stage.Start();
    const auto count = static_cast<double>(LibrariesOf(stage.Pid()).size());
    stage.End();
    return count;
}

// Without what only a debugger reads.
double StrippedSize(Side side, const Settings& settings) {
    const fs::path stripped = settings.scratch / "stripped";
    OutputOf(settings.scratch, {"strip", "-o", stripped, Stage::ProgramOf(side)});
    return static_cast<double>(fs::file_size(stripped));
}

void MeasureProgram(Report& report, const Settings& settings) {
    report.Add(
        {"start",
         "libraries in the process",
         Count,
         {LibraryCount(Side::Ours)},
         {LibraryCount(Side::Floor)}});
    report.Add(
        {"start",
         "program with the virtual device, stripped",
         ByteCount,
         {StrippedSize(Side::Ours, settings)},
         {StrippedSize(Side::Floor, settings)}});
}

}  // namespace

void MeasureStart(Report& report, const Settings& settings) {
    if (settings.wall) {
        report.Add(Times(settings));
        MeasureMemory(report, settings);
        MeasureProgram(report, settings);
    }
    if (settings.instructions) {
        const double ours = CountOfAStart(Side::Ours, settings);
        report.Add(
            {"start",
             "start, one session and end",
             Instructions,
             {ours},
             {CountOfAStart(Side::Floor, settings)},
             LargestTimeRatio});
    }
}

}  // namespace Bench
