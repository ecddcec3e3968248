// SPDX-License-Identifier: Apache-2.0
#include "bench/Stage.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <iterator>
#include <stdexcept>

#include "bench/Callgrind.h"
#include "bench/SystemCalls.h"

namespace fs = std::filesystem;

namespace Bench {

namespace {

// Longest start and longest end of a service under callgrind on a loaded machine.
constexpr std::chrono::minutes LongestWait{2};
constexpr std::chrono::seconds TimeToWriteLines{5};
constexpr std::size_t ShownLines = 12;

// Runs of hexadecimal digits become one sign, so that line numbers, addresses and keys are alike. Small
// letters only count within such a run.
std::string WithoutNumbers(const std::string& line) {
    std::string masked;
    for (const char character : line) {
        const bool runs = !masked.empty() && masked.back() == '#';
        const bool isDigit = std::isxdigit(static_cast<unsigned char>(character)) != 0;
        if (!isDigit || (character >= 'a' && !runs)) {
            masked += character;
        } else if (!runs) {
            masked += '#';
        }
    }
    return masked;
}

std::vector<std::string> LinesFrom(Stage& stage, std::size_t first) {
    std::vector<std::string> lines = stage.Surroundings().Log();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(std::min(first, lines.size())));
    std::transform(lines.begin(), lines.end(), lines.begin(), WithoutNumbers);
    std::sort(lines.begin(), lines.end());
    return lines;
}

std::vector<std::string> Missing(const std::vector<std::string>& from, const std::vector<std::string>& in) {
    std::vector<std::string> missing;
    std::set_difference(from.begin(), from.end(), in.begin(), in.end(), std::back_inserter(missing));
    return missing;
}

std::string Listed(const std::string& title, std::vector<std::string> lines) {
    std::string text = "\n" + title + " (" + std::to_string(lines.size()) + "):";
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    for (std::size_t at = 0; at < std::min(lines.size(), ShownLines); ++at) {
        text += "\n  " + lines[at];
    }
    return text;
}

}  // namespace

double ProcessorTimeOf(pid_t process) {
    clockid_t clock = 0;
    timespec time = {};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("a process's time on the processor cannot be read");
    }
    return 1e6 * static_cast<double>(time.tv_sec) + 1e-3 * static_cast<double>(time.tv_nsec);
}

void Stage::UseServer(const std::string& address, const fs::path& trusted) {
    if (!trusted.empty()) {
        world.Device().TrustCertificatesOf(trusted);
    }
    server = address;
    if (side == Side::Ours) {
        world.DirectServiceTo(address);
        Eventually([this] { return world.ServiceProcess() == 0; });
    }
}

fs::path Stage::ProgramOf(Side side) {
    switch (side) {
        case Side::Floor:
            return NAVO_FLOOR_PROGRAM;
        case Side::SdBusFloor:
            return NAVO_FLOOR_SD_BUS_PROGRAM;
        default:
            return NAVO_AGENT_PROGRAM;
    }
}

std::vector<std::string> Stage::Command() const {
    std::vector<std::string> command = {ProgramOf(side)};
    if (side != Side::Ours && silent) {
        command.emplace_back("--silent");
    }
    if (side != Side::Ours && !server.empty()) {
        command.push_back(server);
    }
    return command;
}

void Stage::Start() {
    Run(Command());
}

void Stage::StartCounted(const fs::path& count) {
    Run(CountedCommand(count, Command()));
}

void Stage::StartTraced(const fs::path& calls) {
    Run(TracedCommand(calls, Command()));
}

void Stage::Run(const std::vector<std::string>& command) {
    service = world.Start(command);
    Eventually([this] { return world.ServiceProcess() != 0 || !service->IsRunning(); }, LongestWait);
    if (!service->IsRunning()) {
        throw std::runtime_error(command.front() + " ended: " + service->Errors());
    }
    for (unsigned i = 0; i < otherClients; ++i) {
        others.push_back(world.StartClient("com.example.other"));
        others.back()->OpenSession();
    }
    Navo::SessionOptions options = world.Options();
    options.confirm = false;
    session = std::make_unique<Navo::Session>(options);
}

void Stage::AskForStatus(unsigned requests) {
    for (unsigned sent = 0; sent < requests; ++sent) {
        if (session->Call({{"Cmd", "66"}}).count("ReturnCode") == 0) {
            throw std::runtime_error("a status request was not answered");
        }
    }
}

void Stage::End() {
    session->Close();
    session.reset();
    for (const auto& other : others) {
        other->CloseSession();
    }
    others.clear();
    const std::optional<ExitStatus> status = service->WaitForEnd(LongestWait);
    if (status != 0) {
        throw std::runtime_error("the service does not end well: " + service->Errors());
    }
}

void RequireSameLines(
    Stage& ours, Stage& floor, std::size_t tolerated, const std::function<void(Stage&)>& action) {
    const std::size_t oursFrom = ours.Surroundings().Log().size();
    const std::size_t floorFrom = floor.Surroundings().Log().size();
    action(ours);
    action(floor);
    std::vector<std::string> onlyOurs;
    std::vector<std::string> onlyFloor;
    // The last lines are written after the reply.
    const bool alike = Eventually(
        [&] {
            const std::vector<std::string> ourLines = LinesFrom(ours, oursFrom);
            const std::vector<std::string> floorLines = LinesFrom(floor, floorFrom);
            onlyOurs = Missing(ourLines, floorLines);
            onlyFloor = Missing(floorLines, ourLines);
            return !ourLines.empty() && onlyOurs.size() + onlyFloor.size() <= tolerated;
        },
        TimeToWriteLines);
    if (!alike) {
        throw std::runtime_error(
            "the floor does not log what the service logs" + Listed("only ours", onlyOurs) +
            Listed("only the floor", onlyFloor));
    }
}

}  // namespace Bench
