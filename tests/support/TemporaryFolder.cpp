// SPDX-License-Identifier: Apache-2.0
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (fs::temp_directory_path() / "navo-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp " + pattern);
    }
    path = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

fs::path TemporaryFolder::Write(const fs::path& name, const std::string& text) const {
    const fs::path file = path / name;
    fs::create_directories(file.parent_path());
    const fs::path draft = file.string() + ".new";
    {
        std::ofstream stream(draft, std::ios::binary);
        stream << text;
        stream.flush();
        if (!stream) {
            throw std::system_error(errno, std::generic_category(), "write " + draft.string());
        }
    }
    fs::rename(draft, file);
    return file;
}

std::string ReadFile(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << "cannot read " << file;
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}
