// SPDX-License-Identifier: Apache-2.0
// navo-keyserver: serves scripts and catalogues to the agent until it is told to end.
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "commandline/PrivateFile.h"
#include "keyserver/Loading.h"
#include "keyserver/Options.h"
#include "keyserver/Watching.h"
#include "keyserver/service/Reading.h"

namespace {

using namespace KeyServer;

// A reader sees the whole text or none.
void WriteAtOnce(const std::string& file, const std::string& text) {
    const std::string draft = file + ".new";
    std::ofstream stream(draft, std::ios::trunc);
    stream << text;
    stream.close();
    if (!stream || std::rename(draft.c_str(), file.c_str()) != 0) {
        throw std::runtime_error(file + ": cannot be written");
    }
}

std::string Count(std::uint64_t number, const std::string& one, const std::string& many) {
    return std::to_string(number) + " " + (number == 1 ? one : many);
}

void Report(const Counters& counters, const std::string& summaryFile) {
    std::cerr << "navo-keyserver: " << Count(counters.sessions, "session", "sessions") << ", "
              << Count(counters.messages, "message", "messages") << ", "
              << Count(counters.connections, "connection", "connections") << ", "
              << Count(counters.handshakes, "TLS handshake", "TLS handshakes") << "\n";
    if (summaryFile.empty()) {
        return;
    }
    const auto member = [](const char* name, std::uint64_t number) {
        return "\"" + std::string(name) + "\":" + std::to_string(number);
    };
    WriteAtOnce(
        summaryFile, "{" + member("sessions", counters.sessions) + "," +
                         member("messages", counters.messages) + "," + member("requests", counters.requests) +
                         "," + member("connections", counters.connections) + "," +
                         member("handshakes", counters.handshakes) + "}\n");
}

// In one write, so that it does not mix with the log.
void Complain(const std::string& text) {
    std::cerr << "navo-keyserver: " + text + "\n";
}

void Follow(Watching& watching) {
    for (const std::string& complaint : watching.Follow()) {
        Complain(complaint);
    }
}

// Catalogues have the keys of cards.
void WarnOfOpenKeys(const Options& options) {
    std::vector<std::string> files = options.catalogueFiles;
    files.push_back(options.server.keyFile);
    CommandLine::WarnOfOpenKeys("navo-keyserver", files);
}

void SayServed(Server& server, const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        server.Say(line);
    }
}

// A wrong edit changes nothing but the log.
void Reload(Watching& watching, Server& server, const Options& options) {
    Follow(watching);
    try {
        Catalogue catalogue = Load(options);
        const std::vector<std::string> lines = ServedLines(catalogue);
        server.Serve(std::move(catalogue));
        SayServed(server, lines);
    } catch (const std::exception& error) {
        Complain(error.what() + std::string("\nnavo-keyserver: what was served before is served on"));
    }
}

void Serve(const Options& options) {
    Watching watching(options);
    Follow(watching);
    Catalogue catalogue = Load(options);
    WarnOfOpenKeys(options);
    const std::vector<std::string> lines = ServedLines(catalogue);
    Server server(options.server, std::move(catalogue));
    server.Start();
    SayServed(server, lines);
    std::cout << "navo-keyserver listening on " << server.Url() << std::endl;
    if (!options.portFile.empty()) {
        WriteAtOnce(options.portFile, std::to_string(server.Port()) + "\n");
    }
    while (watching.Next() == Watching::Event::Reload) {
        Reload(watching, server, options);
    }
    server.Stop();
    Report(server.Count(), options.summaryFile);
}

int Run(Options options) {
    if (options.check) {
        return Check(options);
    }
    if (options.makeCertificate) {
        const CertificateFiles files = MakeCertificates(options.certificate);
        if (options.https) {
            options.server.certificateFile = files.certificate;
            options.server.keyFile = files.key;
        }
    }
    if (!options.serve) {
        return ExitSuccess;
    }
    if (!options.quiet) {
        options.server.log = [](const std::string& line) { std::cerr << line + "\n"; };
    }
    Serve(options);
    return ExitSuccess;
}

}  // namespace

int main(int count, char** arguments) {
    int status = ExitSuccess;
    std::optional<Options> options = ParseCommandLine(count, arguments, status);
    if (!options) {
        return status;
    }
    try {
        return Run(std::move(*options));
    } catch (const ScriptError& error) {
        Complain(error.what());
        return ExitUsage;
    } catch (const std::exception& error) {
        Complain(error.what());
        return ExitFailure;
    }
}
