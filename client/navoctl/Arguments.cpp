// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Arguments.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include "client/navoctl/ExitStatus.h"
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
  navoctl ccm script.hex
  navoctl key inject wallet --type symmetric --injection given --data 000102030405060708090A0B0C0D0E0F
  navoctl key get wallet --type symmetric --release
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

// Words for the numbers of the key-provisioning library; a number stands for itself. What the library makes
// of them is its own business.
using Words = std::map<std::string, std::string>;

const Words& KeyTypes() {
    static const Words words = {{"symmetric", "1"}, {"asymmetric", "2"}};
    return words;
}

const Words& InjectionTypes() {
    static const Words words = {{"given", "1"}, {"generated", "2"}, {"sealed", "4"}};
    return words;
}

const Words& Encodings() {
    static const Words words = {{"hex", "1"}, {"text", "2"}, {"base64", "4"}};
    return words;
}

struct KeyValues {
    std::string name;
    std::string type;
    std::string injection;
    std::string encoding = "1";
    std::string data;
    CLI::Option* dataOption = nullptr;  // owned by the parser
    std::string dataFile;
    unsigned size = 10000;
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
    std::string scriptFile;
    KeyValues key;
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
    // A positional argument's own name has no "=" in newer versions of the library.
    command->add_option("ENTRY", values.pairs, "Entries of the request; Cmd=HEX names the command")
        ->type_name("KEY=VALUE")
        ->required()
        ->check(CheckPair);
    CLI::Option* exec = command->add_flag("--exec", values.useExec, "Use the method Exec instead of Cmd");
    command->add_option("--tag", arguments.resultTag, "Result tag for Exec, which the service ignores")
        ->type_name("TEXT")
        ->needs(exec);
}

void AddCcm(CLI::App& app, RawValues& values) {
    CLI::App* command = app.add_subcommand("ccm", "Play a CCM script to the secure element");
    command
        ->add_option(
            "FILE", values.scriptFile, "Script in hexadecimal digits, blanks aside; - for standard input")
        ->required();
}

void AddWord(
    CLI::App* command, const char* option, std::string& value, const Words& words, const char* help) {
    std::string names;
    for (const auto& word : words) {
        names += (names.empty() ? "" : "|") + word.first;
    }
    command->add_option(option, value, help)
        ->transform(CLI::CheckedTransformer(words).description(""))
        ->type_name(names);
}

CLI::App* AddKeyCommand(CLI::App* group, KeyValues& values, const char* name, const char* help) {
    CLI::App* command = group->add_subcommand(name, help);
    command->add_option("NAME", values.name, "Name of the key")->required();
    AddWord(command, "--type", values.type, KeyTypes(), "Key type");
    command->get_option("--type")->required();
    return command;
}

void AddInjection(CLI::App* command, KeyValues& values) {
    AddWord(command, "--injection", values.injection, InjectionTypes(), "How the key comes to be");
    command->get_option("--injection")->required();
}

void AddSize(CLI::App* command, KeyValues& values) {
    command->add_option("--size", values.size, "Bytes that the library may return (default: 10000)")
        ->type_name("BYTES")
        ->check(CLI::Range(1U, 10000U).description(""));
}

void AddKey(CLI::App& app, Arguments& arguments, KeyValues& values) {
    CLI::App* group = app.add_subcommand("key", "Inject, verify and read keys");
    group->require_subcommand(1);
    CLI::App* inject = AddKeyCommand(group, values, "inject", "Inject a key");
    AddInjection(inject, values);
    AddWord(inject, "--encoding", values.encoding, Encodings(), "Encoding of the data (default: hex)");
    values.dataOption = inject->add_option("--data", values.data, "Data of the key")->type_name("TEXT");
    inject->add_option("--data-file", values.dataFile, "Read the data from a file; - for standard input")
        ->type_name("FILE")
        ->excludes(values.dataOption);
    AddInjection(AddKeyCommand(group, values, "verify", "Verify an injected key"), values);
    CLI::App* uid = AddKeyCommand(group, values, "uid", "Print the UID of an injected key");
    AddInjection(uid, values);
    AddSize(uid, values);
    CLI::App* get = AddKeyCommand(group, values, "get", "Open a get-key session and print the key");
    AddWord(get, "--encoding", values.encoding, Encodings(), "Encoding of the key (default: hex)");
    AddSize(get, values);
    get->add_flag("--release", arguments.release, "Release the get-key session as well");
    group->add_subcommand("release", "Release the get-key session");
}

// Throws CLI::ValidationError for a key that comes twice.
Navo::Map MapOf(const std::vector<std::string>& pairs) {
    Navo::Map map;
    for (const std::string& pair : pairs) {
        const std::size_t at = pair.find('=');
        if (!map.emplace(pair.substr(0, at), pair.substr(at + 1)).second) {
            throw CLI::ValidationError("ENTRY", "the key '" + pair.substr(0, at) + "' is given twice");
        }
    }
    return map;
}

// Whole content of a file. Throws CLI::ValidationError.
std::string ContentOf(const std::string& path) {
    std::ifstream file;
    if (path != "-") {
        file.open(path, std::ios::binary);
    }
    std::istream& stream = path == "-" ? std::cin : file;
    std::ostringstream content;
    if (!stream || (stream.peek() != std::istream::traits_type::eof() && !(content << stream.rdbuf())) ||
        stream.bad()) {
        throw CLI::ValidationError("FILE", "'" + path + "' cannot be read: " + std::strerror(errno));
    }
    return content.str();
}

// Hexadecimal digits of a script without the blanks between them.
std::string DigitsOf(const std::string& path) {
    std::string digits;
    unsigned line = 1;
    for (const char character : ContentOf(path)) {
        if (std::isxdigit(static_cast<unsigned char>(character)) != 0) {
            digits += character;
        } else if (std::isspace(static_cast<unsigned char>(character)) == 0) {
            throw CLI::ValidationError(
                "FILE",
                "'" + path + "', line " + std::to_string(line) + ": a script has hexadecimal digits only");
        }
        line += character == '\n' ? 1 : 0;
    }
    if (digits.size() % 2 != 0) {
        throw CLI::ValidationError("FILE", "'" + path + "' ends in the middle of a byte");
    }
    return digits;
}

// Data from a file without the line feed at its end, which belongs to the file.
std::string DataOf(const std::string& path) {
    std::string data = ContentOf(path);
    if (!data.empty() && data.back() == '\n') {
        data.pop_back();
    }
    return data;
}

void FillKeyRequest(Arguments& arguments, const KeyValues& values) {
    using namespace Navo;
    const std::string& name = arguments.name;
    arguments.request = {{Key::KeyName, values.name}, {Key::KeyType, values.type}};
    if (name == "key inject") {
        arguments.command = Command::KeyInject;
        if (values.dataOption->count() > 0 || !values.dataFile.empty()) {
            arguments.request[Key::DalmData] =
                values.dataFile.empty() ? values.data : DataOf(values.dataFile);
            arguments.request[Key::EncodingType] = values.encoding;
        }
    } else if (name == "key verify") {
        arguments.command = Command::KeyVerify;
    } else if (name == "key uid") {
        arguments.command = Command::KeyUid;
        arguments.request[Key::DalmDataSize] = std::to_string(values.size);
    } else if (name == "key get") {
        arguments.command = Command::KeyOpenSession;
        arguments.request[Key::DalmDataSize] = std::to_string(values.size);
        arguments.request[Key::EncodingType] = values.encoding;
    } else {
        arguments.command = Command::KeyReleaseSession;
        arguments.request.clear();
    }
    if (!values.injection.empty()) {
        arguments.request[Key::InjectionType] = values.injection;
    }
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
    } else if (arguments.name == "ccm") {
        arguments.command = Command::CcmScript;
        arguments.request = {{Key::CcmScriptData, DigitsOf(values.scriptFile)}};
    } else if (arguments.name.compare(0, 4, "key ") == 0) {
        FillKeyRequest(arguments, values.key);
    }
    for (const Query& query : Queries) {
        if (arguments.name == query.name) {
            arguments.command = query.command;
        }
    }
    arguments.request[Key::Cmd] = CommandText(arguments.command);
}

void SetInnerFooters(CLI::App& app) {
    for (CLI::App* command : app.get_subcommands({})) {
        command->footer("Options of navoctl itself, examples and exit statuses: navoctl --help");
        SetInnerFooters(*command);
    }
}

// "cplc", "key get".
std::string NameOf(const CLI::App& command) {
    const std::vector<CLI::App*> inner = command.get_subcommands();
    return command.get_name() + (inner.empty() ? "" : " " + inner.front()->get_name());
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
    AddCcm(app, rawValues);
    AddKey(app, arguments, rawValues.key);
    AddRaw(app, arguments, rawValues);
    SetInnerFooters(app);
    try {
        app.parse(count, values);
        arguments.name = NameOf(*app.get_subcommands().front());
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
