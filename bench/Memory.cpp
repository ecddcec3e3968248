// SPDX-License-Identifier: Apache-2.0
#include "bench/Memory.h"

#include <fstream>
#include <string>

namespace Bench {

namespace {

// The value in kibibytes behind a word of one of the kernel's files about a process; 0 without that word.
double BytesBehind(const std::string& wanted, const std::string& file) {
    std::ifstream stream(file);
    for (std::string word; stream >> word;) {
        double kibibytes = 0;
        if (word == wanted && stream >> kibibytes) {
            return kibibytes * 1024;
        }
    }
    return 0;
}

}  // namespace

Memory MemoryOf(pid_t process) {
    const std::string folder = "/proc/" + std::to_string(process);
    return {
        BytesBehind("Private_Dirty:", folder + "/smaps_rollup"),
        BytesBehind("Pss:", folder + "/smaps_rollup"), BytesBehind("VmHWM:", folder + "/status")};
}

}  // namespace Bench
