// SPDX-License-Identifier: Apache-2.0
// Files that hold keys.
#pragma once

#include <string>
#include <vector>

namespace CommandLine {

// Tells on standard error of each file with keys that others can read or write: "PROGRAM: warning: FILE holds
// keys, and others can read it (mode 644); chmod 600 keeps them out". Passes over names of no file.
void WarnOfOpenKeys(const std::string& program, const std::vector<std::string>& files);

}  // namespace CommandLine
