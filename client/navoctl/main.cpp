// SPDX-License-Identifier: Apache-2.0
// navoctl: the service's command-line client.
#include <cstdio>
#include <exception>
#include <variant>

#include "client/navoctl/Arguments.h"
#include "client/navoctl/ExitStatus.h"
#include "client/navoctl/Report.h"
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

int Ask(const Arguments& arguments, const Navo::Cancellation& cancellation, Report& report) {
    Navo::SessionOptions options;
    options.timeLimit = arguments.timeLimit;
    options.confirm = true;
    options.cancellation = &cancellation;
    Navo::Session session(options);

    int cardCommands = 0;
    Navo::CallOptions call;
    call.method = arguments.method;
    call.resultTag = arguments.resultTag;
    call.onProgress = [&](const std::string& text) {
        ++cardCommands;
        report.Progress(text);
    };
    const Navo::Map reply = session.Call(arguments.request, call);
    const Navo::Outcome outcome = Navo::Interpret(arguments.command, reply);
    report.Result(outcome, reply);
    if (arguments.name == "run" && outcome.success && cardCommands == 0) {
        report.Note("the job ended well without any card command that is reported");
    }
    const bool done = outcome.success && (!arguments.release || ReleaseKey(session, report));
    CloseOrSayWhy(session, report);
    return done ? ExitStatus::Success : ExitStatus::Failure;
}

int Run(const Arguments& arguments, const Navo::Cancellation& cancellation) {
    Report report(arguments);
    int status = ExitStatus::Success;
    try {
        status = Ask(arguments, cancellation, report);
    } catch (const Navo::ClientError& error) {
        report.Failure(error);
        status = StatusOf(error);
    }
    if (!report.Flush() && status == ExitStatus::Success) {
        status = ExitStatus::Failure;
    }
    return status;
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
        return RunWatchingSignals(std::get<Arguments>(parsed));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "navoctl: %s\n", error.what());
        return ExitStatus::Unreachable;
    }
}
