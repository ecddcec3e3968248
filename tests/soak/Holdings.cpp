// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/Holdings.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace fs = std::filesystem;

namespace {

// Number behind "Key:" in one of the kernel's files of such lines.
std::uint64_t NumberIn(const fs::path& file, const std::string& key) {
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        if (line.compare(0, key.size() + 1, key + ":") == 0) {
            return std::stoull(line.substr(key.size() + 1));
        }
    }
    throw std::runtime_error(file.string() + " says nothing of " + key);
}

}  // namespace

Holdings HoldingsOf(pid_t process) {
    const fs::path folder = "/proc/" + std::to_string(process);
    Holdings holdings{World::HoldingsOf(process), 0, 0, 0, 0};
    holdings.privateDirty = NumberIn(folder / "smaps_rollup", "Private_Dirty");
    holdings.resident = NumberIn(folder / "smaps_rollup", "Rss");
    holdings.peak = NumberIn(folder / "status", "VmHWM") - NumberIn(folder / "status", "RssFile");
    holdings.threads = static_cast<unsigned>(NumberIn(folder / "status", "Threads"));
    return holdings;
}
