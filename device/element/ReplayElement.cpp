// SPDX-License-Identifier: Apache-2.0
#include "device/element/ReplayElement.h"

#include <nfc.h>

#include <utility>

#include "device/gate/Aliases.h"
#include "device/gate/Gate.h"
#include "device/gate/LogWriter.h"
#include "device/recording/ElementFailure.h"

namespace Device {

namespace {

using Kind = RecordedEvent::Kind;

// For the log, which others may read. The line of the recording that is named with it has the command itself.
std::string Shown(const Bytes& command) {
    const std::string digits = HexText(command);
    return ShowsSecrets() ? digits : Aliases().Command(digits);
}

}  // namespace

ReplayElement::ReplayElement(std::string recordingFile)
    : file(std::move(recordingFile)), events(ReadRecording(file)) {}

std::string ReplayElement::Place(const RecordedEvent& event) const {
    return file + ":" + std::to_string(event.line) + ": ";
}

void ReplayElement::Fail(int code, const std::string& cause) {
    complaint = cause;
    complaintCode = code;
    throw ElementFailure(code, cause);
}

// How many exchanges there were before the session's end.
std::size_t ReplayElement::SkipExchanges() {
    const std::size_t first = next;
    while (Next() != nullptr && Next()->kind == Kind::Exchange) {
        ++next;
    }
    return next - first;
}

Bytes ReplayElement::Open() {
    complaint.clear();
    while (Next() != nullptr && Next()->kind != Kind::Open) {
        ++next;
    }
    const RecordedEvent* const event = Next();
    if (event == nullptr) {
        Fail(
            NFC_ERROR_OPERATION_FAILED, file + ": the recording has ended with line " +
                                            std::to_string(events.back().line) +
                                            "; it has no further session");
    }
    ++next;
    if (event->code != 0) {
        Fail(event->code, Place(*event) + event->message);
    }
    return event->answer;
}

void ReplayElement::RequireRecorded(const Bytes& command) {
    const RecordedEvent* const event = Next();
    if (event == nullptr) {
        Fail(
            NFC_ERROR_OPERATION_FAILED, file + ": the recording has ended with line " +
                                            std::to_string(events.back().line) + ", before command " +
                                            Shown(command));
    }
    if (event->kind != Kind::Exchange) {
        Fail(
            NFC_ERROR_OPERATION_FAILED,
            Place(*event) + "the recorded session ends here, before command " + Shown(command));
    }
    if (event->command != command) {
        Fail(
            NFC_ERROR_OPERATION_FAILED, Place(*event) + "the command differs: recorded " +
                                            Shown(event->command) + ", sent " + Shown(command));
    }
}

Bytes ReplayElement::Transmit(const Bytes& command) {
    if (!complaint.empty()) {
        throw ElementFailure(complaintCode, complaint);
    }
    RequireRecorded(command);
    const RecordedEvent& event = events[next++];
    if (event.code != 0) {
        Fail(event.code, Place(event) + event.message);
    }
    return event.answer;
}

void ReplayElement::Close() noexcept {
    try {
        const std::size_t first = next;
        const std::size_t left = SkipExchanges();
        if (left > 0) {
            WriteDeviceLog(
                Place(events[first]) + "from here on, " + std::to_string(left) +
                " recorded exchanges of the session were not asked for");
        }
        if (Next() != nullptr && Next()->kind == Kind::Close) {
            ++next;
        }
    } catch (const std::exception& error) {
        ReportException("nfc_se_close_secure_element", error);
    }
    complaint.clear();
}

}  // namespace Device
