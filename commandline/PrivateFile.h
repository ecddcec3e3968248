// SPDX-License-Identifier: Apache-2.0
// Files that hold keys.
#pragma once

#include <string>

namespace CommandLine {

// What to tell who owns a file with keys that others can read or write: "FILE holds keys, and others can read
// it (mode 644); chmod 600 keeps them out". Empty when they cannot, and when there is no such file.
[[nodiscard]] std::string OpenToOthers(const std::string& file);

}  // namespace CommandLine
