// SPDX-License-Identifier: Apache-2.0
#include "device/element/PcscConnection.h"

#include <nfc.h>

#include <array>
#include <chrono>

#include "device/element/PcscFailure.h"
#include "device/element/TransportZero.h"

namespace Device {

namespace {

constexpr std::chrono::milliseconds TimeToNotice{1500};
constexpr std::size_t StatusWordLength = 2;

void Require(long result, const std::string& action) {
    if (result != SCARD_S_SUCCESS) {
        throw PcscFailure(action, result);
    }
}

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string Listed(const std::vector<std::string>& readers) {
    std::string text;
    for (const std::string& reader : readers) {
        text += (text.empty() ? "there are " : ", ") + Quoted(reader);
    }
    return text;
}

// The service's list: each name ends with a zero byte, the list with another one.
std::vector<std::string> NamesIn(const char* list, std::size_t length) {
    std::vector<std::string> names;
    for (std::size_t at = 0; at < length && list[at] != '\0'; at += names.back().size() + 1) {
        names.emplace_back(&list[at]);
    }
    return names;
}

// The first reader whose name has `part` in it and that has a card; else the first with that name, so that
// connecting says what is wrong with it.
std::string ChosenReader(const PcscContext& context, const std::string& part) {
    const std::vector<std::string> readers = context.Readers();
    if (readers.empty()) {
        throw PcscFailure("looking for a reader", SCARD_E_NO_READERS_AVAILABLE);
    }
    std::string chosen;
    for (const std::string& reader : readers) {
        if (reader.find(part) == std::string::npos) {
            continue;
        }
        if (context.HasCard(reader)) {
            return reader;
        }
        chosen = chosen.empty() ? reader : chosen;
    }
    if (chosen.empty()) {
        throw PcscFailure(
            "looking for reader " + Quoted(part) + "; " + Listed(readers), SCARD_E_UNKNOWN_READER);
    }
    if (part.empty()) {
        throw PcscFailure("looking for a reader with a card; " + Listed(readers), SCARD_E_NO_SMARTCARD);
    }
    return chosen;
}

DWORD ProtocolsOf(const ReaderSettings& settings) {
    switch (settings.protocol) {
        case CardProtocol::T0:
            return SCARD_PROTOCOL_T0;
        case CardProtocol::T1:
            return SCARD_PROTOCOL_T1;
        default:
            return SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1;
    }
}

DWORD ShareModeOf(const ReaderSettings& settings) {
    return settings.exclusive ? SCARD_SHARE_EXCLUSIVE : SCARD_SHARE_SHARED;
}

bool SaysNothingOfTheCard(long result) {
    return result == SCARD_F_COMM_ERROR || result == SCARD_E_NOT_TRANSACTED ||
           result == SCARD_E_INVALID_HANDLE || result == SCARD_F_INTERNAL_ERROR;
}

}  // namespace

PcscContext::PcscContext() {
    Require(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &handle), "SCardEstablishContext");
}

PcscContext::~PcscContext() {
    SCardReleaseContext(handle);
}

std::vector<std::string> PcscContext::Readers() const {
    std::vector<char> list(PCSCLITE_MAX_READERS_CONTEXTS * MAX_READERNAME + 1);
    DWORD length = list.size();
    const long result = SCardListReaders(handle, nullptr, list.data(), &length);
    if (result == SCARD_E_NO_READERS_AVAILABLE) {
        return {};
    }
    Require(result, "SCardListReaders");
    return NamesIn(list.data(), length);
}

bool PcscContext::HasCard(const std::string& reader) const {
    SCARD_READERSTATE state = {};
    state.szReader = reader.c_str();
    state.dwCurrentState = SCARD_STATE_UNAWARE;
    Require(SCardGetStatusChange(handle, 0, &state, 1), "SCardGetStatusChange of " + Quoted(reader));
    return (state.dwEventState & SCARD_STATE_PRESENT) != 0;
}

long PcscContext::WhatBecameOf(const std::string& reader, long reason) const {
    SCARD_READERSTATE state = {};
    state.szReader = reader.c_str();
    state.dwCurrentState = SCARD_STATE_UNAWARE;
    const auto deadline = std::chrono::steady_clock::now() + TimeToNotice;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return reason;
        }
        const long result = SCardGetStatusChange(handle, static_cast<DWORD>(left.count()), &state, 1);
        if (result == SCARD_E_TIMEOUT) {
            return reason;
        }
        if (result == SCARD_E_UNKNOWN_READER || (state.dwEventState & SCARD_STATE_UNKNOWN) != 0) {
            return SCARD_E_READER_UNAVAILABLE;
        }
        if (result != SCARD_S_SUCCESS) {
            return SCARD_E_SERVICE_STOPPED;
        }
        if ((state.dwEventState & SCARD_STATE_EMPTY) != 0) {
            return SCARD_W_REMOVED_CARD;
        }
        state.dwCurrentState = state.dwEventState;
    }
}

PcscConnection::PcscConnection(const ReaderSettings& settings)
    : reader(ChosenReader(context, settings.name)), buffer(MAX_BUFFER_SIZE_EXTENDED) {
    Connect(settings);
    try {
        ResetCard(settings);
        ReadAnswerToReset();
    } catch (...) {
        SCardDisconnect(card, SCARD_RESET_CARD);
        throw;
    }
}

PcscConnection::~PcscConnection() {
    SCardDisconnect(card, SCARD_RESET_CARD);
}

void PcscConnection::Connect(const ReaderSettings& settings) {
    Require(
        SCardConnect(
            context.Handle(), reader.c_str(), ShareModeOf(settings), ProtocolsOf(settings), &card, &protocol),
        "SCardConnect of reader " + Quoted(reader));
}

// Another program may have left the card in the middle of something.
void PcscConnection::ResetCard(const ReaderSettings& settings) {
    Require(
        SCardReconnect(card, ShareModeOf(settings), ProtocolsOf(settings), SCARD_RESET_CARD, &protocol),
        "SCardReconnect of reader " + Quoted(reader));
}

void PcscConnection::ReadAnswerToReset() {
    std::array<unsigned char, MAX_ATR_SIZE> answer{};
    DWORD length = answer.size();
    DWORD nameLength = 0;
    DWORD state = 0;
    Require(
        SCardStatus(card, nullptr, &nameLength, &state, &protocol, answer.data(), &length),
        "SCardStatus of reader " + Quoted(reader));
    answerToReset.assign(answer.begin(), answer.begin() + static_cast<std::ptrdiff_t>(length));
}

Bytes PcscConnection::Transmit(const Bytes& command) {
    const bool zero = protocol == SCARD_PROTOCOL_T0;
    const Bytes transported = zero ? TransportCommand(command) : command;
    DWORD length = buffer.size();
    long result = SCardTransmit(
        card, zero ? SCARD_PCI_T0 : SCARD_PCI_T1, transported.data(), transported.size(), nullptr,
        buffer.data(), &length);
    // Some drivers report a card that goes away under a command as a response of nothing.
    if (result == SCARD_S_SUCCESS && length < StatusWordLength) {
        result = SCARD_F_COMM_ERROR;
    }
    if (result != SCARD_S_SUCCESS) {
        throw PcscFailure(
            "SCardTransmit to reader " + Quoted(reader),
            SaysNothingOfTheCard(result) ? context.WhatBecameOf(reader, result) : result);
    }
    return Bytes(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(length));
}

}  // namespace Device
