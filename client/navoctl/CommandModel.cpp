// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/CommandModel.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <map>
#include <set>

#include "commandline/Model.h"
#include "navo/Causes.h"
#include "navo/Vocabulary.h"

namespace {

constexpr char Footer[] =
    R"(Each command has a session of its own with the service, which the bus starts when it does not run. Results go to standard output, progress and errors to standard error.

Examples:
  navoctl cplc --fields
  navoctl set-address https://kms.example.com
  navoctl run --service-id WALLET-01 --fc-id ISSUE --push-req ''
  navoctl key get wallet --type symmetric --release
  navoctl explain 10100007 6A88
  DBUS_SYSTEM_BUS_ADDRESS=unix:path=/tmp/demo/bus navoctl memory

Exit status:
  0  done
  1  the service reported a failure, or doctor found one
  2  wrong usage
  3  no bus, no service, or no answer

After SIGINT, SIGTERM or SIGHUP the session is closed first, then navoctl ends by that signal. The service takes note of that when the running job is over; a second signal leaves at once, and the session stays open in the service.)";

struct Query {
    const char* name;
    const char* help;
};

constexpr Query Queries[] = {
    {"memory", "Print the free memory of the secure element in bytes"},
    {"se-status", "Ask for the status of the secure element (this service never tells)"},
    {"eligibility", "Let the server check whether this device may use its services"},
    {"phone-info", "Print what the service knows of the device (privileged clients only)"},
};

// Words for the numbers of the key-provisioning library; a number stands for itself. What the library makes
// of them is its own business.
using Words = std::vector<std::pair<std::string, std::string>>;

const Words KeyTypes = {{"symmetric", "1"}, {"asymmetric", "2"}};
const Words InjectionTypes = {{"given", "1"}, {"generated", "2"}, {"sealed", "4"}};
const Words Encodings = {{"hex", "1"}, {"text", "2"}, {"base64", "4"}};

std::string Joined(const Words& words, const std::string& between, const std::string& beforeLast) {
    std::string text;
    for (std::size_t at = 0; at < words.size(); ++at) {
        text += (at == 0 ? "" : at + 1 == words.size() ? beforeLast : between) + words[at].first;
    }
    return text;
}

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

class Model {
public:
    Model(CLI::App& ofApp, Arguments& intoArguments, RawValues& intoValues, CommandLine::Hints& theHints)
        : app(ofApp), arguments(intoArguments), values(intoValues), hints(theHints) {}

    void Build() {
        AddGlobalOptions();
        AddQueries();
        AddSetAddress();
        AddRun();
        AddCcm();
        AddKey();
        AddRaw();
        AddExplain();
        Add(&app, "doctor", "Look for what keeps the service from working, and say what to do", "doctor");
        Add(&app, "monitor", "Watch the service come and go, sessions, and everybody's progress",
            "monitor --json");
        Add(&app, "shell", "Read commands from standard input and run them in one session", "shell");
        AddHelp();
    }

private:
    CLI::App* Add(CLI::App* group, const char* name, const std::string& help, const std::string& example) {
        CLI::App* const command = group->add_subcommand(name, help);
        command->footer(
            "Example:\n  navoctl " + example +
            "\n\nOptions of navoctl itself and exit statuses: navoctl --help");
        return command;
    }

    void AddGlobalOptions() {
        CommandLine::Prepare(app, NAVO_CLIENT_VERSION, hints);
        app.add_flag("--json", arguments.json, "Print one JSON object with the reply and its meaning");
        app.add_flag("-q,--quiet", arguments.quiet, "Print no progress and no notes");
        app.add_option(
               "--timeout", values.timeLimit,
               "Wait this long at most for each answer (0: no limit, the default)")
            ->type_name("SECONDS")
            ->check(CheckSeconds);
        app.fallthrough();
        app.require_subcommand(1);
        app.footer(Footer);
    }

    void AddQueries() {
        Add(&app, "cplc", "Print the card production life cycle data, hexadecimal", "cplc --fields")
            ->add_flag("--fields", arguments.fields, "Print each field of the data by name");
        for (const Query& query : Queries) {
            Add(&app, query.name, query.help, query.name);
        }
    }

    void AddSetAddress() {
        CLI::App* const command = Add(
            &app, "set-address", "Store the address of the key-management server (privileged clients only)",
            "set-address https://kms.example.com:8443");
        hints[command
                  ->add_option(
                      "URL", values.address, "Address; without a scheme, \"https://\" is put in front of it")
                  ->required()] = {"https://", "http://"};
    }

    void AddRun() {
        CLI::App* const command =
            Add(&app, "run", "Let the server run its script for a service, showing progress",
                "run --service-id WALLET-01 --fc-id ISSUE");
        command->add_option("--service-id", values.serviceId, "Service that the server is to work for")
            ->type_name("TEXT")
            ->required();
        command->add_option("--fc-id", values.fcId, "Function, or card, that the server is to use")
            ->type_name("TEXT");
        command->add_option("--push-req", values.pushReq, "Text of the server's push request")
            ->type_name("TEXT");
    }

    void AddRaw() {
        CLI::App* const command =
            Add(&app, "raw", "Send a request as it stands and print the whole reply", "raw Cmd=68 --json");
        // A positional argument's own name has no "=" in newer versions of the library.
        CLI::Option* const entry =
            command
                ->add_option(
                    "ENTRY", values.pairs, "Entries KEY=VALUE of the request; Cmd=HEX names the command")
                ->type_name("KEY=VALUE")
                ->required()
                ->check(CheckPair);
        for (const char* key : Navo::Key::OfRequests) {
            hints[entry].push_back(std::string(key) + "=");
        }
        CLI::Option* const exec =
            command->add_flag("--exec", values.useExec, "Use the method Exec instead of Cmd");
        command->add_option("--tag", arguments.resultTag, "Result tag for Exec, which the service ignores")
            ->type_name("TEXT")
            ->needs(exec);
    }

    void AddCcm() {
        Add(&app, "ccm", "Play a CCM script to the secure element", "ccm script.hex")
            ->add_option(
                "FILE", values.scriptFile, "Script in hexadecimal digits, blanks aside; - for standard input")
            ->required();
    }

    CLI::Option* AddWord(
        CLI::App* command, const char* option, std::string& value, const Words& words, const char* help) {
        const auto transform = [words](std::string& text) -> std::string {
            for (const auto& [word, number] : words) {
                if (text == word || text == number) {
                    text = number;
                    return {};
                }
            }
            return "'" + text + "' is unknown; write " + Joined(words, ", ", " or ");
        };
        return command->add_option(option, value, help)
            ->transform(CLI::Validator(transform, "", ""))
            ->type_name(Joined(words, "|", "|"));
    }

    CLI::App* AddKeyCommand(CLI::App* group, const char* name, const char* help, const std::string& example) {
        CLI::App* const command = Add(group, name, help, "key " + std::string(name) + " " + example);
        command->add_option("NAME", values.key.name, "Name of the key")->required();
        AddWord(command, "--type", values.key.type, KeyTypes, "Key type")->required();
        return command;
    }

    void AddInjection(CLI::App* command) {
        AddWord(command, "--injection", values.key.injection, InjectionTypes, "How the key comes to be")
            ->required();
    }

    void AddSize(CLI::App* command) {
        command
            ->add_option("--size", values.key.size, "Bytes that the library may return (10000 when left out)")
            ->type_name("BYTES")
            ->check(CLI::Range(1U, 10000U).description(""));
    }

    void AddEncoding(CLI::App* command, const char* what) {
        AddWord(
            command, "--encoding", values.key.encoding, Encodings,
            (std::string("Encoding of the ") + what + " (hex when left out)").c_str());
    }

    void AddInject(CLI::App* group) {
        CLI::App* const command = AddKeyCommand(
            group, "inject", "Inject a key",
            "wallet --type symmetric --injection given --data-file wallet.key");
        AddInjection(command);
        AddEncoding(command, "data");
        CLI::Option* const data = command->add_option_function<std::string>(
            "--data",
            [&key = values.key](const std::string& text) {
                key.data = text;
                key.hasData = true;
            },
            "Data of the key");
        data->type_name("TEXT");
        command
            ->add_option(
                "--data-file", values.key.dataFile, "Read the data from a file; - for standard input")
            ->type_name("FILE")
            ->excludes(data);
    }

    void AddKey() {
        CLI::App* const group =
            Add(&app, "key", "Inject, verify and read keys", "key get wallet --type symmetric --release");
        group->require_subcommand(1);
        AddInject(group);
        const std::string given = "wallet --type symmetric --injection given";
        AddInjection(AddKeyCommand(group, "verify", "Verify an injected key", given));
        CLI::App* const uid = AddKeyCommand(group, "uid", "Print the UID of an injected key", given);
        AddInjection(uid);
        AddSize(uid);
        CLI::App* const get = AddKeyCommand(
            group, "get", "Open a get-key session and print the key", "wallet --type symmetric --release");
        AddEncoding(get, "key");
        AddSize(get);
        get->add_flag("--release", arguments.release, "Release the get-key session as well");
        Add(group, "release", "Release the get-key session", "key release");
    }

    void AddExplain() {
        CLI::App* const command =
            Add(&app, "explain", "Say what codes mean and what to look at; asks nobody",
                "explain 10100007 6A88 -5 404");
        CLI::Option* const codes = command->add_option(
            "CODE", values.words,
            "Result code, status word, HTTP status, verdict or error; all of them when none is given");
        command->add_option("--atr", arguments.atr, "Take a card's answer to reset apart")->type_name("HEX");
        command->add_option("--life-cycle", arguments.lifeCycle, "Name a life cycle state")->type_name("HEX");
        command->add_option("--privileges", arguments.privileges, "Name an application's privileges")
            ->type_name("HEX");
        std::set<std::string> words;
        for (const Navo::Cause& cause : Navo::AllCauses()) {
            const bool isFamily =
                cause.kind != Navo::CauseKind::Error && cause.code.find('x') != std::string::npos;
            if (!isFamily) {
                words.insert(cause.code);
            }
        }
        hints[codes] = {words.begin(), words.end()};
    }

    void AddHelp() {
        CLI::App* const command = Add(&app, "help", "Print the help of a command", "help key inject");
        CLI::Option* const words =
            command->add_option("COMMAND", values.words, "The command; navoctl itself when none is given");
        for (const CLI::App* each : CommandLine::CommandsOf(app)) {
            hints[words].push_back(each->get_name());
        }
    }

    CLI::App& app;
    Arguments& arguments;
    RawValues& values;
    CommandLine::Hints& hints;
};

}  // namespace

void BuildModel(CLI::App& app, Arguments& arguments, RawValues& values, CommandLine::Hints& hints) {
    Model model(app, arguments, values, hints);
    model.Build();
}

namespace {

bool IsAny(const CLI::App*) {
    return true;
}

}  // namespace

const CLI::App* FindCommand(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* command = &app;
    for (const std::string& word : words) {
        const CLI::App* found = nullptr;
        for (const CLI::App* inner : command->get_subcommands(IsAny)) {
            found = inner->get_name() == word ? inner : found;
        }
        if (found == nullptr) {
            return nullptr;
        }
        command = found;
    }
    return command;
}
