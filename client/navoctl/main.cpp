// SPDX-License-Identifier: Apache-2.0
// navoctl: the service's command-line client.
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <variant>

#include "client/navoctl/AddressCheck.h"
#include "client/navoctl/Doctor.h"
#include "client/navoctl/ExitStatus.h"
#include "client/navoctl/Explain.h"
#include "client/navoctl/Hint.h"
#include "client/navoctl/MonitorCommand.h"
#include "client/navoctl/Output.h"
#include "client/navoctl/Parsing.h"
#include "client/navoctl/Report.h"
#include "client/navoctl/ServiceSight.h"
#include "client/navoctl/Shell.h"
#include "client/navoctl/SignalWatch.h"
#include "navo/Client.h"
#include "navo/Outcome.h"

namespace {

int StatusOf(const Navo::ClientError& error) {
    switch (error.Kind()) {
        case Navo::ErrorKind::InvalidRequest:
            return ExitStatus::WrongUsage;
        case Navo::ErrorKind::SessionRefused:
            return ExitStatus::Failure;
        default:
            return ExitStatus::Unreachable;
    }
}

// The result is there and stays what it is, but the service may now run on for a client that is gone.
void CloseOrSayWhy(Navo::Session& session, const Report& report) {
    try {
        session.Close();
    } catch (const Navo::ClientError& error) {
        report.Note(std::string("the service may still count this session: ") + error.what());
    }
}

// The get-key session belongs to the service; left open, it lasts until somebody releases it or the service
// ends.
bool ReleaseKey(Navo::Session& session, Report& report) {
    const Navo::Map reply =
        session.Call({{Navo::Key::Cmd, Navo::CommandText(Navo::Command::KeyReleaseSession)}});
    const Navo::Outcome outcome = Navo::Interpret(Navo::Command::KeyReleaseSession, reply);
    if (!outcome.success) {
        report.Note("the get-key session was not released: " + outcome.message + " " + outcome.explanation);
    }
    return outcome.success;
}

// Sends the request of one command and reports what comes of it. `service` is looked at before the request
// goes out.
int Ask(
    const Arguments& arguments, Navo::Session& session, std::optional<ServiceSight>& service,
    Report& report) {
    service.emplace(session.ServiceProcess());
    Navo::CallOptions call;
    call.method = arguments.method;
    call.resultTag = arguments.resultTag;
    call.timeLimit = arguments.timeLimit;
    call.onProgress = [&](const std::string& text) { report.Progress(text); };
    const auto begin = std::chrono::steady_clock::now();
    const Navo::Map reply = session.Call(arguments.request, call);
    const auto time = std::chrono::steady_clock::now() - begin;
    const Navo::Outcome outcome = Navo::Interpret(arguments.command, reply);
    report.Summary(std::chrono::duration_cast<std::chrono::milliseconds>(time));
    report.Result(outcome, reply, outcome.success ? "" : HintFor(arguments, outcome, *service));
    if (arguments.name == "run" && outcome.success && report.CardCommands() == 0) {
        report.Note("the job ended well without any card command that is reported");
    }
    return outcome.success && (!arguments.release || ReleaseKey(session, report)) ? ExitStatus::Success
                                                                                  : ExitStatus::Failure;
}

void WarnOfAddress(const Arguments& arguments, const Report& report) {
    if (arguments.name == "set-address") {
        for (const std::string& mistake : MistakesOf(arguments.request.at(Navo::Key::HostAddr))) {
            report.Note("warning: " + mistake);
        }
    }
}

Navo::SessionOptions OptionsFor(const Arguments& arguments, const Navo::Cancellation& cancellation) {
    Navo::SessionOptions options;
    options.timeLimit = arguments.timeLimit;
    options.confirm = true;
    options.cancellation = &cancellation;
    return options;
}

int AskInSession(
    const Arguments& arguments, const Navo::Cancellation& cancellation, std::optional<ServiceSight>& service,
    Report& report) {
    Navo::Session session(OptionsFor(arguments, cancellation));
    const int status = Ask(arguments, session, service, report);
    CloseOrSayWhy(session, report);
    return status;
}

// Reports what is thrown as well.
template <typename Action>
int Reported(Report& report, const std::optional<ServiceSight>& service, Action action) {
    try {
        return action();
    } catch (const Navo::ClientError& error) {
        report.Failure(error, HintFor(error, service ? *service : ServiceSight(0)));
        return StatusOf(error);
    }
}

int AskOneOfSeveral(const Arguments& arguments, Navo::Session& session) {
    Report report(arguments);
    std::optional<ServiceSight> service;
    WarnOfAddress(arguments, report);
    return Reported(report, service, [&] { return Ask(arguments, session, service, report); });
}

int RunCommand(const Arguments& arguments, const Navo::Cancellation& cancellation) {
    if (arguments.name == "doctor") {
        return Doctor(arguments, cancellation);
    }
    if (arguments.name == "shell") {
        return RunShell(OptionsFor(arguments, cancellation), AskOneOfSeveral);
    }
    Report report(arguments);
    std::optional<ServiceSight> service;
    return Reported(report, service, [&] {
        if (arguments.name == "monitor") {
            WatchTheBus(arguments, cancellation);
            return ExitStatus::Success;
        }
        WarnOfAddress(arguments, report);
        return AskInSession(arguments, cancellation, service, report);
    });
}

int Run(const Arguments& arguments, const Navo::Cancellation& cancellation) {
    const int status = RunCommand(arguments, cancellation);
    return FlushOutput() || status != ExitStatus::Success ? status : ExitStatus::Failure;
}

int RunWatchingSignals(const Arguments& arguments) {
    Navo::Cancellation cancellation;
    int received = 0;
    int status = ExitStatus::Success;
    {
        SignalWatch watch(cancellation);
        status = Run(arguments, cancellation);
        received = watch.Received();
    }
    if (received != 0) {
        SignalWatch::EndBy(received);
    }
    return status;
}

}  // namespace

int main(int count, char** values) {
    try {
        const std::variant<Arguments, int> parsed = ParseArguments(count, values);
        if (const int* status = std::get_if<int>(&parsed)) {
            return *status;
        }
        const Arguments& arguments = std::get<Arguments>(parsed);
        if (arguments.name == "explain") {
            return Explain(arguments);
        }
        return RunWatchingSignals(arguments);
    } catch (const std::exception& error) {
        Complain(error.what());
        return ExitStatus::Unreachable;
    }
}
