// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target over files, and over the files of folders, as they are given.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tests/fuzz/FuzzTarget.h"

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> FilesOf(const fs::path& place) {
    std::vector<fs::path> files;
    if (!fs::is_directory(place)) {
        return {fs::absolute(place)};
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(fs::absolute(place))) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool Run(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    if (!stream) {
        std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
        return false;
    }
    std::printf("%s\n", file.filename().c_str());
    std::fflush(stdout);  // a crash leaves the name of its input as the last line
    // A buffer of exactly this size lets a sanitizer see a read beyond it.
    const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
    return true;
}

}  // namespace

// Targets may change the working directory, so all names are made absolute first.
int main(int count, char** arguments) {
    std::vector<fs::path> files;
    for (int i = 1; i < count; ++i) {
        const std::vector<fs::path> more = FilesOf(arguments[i]);
        files.insert(files.end(), more.begin(), more.end());
    }
    if (files.empty()) {
        std::fprintf(stderr, "there is no input to run\n");
        return 2;
    }
    bool complete = true;
    for (const fs::path& file : files) {
        complete = Run(file) && complete;
    }
    std::printf("%zu inputs\n", files.size());
    return complete ? 0 : 1;
}
