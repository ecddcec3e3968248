// SPDX-License-Identifier: Apache-2.0
#include "device/element/PcscElement.h"

#include <nfc.h>

#include <chrono>
#include <future>
#include <thread>
#include <utility>

#include "device/gate/Gate.h"
#include "device/gate/LogWriter.h"

namespace Device {

namespace {

// A service that hangs, or a card that another program holds, must not keep the caller.
constexpr std::chrono::seconds TimeToDisconnect{3};

// ISO 7816-4, 5.1: a command has a header of four bytes. The service takes the longest extended APDU.
constexpr std::size_t ShortestCommand = 4;
constexpr std::size_t LongestCommand = MAX_BUFFER_SIZE_EXTENDED;

void RequireCarriable(const Bytes& command) {
    if (command.size() < ShortestCommand || command.size() > LongestCommand) {
        throw ElementFailure(
            NFC_ERROR_INVALID_PARAMETER, "a reader takes commands of " + std::to_string(ShortestCommand) +
                                             " to " + std::to_string(LongestCommand) + " bytes, not of " +
                                             std::to_string(command.size()));
    }
}

}  // namespace

PcscElement::PcscElement(ReaderSettings readerSettings) : settings(std::move(readerSettings)) {}

PcscElement::~PcscElement() {
    Disconnect();
}

Bytes PcscElement::Open() {
    Disconnect();
    connection = std::make_unique<PcscConnection>(settings);
    loss.reset();
    return connection->AnswerToReset();
}

void PcscElement::Close() noexcept {
    Disconnect();
    loss.reset();
}

Bytes PcscElement::Transmit(const Bytes& command) {
    RequireCarriable(command);
    if (!connection) {
        throw loss.value_or(ElementFailure(NFC_ERROR_ILLEGAL_STATE, "the reader is not connected"));
    }
    try {
        return connection->Transmit(command);
    } catch (const ElementFailure& failure) {
        if (failure.Code() != NFC_ERROR_NOT_SUPPORTED) {
            loss = failure;
            Disconnect();
        }
        throw;
    }
}

// The connection ends in a thread of its own, which owns it. One that does not come back in time is left
// behind with what it holds.
void PcscElement::Disconnect() noexcept {
    if (!connection) {
        return;
    }
    try {
        std::packaged_task<void()> task([ending = std::move(connection)]() mutable { ending.reset(); });
        std::future<void> ended = task.get_future();
        std::thread(std::move(task)).detach();
        if (ended.wait_for(TimeToDisconnect) != std::future_status::ready) {
            WriteDeviceLog("the reader does not let go of its card; it is left to itself");
        }
    } catch (const std::exception& error) {
        ReportException("nfc_se_close_secure_element", error);
    }
}

}  // namespace Device
