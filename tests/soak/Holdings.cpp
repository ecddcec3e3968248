#include "Holdings.h"

#include <filesystem>
#include <fstream>
#include <sstream>
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

unsigned WatchesIn(const fs::path& descriptor) {
    std::ifstream stream(descriptor);
    unsigned watches = 0;
    for (std::string line; std::getline(stream, line);) {
        watches += line.compare(0, 8, "inotify ") == 0 ? 1 : 0;
    }
    return watches;
}

}  // namespace

Holdings HoldingsOf(pid_t process) {
    const fs::path folder = "/proc/" + std::to_string(process);
    Holdings holdings;
    holdings.privateDirty = NumberIn(folder / "smaps_rollup", "Private_Dirty");
    holdings.resident = NumberIn(folder / "smaps_rollup", "Rss");
    holdings.threads = static_cast<unsigned>(NumberIn(folder / "status", "Threads"));
    for (const fs::directory_entry& entry : fs::directory_iterator(folder / "fdinfo")) {
        ++holdings.descriptors;
        holdings.watches += WatchesIn(entry.path());
    }
    return holdings;
}
