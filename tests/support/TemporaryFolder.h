// SPDX-License-Identifier: Apache-2.0
// A folder that exists for one test.
#pragma once

#include <filesystem>
#include <string>

// Made below the system's temporary folder (paths of sockets must be short) and removed with all it holds.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return path; }

    // Writes a file below the folder, with its parents, in one step: a reader sees the old or the new text.
    std::filesystem::path Write(const std::filesystem::path& name, const std::string& text) const;

private:
    std::filesystem::path path;
};

// Whole text of a file; fails the running test when it cannot be read.
std::string ReadFile(const std::filesystem::path& file);
