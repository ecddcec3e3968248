// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <nfc.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "device/recording/ElementFailure.h"
#include "device/recording/Recording.h"

namespace Device {

namespace {

constexpr mode_t OwnersOnly = 0600;  // a recording has whatever the commands had

[[noreturn]] void Fail(const std::string& file, const std::string& cause) {
    throw ElementFailure(NFC_ERROR_OPERATION_FAILED, file + ": the recording cannot be written: " + cause);
}

}  // namespace

Recorder::Recorder(std::string fileName)
    : file(std::move(fileName)),
      descriptor(open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, OwnersOnly)) {
    if (descriptor < 0) {
        Fail(file, std::strerror(errno));
    }
}

Recorder::~Recorder() {
    close(descriptor);
}

// Counts also what is not measured.
std::optional<Measurement> Recorder::MeasurementOf(const RecordedEvent& event) {
    const bool opens = event.kind == RecordedEvent::Kind::Open && event.code == 0;
    session += opens ? 1 : 0;
    ordinal = opens ? 0 : ordinal + (event.kind == RecordedEvent::Kind::Exchange ? 1 : 0);
    if (!event.begun) {
        return std::nullopt;
    }
    const auto duration = std::chrono::steady_clock::now() - event.begun->steady;
    return Measurement{
        event.begun->wall, std::chrono::duration_cast<std::chrono::microseconds>(duration), getpid(), session,
        event.kind == RecordedEvent::Kind::Exchange ? ordinal : 0};
}

void Recorder::Write(const RecordedEvent& event) {
    const std::optional<Measurement> measured = MeasurementOf(event);
    const std::string line = RecordingLine(event, std::chrono::system_clock::now(), measured);
    ssize_t written = 0;
    do {
        written = write(descriptor, line.data(), line.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        Fail(file, std::strerror(errno));
    }
    if (static_cast<std::size_t>(written) != line.size()) {
        Fail(
            file, "only " + std::to_string(written) + " of " + std::to_string(line.size()) + " bytes got in");
    }
}

}  // namespace Device
