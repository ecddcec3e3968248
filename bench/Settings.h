// SPDX-License-Identifier: Apache-2.0
// What the person at the command line wants of a run.
#pragma once

#include <filesystem>

namespace Bench {

struct Settings {
    unsigned rounds = 15;           // ours and floor are taken in turn within each
    bool wall = true;               // take times and sizes
    bool instructions = true;       // count instructions
    std::filesystem::path scratch;  // a folder for the run's own files, gone afterwards
};

}  // namespace Bench
