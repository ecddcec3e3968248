// SPDX-License-Identifier: Apache-2.0
// The command line of navo-trace.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Trace {

struct Options {
    std::vector<std::string> inputs;  // files and folders
    std::string format = "html";
    bool hides = true;
    std::string keys;      // file; empty without
    std::string output;    // file; empty for standard output
    bool differs = false;  // compare two inputs
    bool serves = false;
    unsigned port = 0;
    std::string portFile;
};

// A status when there is nothing more to do.
[[nodiscard]] std::optional<int> ParseOptions(int count, char** arguments, Options& options);

}  // namespace Trace
