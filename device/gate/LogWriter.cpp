// SPDX-License-Identifier: Apache-2.0
#include "device/gate/LogWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "device/gate/OwnProcess.h"
#include "device/gate/Permanent.h"

namespace Device {

namespace {

constexpr char DeviceTag[] = "navo-device";

class LogFile {
public:
    // Descriptor of the file that NAVO_DLOG names at the moment; standard error when it names none.
    int Descriptor();

    std::mutex mutex;

private:
    void Open(const std::string& wanted);

    std::string name;
    int descriptor = STDERR_FILENO;
};

std::string Lines(char priority, const std::string& tag, const std::string& message);

void WriteAll(int descriptor, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written = write(descriptor, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR) {
            return;  // nobody is left to be told
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
}

int LogFile::Descriptor() {
    const char* variable = std::getenv("NAVO_DLOG");
    const std::string wanted = variable == nullptr ? "" : variable;
    if (wanted != name) {
        Open(wanted);
    }
    return descriptor;
}

void LogFile::Open(const std::string& wanted) {
    if (descriptor != STDERR_FILENO) {
        close(descriptor);
    }
    name = wanted;
    descriptor = wanted.empty() ? STDERR_FILENO
                                : open(wanted.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        const std::string cause = std::strerror(errno);
        descriptor = STDERR_FILENO;
        WriteAll(
            STDERR_FILENO,
            Lines('E', DeviceTag, "NAVO_DLOG=" + wanted + ": " + cause + "; the log goes to standard error"));
    }
}

std::string Lines(char priority, const std::string& tag, const std::string& message) {
    char pid[16];
    std::snprintf(pid, sizeof pid, "%5d", OwnProcess());
    std::string text;
    text.reserve(tag.size() + message.size() + sizeof pid + 8);  // the usual message is one line
    for (std::size_t start = 0;;) {
        const std::size_t end = message.find('\n', start);
        text.append(1, priority).append("/").append(tag).append("(").append(pid).append("): ");
        text.append(message, start, end - start).append("\n");
        if (end == std::string::npos || end + 1 == message.size()) {
            return text;
        }
        start = end + 1;
    }
}

LogFile& TheLogFile() {
    static LogFile& file = Permanent<LogFile>();
    return file;
}

}  // namespace

int WriteLog(char priority, const std::string& tag, const std::string& message) {
    const std::string text = Lines(priority, tag, message);
    LogFile& file = TheLogFile();
    const std::lock_guard<std::mutex> lock(file.mutex);
    WriteAll(file.Descriptor(), text);
    return static_cast<int>(text.size());
}

void WriteDeviceLog(const std::string& message) {
    const std::string text = Lines('E', DeviceTag, message);
    LogFile& file = TheLogFile();
    const std::lock_guard<std::mutex> lock(file.mutex);
    const int descriptor = file.Descriptor();
    WriteAll(STDERR_FILENO, text);
    if (descriptor != STDERR_FILENO) {
        WriteAll(descriptor, text);
    }
}

}  // namespace Device
