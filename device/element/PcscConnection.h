// SPDX-License-Identifier: Apache-2.0
// A card in a reader, connected through the PC/SC service.
#pragma once

#include <winscard.h>

#include <string>
#include <vector>

#include "device/configuration/Configuration.h"

namespace Device {

// A client's context at the service.
class PcscContext {
public:
    // Throws ElementFailure when there is no service.
    PcscContext();
    ~PcscContext();
    PcscContext(const PcscContext&) = delete;
    PcscContext& operator=(const PcscContext&) = delete;

    SCARDCONTEXT Handle() const { return handle; }

    // Names of all readers, possibly none.
    [[nodiscard]] std::vector<std::string> Readers() const;

    // Whether there is a card in the reader, as the service knows it at the moment.
    [[nodiscard]] bool HasCard(const std::string& reader) const;

    // What became of the card since an exchange failed for a reason that does not say: SCARD_W_REMOVED_CARD,
    // SCARD_E_READER_UNAVAILABLE, SCARD_E_SERVICE_STOPPED, or `reason` as it is when the card is still there.
    // The service itself learns of a card that is pulled only after a while, so this can take a second.
    [[nodiscard]] long WhatBecameOf(const std::string& reader, long reason) const;

private:
    SCARDCONTEXT handle = 0;
};

// Connects, resets the card, and disconnects with another reset, so that no session outlives it. Not to be
// used by two threads at a time. What fails throws ElementFailure.
class PcscConnection {
public:
    explicit PcscConnection(const ReaderSettings& settings);
    ~PcscConnection();
    PcscConnection(const PcscConnection&) = delete;
    PcscConnection& operator=(const PcscConnection&) = delete;

    const std::string& Reader() const { return reader; }
    const Bytes& AnswerToReset() const { return answerToReset; }

    // Response with its status word. After a failure the card has lost its state, or is not there.
    [[nodiscard]] Bytes Transmit(const Bytes& command);

private:
    void Connect(const ReaderSettings& settings);
    void ResetCard(const ReaderSettings& settings);
    void ReadAnswerToReset();

    PcscContext context;
    std::string reader;
    SCARDHANDLE card = 0;
    DWORD protocol = 0;
    Bytes answerToReset;
    Bytes buffer;
};

}  // namespace Device
