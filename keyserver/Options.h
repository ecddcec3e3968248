// SPDX-License-Identifier: Apache-2.0
// The command line of navo-keyserver.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "keyserver/Server.h"
#include "keyserver/http/Certificates.h"

namespace KeyServer {

struct Options {
    ServerOptions server;
    bool https = true;
    bool plainForAnybody = false;  // plain HTTP where other machines can reach it
    bool makeCertificate = false;
    bool serve = true;  // false: only the certificate was asked for
    CertificateOrder certificate;
    std::vector<std::string> scriptFiles;
    std::vector<std::string> scriptFolders;
    std::vector<std::string> catalogueFiles;
    std::vector<std::string> eligibility;  // in place of the scripts' answers, when not empty
    bool check = false;                    // read everything, say what is wrong, and end
    std::string portFile;
    std::string summaryFile;
    bool quiet = false;
};

constexpr int ExitSuccess = 0;
constexpr int ExitFailure = 1;  // the server could not start, or --check found a mistake
constexpr int ExitUsage = 2;    // wrong command line or wrong script

// None when the program has nothing more to do: help was printed, or a mistake was reported on standard
// error. `status` is then what it exits with.
std::optional<Options> ParseCommandLine(int count, char** arguments, int& status);

}  // namespace KeyServer
