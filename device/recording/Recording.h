// SPDX-License-Identifier: Apache-2.0
// A recording of what went between the device and a secure element: a text of one JSON object a line.
//
//   {"time":"2026-03-01T12:00:00.250Z","event":"open","atr":"3B80...","code":0}
//   {"time":"2026-03-01T12:00:00.251Z","event":"exchange","command":"80CA9F7F00","response":"9F7F...9000","code":0}
//   {"time":"2026-03-01T12:00:00.300Z","event":"exchange","command":"80CA006600","code":-29491193,"message":"..."}
//   {"time":"2026-03-01T12:00:00.301Z","event":"close"}
//
// Times are UTC by ISO 8601. A code is the platform's, nfc_error_e; one that is not 0 comes with a message in
// place of the answer.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "device/names/Bytes.h"

namespace Device {

struct RecordedEvent {
    enum class Kind { Open, Exchange, Close };

    Kind kind = Kind::Exchange;
    Bytes command;         // of an exchange
    Bytes answer;          // response of an exchange, answer-to-reset of an open
    int code = 0;          // of the platform
    std::string message;   // of a failure
    std::size_t line = 0;  // in the file, from 1
};

// The line for an event, with its end.
[[nodiscard]] std::string RecordingLine(
    const RecordedEvent& event, std::chrono::system_clock::time_point time);

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

    // Throws ElementFailure when the line did not get into the file.
    void Write(const RecordedEvent& event) const;

private:
    std::string file;
    int descriptor;
};

}  // namespace Device
