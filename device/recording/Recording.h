// SPDX-License-Identifier: Apache-2.0
// A recording of what went between the device and a secure element: a text of one JSON object a line.
//
//   {"time":"2026-03-01T12:00:00.250Z","event":"open","atr":"3B80...","code":0}
//   {"time":"2026-03-01T12:00:00.251Z","event":"exchange","command":"80CA9F7F00","response":"9F7F...9000","code":0}
//   {"time":"2026-03-01T12:00:00.300Z","event":"exchange","command":"80CA006600","code":-29491193,"message":"..."}
//   {"time":"2026-03-01T12:00:00.301Z","event":"close"}
//
// What was measured as it happened also says when it began, in microseconds, how long it took, and where it
// stands:
//
//   ..."code":0,"received":"2026-03-01T12:00:00.250871Z","durationMicroseconds":412,"process":71,"session":1,"ordinal":2}
//
// Times are UTC by ISO 8601. A code is the platform's, nfc_error_e; one that is not 0 comes with a message in
// place of the answer.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "device/names/Bytes.h"

namespace Device {

// The beginning of an event, by the clock that people read and by the one that never jumps.
struct Moment {
    std::chrono::system_clock::time_point wall;
    std::chrono::steady_clock::time_point steady;

    [[nodiscard]] static Moment Now() {
        return {std::chrono::system_clock::now(), std::chrono::steady_clock::now()};
    }
};

// How long an event took, and its place among those of its process.
struct Measurement {
    std::chrono::system_clock::time_point received;
    std::chrono::microseconds duration{0};
    int process = 0;
    std::uint64_t session = 0;  // counted from 1, in this recording by this process
    std::uint64_t ordinal = 0;  // of an exchange within its session, from 1
};

struct RecordedEvent {
    enum class Kind { Open, Exchange, Close };

    Kind kind = Kind::Exchange;
    Bytes command;                  // of an exchange
    Bytes answer;                   // response of an exchange, answer-to-reset of an open
    int code = 0;                   // of the platform
    std::string message;            // of a failure
    std::size_t line = 0;           // in the file, from 1
    std::optional<Moment> begun{};  // when it is to be measured
};

// The line for an event, with its end.
[[nodiscard]] std::string RecordingLine(
    const RecordedEvent& event, std::chrono::system_clock::time_point time,
    const std::optional<Measurement>& measured = {});

// All events of a file. Throws std::runtime_error, "file:line: what is wrong", for the first line that cannot
// be one, and for exchanges outside a session: each belongs to the open before it, up to the close.
std::vector<RecordedEvent> ReadRecording(const std::string& file);

// A recording that is being made. Each event is in the file when `Write` returns, by one write of the whole
// line behind what the file already holds.
class Recorder {
public:
    // Throws ElementFailure when the file cannot be written.
    explicit Recorder(std::string fileName);
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    const std::string& File() const { return file; }

    // An event that begun is measured up to now. Throws ElementFailure when the line did not get into the
    // file.
    void Write(const RecordedEvent& event);

private:
    std::optional<Measurement> MeasurementOf(const RecordedEvent& event);

    std::string file;
    int descriptor;
    std::uint64_t session = 0;
    std::uint64_t ordinal = 0;
};

}  // namespace Device
