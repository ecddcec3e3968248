// SPDX-License-Identifier: Apache-2.0
#include "keyserver/Options.h"

#include <arpa/inet.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>

#include "commandline/CommandLine.h"
#include "commandline/Model.h"

namespace KeyServer {

namespace {

constexpr char Footer[] =
    "Examples:\n"
    "  navo-keyserver --make-certificate /tmp/certificates --scripts keyserver/scripts --port 4433\n"
    "  navo-keyserver --http --scripts keyserver/scripts --misbehave status=503@2x1\n"
    "  navo-keyserver --check --scripts keyserver/scripts\n\n"
    "Exit status: 0 after SIGTERM or SIGINT, 1 when it cannot start or --check finds a mistake, 2 for a "
    "wrong command line or script.\n"
    "See navo-keyserver(1).";

// What CLI11 fills and what still needs a look before it is an option.
struct RawOptions {
    bool http = false;
    bool https = false;
    int keepAliveSeconds = 300;
    int idleSeconds = 600;
    std::vector<std::string> misbehaviours;
    std::vector<std::string> names;
    std::string mask = "secrets";
};

void AddListening(CLI::App& app, Options& options, RawOptions& raw) {
    const char* group = "Listening";
    app.add_flag("--https", raw.https, "Speak HTTPS (this is what it does unless --http is given)")
        ->group(group);
    app.add_flag("--http", raw.http, "Speak plain HTTP")->group(group)->excludes("--https");
    app.add_option(
           "--listen", options.server.http.listen, "Address to listen on; only this machine by default")
        ->type_name("ADDRESS")
        ->capture_default_str()
        ->group(group);
    app.add_flag(
           "--plain-for-anybody", options.plainForAnybody,
           "Let --http listen where other machines reach it; they see and change all that goes over it")
        ->group(group);
    app.add_option("--port", options.server.http.port, "Port to listen on; 0 takes a free one")
        ->type_name("PORT")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str()
        ->group(group);
    app.add_option("--port-file", options.portFile, "File that receives the port's number once it is open")
        ->type_name("FILE")
        ->group(group);
}

void AddCertificate(CLI::App& app, Options& options, RawOptions& raw) {
    const char* group = "Certificate";
    auto* certificate = app.add_option(
        "--certificate", options.server.certificateFile, "Server certificate with its chain (PEM)");
    auto* key = app.add_option("--key", options.server.keyFile, "Key of the server certificate (PEM)");
    certificate->type_name("FILE")->group(group)->needs(key);
    key->type_name("FILE")->group(group)->needs(certificate);
    auto* make = app.add_option(
        "--make-certificate", options.certificate.folder,
        "Make a certificate authority and a server certificate in this folder, as ca.pem, server.pem and "
        "server.key, and serve with them");
    make->type_name("FOLDER")->group(group)->excludes(certificate);
    app.add_option(
           "--certificate-days", options.certificate.days, "Its validity; negative for an expired one")
        ->type_name("DAYS")
        ->check(CLI::Range(-3650, 3650))
        ->capture_default_str()
        ->needs(make)
        ->group(group);
    app.add_option(
           "--certificate-name", raw.names,
           "Host name or address that it is for, in place of localhost, 127.0.0.1 and ::1; repeatable")
        ->type_name("NAME")
        ->allow_extra_args(false)
        ->needs(make)
        ->group(group);
    app.add_flag("!--certificate-only", options.serve, "End when the certificate is made")
        ->needs(make)
        ->group(group);
}

void AddBehaviour(CLI::App& app, Options& options, RawOptions& raw) {
    const char* group = "Behaviour";
    app.add_option("--script", options.scriptFiles, "Script to serve; repeatable")
        ->type_name("FILE")
        ->allow_extra_args(false)
        ->group(group);
    app.add_option("--scripts", options.scriptFolders, "Folder of scripts, *.json; repeatable")
        ->type_name("FOLDER")
        ->allow_extra_args(false)
        ->group(group);
    app.add_option(
           "--catalogue", options.catalogueFiles,
           "Services that manage the card's content over a secure channel; repeatable")
        ->type_name("FILE")
        ->allow_extra_args(false)
        ->group(group);
    app.add_flag(
           "--check", options.check,
           "Read scripts and catalogues, print every mistake with its file and line, and end")
        ->group(group);
    app.add_option(
           "--eligibility", options.eligibility,
           "Codes that ELIGIBILITY is answered with, in turn, in place of the scripts' own")
        ->type_name("CODE,...")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->group(group);
    app.add_option(
           "--misbehave", raw.misbehaviours,
           "Fault to commit, as KIND[=VALUE][@FROM[xTIMES]] with messages counted from 1; repeatable. "
           "Kinds: " +
               CommandLine::Joined(MisbehaviourKinds(), ", "))
        ->type_name("FAULT")
        ->allow_extra_args(false)
        ->group(group);
}

void AddLimits(CLI::App& app, Options& options, RawOptions& raw) {
    const char* group = "Limits";
    app.add_option("--keep-alive", raw.keepAliveSeconds, "Seconds for which an idle connection is kept")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str()
        ->group(group);
    app.add_option("--max-connections", options.server.http.mostConnections, "Connections served at once")
        ->type_name("NUMBER")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str()
        ->group(group);
    app.add_option("--max-sessions", options.server.sessions.most, "Sessions open at once")
        ->type_name("NUMBER")
        ->check(CLI::Range(1, 1000000))
        ->capture_default_str()
        ->group(group);
    app.add_option("--session-idle", raw.idleSeconds, "Seconds after which an idle session is forgotten")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str()
        ->group(group);
    app.add_option("--max-body", options.server.http.mostBytes, "Bytes that a message may have")
        ->type_name("BYTES")
        ->check(CLI::Range(1024, 1 << 30))
        ->capture_default_str()
        ->group(group);
}

void AddReporting(CLI::App& app, Options& options, RawOptions& raw) {
    const char* group = "Reporting";
    app.add_flag("-q,--quiet", options.quiet, "Do not log messages on standard error")->group(group);
    app.add_option(
           "--mask", raw.mask,
           "What log and record have aliases for: keys, card data and card numbers, or none of them")
        ->type_name("secrets|none")
        ->check(CLI::IsMember({"secrets", "none"}).description(""))
        ->capture_default_str()
        ->group(group);
    app.add_option(
           "--record", options.server.recordFile, "File to append each message and its answer to, as JSON")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--summary-file", options.summaryFile, "File that receives the final counts, as JSON")
        ->type_name("FILE")
        ->group(group);
}

bool IsResultCode(const std::string& code) {
    return code.size() == 8 &&
           std::all_of(code.begin(), code.end(), [](char each) { return each >= '0' && each <= '9'; });
}

// Names but one are looked up, and may lead anywhere.
bool IsThisMachine(const std::string& address) {
    in_addr fourth{};
    in6_addr sixth{};
    if (inet_pton(AF_INET, address.c_str(), &fourth) == 1) {
        return ntohl(fourth.s_addr) >> 24 == IN_LOOPBACKNET;
    }
    if (inet_pton(AF_INET6, address.c_str(), &sixth) == 1) {
        return IN6_IS_ADDR_LOOPBACK(&sixth) ||
               (IN6_IS_ADDR_V4MAPPED(&sixth) && sixth.s6_addr[12] == IN_LOOPBACKNET);
    }
    return address == "localhost";
}

// Throws std::invalid_argument.
void CheckListening(const Options& options) {
    if (options.https && !options.makeCertificate && options.server.certificateFile.empty()) {
        throw std::invalid_argument(
            "HTTPS needs --certificate and --key, or --make-certificate; --http serves without");
    }
    if (!options.https && !options.server.certificateFile.empty()) {
        throw std::invalid_argument("--certificate has no use with --http");
    }
    const std::string& address = options.server.http.listen;
    if (!options.https && !options.plainForAnybody && !IsThisMachine(address)) {
        throw std::invalid_argument(
            "--http with --listen " + address +
            " would send card data and keys over the network in the clear, and take anybody's word for the "
            "card's; --plain-for-anybody does it all the same");
    }
}

// Throws std::invalid_argument.
void Complete(Options& options, const RawOptions& raw) {
    options.https = !raw.http;
    options.makeCertificate = !options.certificate.folder.empty();
    options.server.http.keepAlive = std::chrono::seconds(raw.keepAliveSeconds);
    options.server.sessions.idle = std::chrono::seconds(raw.idleSeconds);
    options.server.secrets = raw.mask == "none" ? Secrets::Shown : Secrets::Masked;
    if (!raw.names.empty()) {
        options.certificate.names = raw.names;
    }
    for (const std::string& text : raw.misbehaviours) {
        options.server.misbehaviours.push_back(ParseMisbehaviour(text));
    }
    for (const std::string& code : options.eligibility) {
        if (!IsResultCode(code)) {
            throw std::invalid_argument(
                "--eligibility: \"" + code +
                "\" is no result code; it has eight digits, for example 00000001");
        }
    }
    if (!options.serve) {
        return;
    }
    if (!options.check) {
        CheckListening(options);
    }
    if (options.scriptFiles.empty() && options.scriptFolders.empty() && options.catalogueFiles.empty() &&
        options.eligibility.empty()) {
        throw std::invalid_argument(
            "there is nothing to serve: give --script, --scripts, --catalogue or --eligibility");
    }
}

}  // namespace

std::optional<Options> ParseCommandLine(int count, char** arguments, int& status) {
    Options options;
    RawOptions raw;
    CLI::App app(
        "Key-management server for development and tests. It answers the agent's messages at /IssueCard.do "
        "from scripts and from catalogues of services, with faults to order.",
        "navo-keyserver");
    CommandLine::Hints hints;
    CommandLine::Prepare(app, NAVO_VERSION, hints);
    AddListening(app, options, raw);
    AddCertificate(app, options, raw);
    AddBehaviour(app, options, raw);
    AddLimits(app, options, raw);
    AddReporting(app, options, raw);
    app.footer(Footer);
    if (const std::optional<int> end = CommandLine::ParseOrSay(app, count, arguments)) {
        status = *end;
        return std::nullopt;
    }
    try {
        Complete(options, raw);
        return options;
    } catch (const std::invalid_argument& error) {
        CommandLine::Say(app, CommandLine::ComplaintOf(app, error.what()));
        status = ExitUsage;
    }
    return std::nullopt;
}

}  // namespace KeyServer
