// SPDX-License-Identifier: Apache-2.0
// A recording of a secure element's exchanges.
#include "device/recording/Recording.h"

#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

#include "tests/fuzz/FuzzTarget.h"

namespace {

// A file that exists in memory, under a name that can be opened.
class MemoryFile {
public:
    MemoryFile() : descriptor(memfd_create("recording", MFD_CLOEXEC)) {}
    ~MemoryFile() { close(descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string Holding(const std::string& text) const {
        Require(ftruncate(descriptor, 0) == 0, "a file in memory can be emptied");
        Require(
            pwrite(descriptor, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
            "a file in memory can be written");
        return "/proc/self/fd/" + std::to_string(descriptor);
    }

private:
    int descriptor;
};

std::string Text(const std::vector<Device::RecordedEvent>& events) {
    std::string text;
    for (const Device::RecordedEvent& event : events) {
        text += Device::RecordingLine(event, std::chrono::system_clock::time_point());
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MemoryFile file;
    try {
        const std::string text(reinterpret_cast<const char*>(data), size);
        const std::string first = Text(Device::ReadRecording(file.Holding(text)));
        Require(
            Text(Device::ReadRecording(file.Holding(first))) == first, "a recording reads back as it was");
    } catch (const std::runtime_error& error) {
        Require(
            std::string(error.what()).rfind("/proc/self/fd/", 0) == 0, "a mistake is told with its place");
    }
    return 0;
}
