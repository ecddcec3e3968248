// SPDX-License-Identifier: Apache-2.0
// An APDU through service, virtual device and pcscd to a card in a reader, beside the same APDU by a bare
// program.
#include <iostream>
#include <optional>
#include <stdexcept>

#include "bench/Groups.h"
#include "bench/Stage.h"
#include "tests/support/world/CardInReader.h"
#include "tests/support/world/PrivatePcscd.h"
#include "tests/support/world/Script.h"

namespace fs = std::filesystem;

namespace Bench {

namespace {

constexpr unsigned Apdus = 1000;
constexpr double LargestRatio = 1.2;
constexpr char Apdu[] = "00A4040000";

using Clock = std::chrono::steady_clock;

// The service with a card in a reader. Commands come in large numbers: in a set from a key server, which the
// service relays with progress, and in a CCM script, which it plays without.
class Scene {
public:
    Scene() : stage(Side::Ours), floorStage(Side::Floor), pcscd(stage.Surroundings().Folder()), card(pcscd) {
        World& world = stage.Surroundings();
        world.InstallInHouseLibraries();
        const std::string script = ScriptOf({std::vector<std::string>(Apdus, Apdu)});
        const KeyServerProcess& server =
            world.StartUnknownKeyServer({"--http", "--script", world.Write("script.json", script)});
        ccmScript = CcmScriptOf(Apdus);
        shortCcmScript = CcmScriptOf(1);
        fs::create_directory_symlink(
            PrivatePcscd::SocketIn(world.Folder()).parent_path(),
            PrivatePcscd::SocketIn(floorStage.Surroundings().Folder()).parent_path());
        for (Stage* each : {&stage, &floorStage}) {
            each->Surroundings().Device().SetCard({{"back-end", "pcsc"}, {"share", "exclusive"}});
            each->UseServer(server.Address(), {});
            each->Start();
        }
    }

    const Stage& Service() const { return stage; }
    const Stage& FloorService() const { return floorStage; }

    double WithProgress() { return BetweenReports(stage); }

    // With the same log lines and the same signals.
    double FloorWithProgress() { return BetweenReports(floorStage); }

    // What a long script takes longer than a short one.
    double WithoutProgress() {
        const double few = MicrosecondsOf([this] { Play(shortCcmScript); });
        return (MicrosecondsOf([this] { Play(ccmScript); }) - few) / (Apdus - 1);
    }

    double Floor() {
        const World::Result result = stage.Surroundings().Run(
            {NAVO_FLOOR_PCSC_PROGRAM, PrivatePcscd::Reader(), Apdu, std::to_string(Apdus)});
        if (result.status != 0) {
            throw std::runtime_error("the bare program failed: " + result.errors);
        }
        return std::stod(result.output);
    }

    void End() {
        stage.End();
        floorStage.End();
    }

private:
    // Between the first and the last of a set.
    static double BetweenReports(Stage& relaying) {
        std::optional<Clock::time_point> first;
        Clock::time_point last;
        Navo::CallOptions options;
        options.onProgress = [&](const std::string&) {
            last = Clock::now();
            first = first.value_or(last);
        };
        const Navo::Map reply = relaying.Session().Call(
            {{"Cmd", "65"}, {"ServiceId", "test.service"}, {"FcId", "ISSUE-1"}, {"pushReq", "push"}},
            options);
        if (reply.at("ReturnCode") != Done || !first) {
            throw std::runtime_error("the card's script ended with " + reply.at("ReturnCode"));
        }
        return std::chrono::duration<double, std::micro>(last - *first).count() / (Apdus - 1);
    }

    std::string CcmScriptOf(unsigned apdus) {
        const std::string lines = "yes " + std::string(Apdu) + " | head -n " + std::to_string(apdus);
        const World::Result result = stage.Surroundings().Run({"sh", "-c", lines + " | " NAVO_CCM_PROGRAM});
        return result.output.substr(0, result.output.find('\n'));
    }

    void Play(const std::string& script) {
        const Navo::Map reply = stage.Session().Call({{"Cmd", "90"}, {"CcmScriptData", script}});
        if (reply.at("LccmReturnCode") != "0") {
            throw std::runtime_error("the CCM script ended with " + reply.at("LccmReturnCode"));
        }
    }

    Stage stage;
    Stage floorStage;
    PrivatePcscd pcscd;
    CardInReader card;
    std::string ccmScript;
    std::string shortCcmScript;
};

void MeasureTimes(Report& report, const Settings& settings) {
    Scene scene;
    Figure with = {"pcsc", "APDU of 5 bytes, with progress", Microseconds, {}, {}, LargestRatio};
    Figure without = {"pcsc", "APDU of 5 bytes, without progress", Microseconds, {}, {}, LargestRatio};
    Figure same = {"pcsc", "the same, floor with lines and signals", Microseconds, {}, {}};
    Figure processor = {"pcsc", "the same, CPU time of the service", Microseconds, {}, {}};
    for (unsigned round = 0; round < settings.rounds; ++round) {
        processor.ours.push_back(
            ProcessorTimeOf(scene.Service(), [&] { with.ours.push_back(scene.WithProgress()); }) / Apdus);
        processor.floor.push_back(
            ProcessorTimeOf(scene.FloorService(), [&] { same.floor.push_back(scene.FloorWithProgress()); }) /
            Apdus);
        without.ours.push_back(scene.WithoutProgress());
        const double floor = scene.Floor();
        with.floor.push_back(floor);
        without.floor.push_back(floor);
    }
    scene.End();
    same.ours = with.ours;
    report.Add(with);
    report.Add(same);
    report.Add(processor);
    report.Add(without);
}

}  // namespace

void MeasurePcsc(Report& report, const Settings& settings) {
    const std::string impediment = PrivatePcscd::Impediment();
    if (!impediment.empty()) {
        std::cerr << "navo-bench: pcsc is left out: " << impediment << "\n";
        return;
    }
    if (settings.wall) {
        MeasureTimes(report, settings);
    }
}

}  // namespace Bench
