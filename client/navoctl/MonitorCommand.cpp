// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/MonitorCommand.h"

#include <chrono>
#include <cstdio>
#include <ctime>

#include "client/navoctl/InstructionText.h"
#include "client/navoctl/JsonWriter.h"
#include "client/navoctl/Output.h"
#include "navo/Monitor.h"
#include "navo/Outcome.h"

namespace {

using Kind = Navo::MonitorEvent::Kind;

// UTC with milliseconds, or the local time of day.
std::string Now(bool universal) {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const auto milliseconds = duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm parts{};
    universal ? gmtime_r(&seconds, &parts) : localtime_r(&seconds, &parts);
    char time[32];
    std::strftime(time, sizeof time, universal ? "%Y-%m-%dT%H:%M:%S" : "%H:%M:%S", &parts);
    char text[48];
    std::snprintf(text, sizeof text, "%s.%03d%s", time, static_cast<int>(milliseconds), universal ? "Z" : "");
    return text;
}

std::string WhoOf(const Navo::MonitorEvent& event) {
    const std::string process = event.process != 0 ? "process " + std::to_string(event.process) : "";
    return process.empty() ? event.connection : process + " (" + event.connection + ")";
}

std::string Sentence(const Navo::MonitorEvent& event) {
    switch (event.kind) {
        case Kind::ServiceCame:
            return "the service runs: " + WhoOf(event);
        case Kind::ServiceLeft:
            return "the service has gone: " + WhoOf(event);
        case Kind::Session:
            return WhoOf(event) + " asks for a session: " + event.text;
        case Kind::Request:
            return WhoOf(event) + " sends the command " + event.text;
        case Kind::Progress:
            return "client " + event.client + ": " + Navo::SplitResultMessage(event.text).code + "  " +
                   InstructionText(event.text);
    }
    return {};
}

std::string JsonLine(const Navo::MonitorEvent& event) {
    JsonWriter writer;
    writer.AddAlways("time", Now(true));
    writer.AddAlways("event", NameOf(event.kind));
    writer.Add("connection", event.connection);
    if (event.process != 0) {
        writer.AddNumber("process", event.process);
    }
    writer.Add("client", event.client);
    writer.Add("text", event.text);
    if (event.kind == Kind::Progress) {
        writer.Add("name", InstructionText(event.text));
    }
    return writer.Text(false);
}

}  // namespace

void WatchTheBus(const Arguments& arguments, const Navo::Cancellation& cancellation) {
    Navo::SessionOptions options;
    options.cancellation = &cancellation;
    Navo::Monitor monitor(options);
    if (!arguments.quiet) {
        WriteLine(
            stderr,
            monitor.SeesSessions()
                ? "navoctl: watching the service, sessions and progress"
                : "navoctl: watching the service and progress; sessions are seen by who may monitor the bus");
    }
    monitor.Run([&](const Navo::MonitorEvent& event) {
        WriteLine(stdout, arguments.json ? JsonLine(event) : Now(false) + "  " + Sentence(event));
        std::fflush(stdout);
    });
}
