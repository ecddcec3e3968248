// SPDX-License-Identifier: Apache-2.0
// Runs a measuring program of this suite to its end.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Bench {

// What the command writes to its standard output. It runs in `directory` with this process's environment,
// without what would lead it to other buses or proxies. Throws std::runtime_error with its error output when
// it fails.
std::string OutputOf(const std::filesystem::path& directory, const std::vector<std::string>& command);

}  // namespace Bench
