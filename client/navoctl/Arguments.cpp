#include "Arguments.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <iostream>
#include <utility>
#include <vector>

#include "ExitStatus.h"
#include "navo/Outcome.h"

namespace {

constexpr char Description[] = "Asks the NAVO agent to do work on this device's secure element.";

constexpr char Footer[] =
    R"(Each command has a session of its own with the service, which the bus starts when it does not run.
Results go to standard output, progress and errors to standard error.

Examples:
  navoctl cplc --fields
  navoctl set-address https://kms.example.com
  navoctl run --service-id WALLET-01 --fc-id ISSUE --push-req ''
  navoctl raw Cmd=68 --json
  DBUS_SYSTEM_BUS_ADDRESS=unix:path=/tmp/demo/bus navoctl memory

Exit status:
  0  done
  1  the service reported a failure
  2  wrong usage
  3  no bus, no service, or no answer (also when the service ended in the middle of the request)
After SIGINT, SIGTERM or SIGHUP the session is closed first, then navoctl ends by that signal. The service takes note of
that when the running job is over; a second signal leaves at once, and the session stays open in the service.)";

struct Query {
    const char* name;
    long command;
    const char* help;
};

constexpr Query Queries[] = {
    {"cplc", Navo::Command::Cplc, "Print the card production life cycle data, hexadecimal"},
    {"memory", Navo::Command::Memory, "Print the free memory of the secure element in bytes"},
    {"se-status", Navo::Command::SeStatus,
     "Ask for the status of the secure element (this service never tells)"},
    {"eligibility", Navo::Command::Eligibility,
     "Let the server check whether this device may use its services"},
    {"phone-info", Navo::Command::PhoneInfo,
     "Print what the service knows of the device (privileged clients only)"},
};

// Where the option values of CLI11 go before they become a request.
struct RawValues {
    double timeLimit = 0;
    std::string address;
    std::string serviceId;
    std::string fcId;
    std::string pushReq;
    std::vector<std::string> pairs;
    bool useExec = false;
};

std::string CheckSeconds(const std::string& text) {
    double seconds = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds);
    if (!isNumber || !std::isfinite(seconds) || seconds < 0 || seconds > 1e9) {
        return "'" + text + "' is no number of seconds from 0 to 1000000000";
    }
    return {};
}

std::string CheckPair(const std::string& text) {
    const std::size_t at = text.find('=');
    if (at == std::string::npos || at == 0) {
        return "'" + text + "' is not of the form KEY=VALUE";
    }
    return {};
}

void AddGlobalOptions(CLI::App& app, Arguments& arguments, RawValues& values) {
    app.set_version_flag("--version", "navoctl " NAVO_CLIENT_VERSION, "Print the version and exit");
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.add_flag("--json", arguments.json, "Print one JSON object with the reply and its meaning");
    app.add_flag("-q,--quiet", arguments.quiet, "Print no progress and no notes");
    app.add_option(
           "--timeout", values.timeLimit, "Wait this long at most for each answer (0: no limit, the default)")
        ->type_name("SECONDS")
        ->check(CheckSeconds);
    app.fallthrough();
    app.require_subcommand(1);
    app.footer(Footer);
}

void AddQueries(CLI::App& app, Arguments& arguments) {
    for (const Query& query : Queries) {
        CLI::App* command = app.add_subcommand(query.name, query.help);
        if (query.command == Navo::Command::Cplc) {
            command->add_flag("--fields", arguments.fields, "Print each field of the data by name");
        }
    }
}

void AddSetAddress(CLI::App& app, RawValues& values) {
    CLI::App* command = app.add_subcommand(
        "set-address", "Store the address of the key-management server (privileged clients only)");
    command
        ->add_option("URL", values.address, "Address; without a scheme, \"https://\" is put in front of it")
        ->required();
}

void AddRun(CLI::App& app, RawValues& values) {
    CLI::App* command =
        app.add_subcommand("run", "Let the server run its script for a service, showing progress");
    command->add_option("--service-id", values.serviceId, "Service that the server is to work for")
        ->type_name("TEXT")
        ->required();
    command->add_option("--fc-id", values.fcId, "Function, or card, that the server is to use")
        ->type_name("TEXT");
    command->add_option("--push-req", values.pushReq, "Text of the server's push request")->type_name("TEXT");
}

void AddRaw(CLI::App& app, Arguments& arguments, RawValues& values) {
    CLI::App* command = app.add_subcommand("raw", "Send a request as it stands and print the whole reply");
    command->add_option("KEY=VALUE", values.pairs, "Entries of the request; Cmd=HEX names the command")
        ->required()
        ->check(CheckPair);
    CLI::Option* exec = command->add_flag("--exec", values.useExec, "Use the method Exec instead of Cmd");
    command->add_option("--tag", arguments.resultTag, "Result tag for Exec, which the service ignores")
        ->type_name("TEXT")
        ->needs(exec);
}

// Throws CLI::ValidationError for a key that comes twice.
Navo::Map MapOf(const std::vector<std::string>& pairs) {
    Navo::Map map;
    for (const std::string& pair : pairs) {
        const std::size_t at = pair.find('=');
        if (!map.emplace(pair.substr(0, at), pair.substr(at + 1)).second) {
            throw CLI::ValidationError("KEY=VALUE", "the key '" + pair.substr(0, at) + "' is given twice");
        }
    }
    return map;
}

void FillRequest(Arguments& arguments, const RawValues& values) {
    using namespace Navo;
    if (arguments.name == "raw") {
        arguments.request = MapOf(values.pairs);
        arguments.command = CommandOf(arguments.request).value_or(0);
        arguments.method = values.useExec ? Method::Exec : Method::Cmd;
        return;
    }
    if (arguments.name == "run") {
        arguments.command = Command::RunScript;
        arguments.request = {
            {Key::ServiceId, values.serviceId}, {Key::FcId, values.fcId}, {Key::PushReq, values.pushReq}};
    } else if (arguments.name == "set-address") {
        arguments.command = Command::SetAddress;
        arguments.request = {{Key::HostAddr, values.address}};
    }
    for (const Query& query : Queries) {
        if (arguments.name == query.name) {
            arguments.command = query.command;
        }
    }
    arguments.request[Key::Cmd] = CommandText(arguments.command);
}

}  // namespace

std::variant<Arguments, int> ParseArguments(int count, char** values) {
    CLI::App app(Description, "navoctl");
    Arguments arguments;
    RawValues rawValues;
    AddGlobalOptions(app, arguments, rawValues);
    AddQueries(app, arguments);
    AddSetAddress(app, rawValues);
    AddRun(app, rawValues);
    AddRaw(app, arguments, rawValues);
    for (CLI::App* command : app.get_subcommands({})) {
        command->footer("Options of navoctl itself, examples and exit statuses: navoctl --help");
    }
    try {
        app.parse(count, values);
        arguments.name = app.get_subcommands().front()->get_name();
        if (rawValues.timeLimit > 0) {
            const std::chrono::duration<double> seconds(rawValues.timeLimit);
            arguments.timeLimit = std::max(
                std::chrono::duration_cast<std::chrono::milliseconds>(seconds), std::chrono::milliseconds(1));
        }
        FillRequest(arguments, rawValues);
        return arguments;
    } catch (const CLI::Success& wanted) {
        return app.exit(wanted);
    } catch (const CLI::ParseError& error) {
        std::cerr << "navoctl: " << error.what() << "\nTry 'navoctl --help'.\n";
        return ExitStatus::WrongUsage;
    }
}
