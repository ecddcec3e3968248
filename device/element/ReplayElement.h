// SPDX-License-Identifier: Apache-2.0
// A recording in the place of a secure element.
#pragma once

#include <string>
#include <vector>

#include "device/element/SecureElement.h"
#include "device/recording/Recording.h"

namespace Device {

// Answers what the recording has for exactly the commands that it has, in their order. Each first open takes
// the next session of the recording; the first command that is not the recorded one fails, and so do all that
// follow it in the session. Nothing begins again but with another element.
class ReplayElement : public SecureElement {
public:
    // Throws std::runtime_error for a recording that cannot be read, with file and line.
    explicit ReplayElement(std::string recordingFile);

    Bytes Open() override;
    void Close() noexcept override;
    bool IsLost() const override { return !complaint.empty(); }
    Bytes Transmit(const Bytes& command) override;

private:
    const RecordedEvent* Next() const { return next < events.size() ? &events[next] : nullptr; }
    std::string Place(const RecordedEvent& event) const;
    [[noreturn]] void Fail(int code, const std::string& cause);
    void RequireRecorded(const Bytes& command);
    std::size_t SkipExchanges();

    std::string file;
    std::vector<RecordedEvent> events;
    std::size_t next = 0;
    std::string complaint;  // why the session cannot go on; empty while it can
    int complaintCode = 0;
};

}  // namespace Device
