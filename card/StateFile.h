// SPDX-License-Identifier: Apache-2.0
// A file that one process at a time keeps a card in.
#pragma once

#include <optional>
#include <string>

namespace Card {

// An open file, closed in the end.
class FileDescriptor {
public:
    explicit FileDescriptor(int openedDescriptor) : descriptor(openedDescriptor) {}
    ~FileDescriptor();
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int Get() const { return descriptor; }
    [[nodiscard]] bool Valid() const { return descriptor >= 0; }

private:
    int descriptor;
};

// The text of a state file; nothing when there is no file. Throws std::runtime_error when it cannot be read.
[[nodiscard]] std::optional<std::string> ReadStateText(const std::string& path);

// The lock is on a file beside it, ".lock" behind its name: the file itself is replaced with each change.
class StateFile {
public:
    // Waits some seconds for another card to let go of it. Throws std::runtime_error when it stays in use or
    // its folder cannot be written.
    explicit StateFile(std::string filePath);

    const std::string& Path() const { return path; }

    // Nothing when there is no file yet. Throws std::runtime_error when it cannot be read.
    [[nodiscard]] std::optional<std::string> Read() const { return ReadStateText(path); }

    // Replaces the whole file; when it returns, the new text is on the disk. Throws std::runtime_error when
    // that fails, and the file is as it was, or, where only its folder could not be written, whole and new.
    void Write(const std::string& text) const;

private:
    [[noreturn]] void Fail(const std::string& what) const;

    std::string path;
    FileDescriptor lock;
};

}  // namespace Card
