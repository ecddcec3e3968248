// SPDX-License-Identifier: Apache-2.0
// navo-keyserver: serves scripts and catalogues to the agent until it is told to end.
#include <pthread.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "keyserver/Loading.h"
#include "keyserver/Options.h"
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

sigset_t EndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
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

// The signals are blocked in all threads and waited for, so that no handler is needed.
void Serve(const Options& options, Catalogue catalogue) {
    const sigset_t signals = EndingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    Server server(options.server, std::move(catalogue));
    server.Start();
    std::cout << "navo-keyserver listening on " << server.Url() << std::endl;
    if (!options.portFile.empty()) {
        WriteAtOnce(options.portFile, std::to_string(server.Port()) + "\n");
    }
    int signal = 0;
    sigwait(&signals, &signal);
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
    Catalogue catalogue = Load(options);
    if (!options.quiet) {
        options.server.log = [](const std::string& line) { std::cerr << line + "\n"; };
    }
    Serve(options, std::move(catalogue));
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
        std::cerr << "navo-keyserver: " << error.what() << "\n";
        return ExitUsage;
    } catch (const std::exception& error) {
        std::cerr << "navo-keyserver: " << error.what() << "\n";
        return ExitFailure;
    }
}
