// SPDX-License-Identifier: Apache-2.0
// The lowest layer between the service and a secure element.
#pragma once

#include <memory>
#include <string>

#include "common/Utils.h"

namespace Na {

// A channel to one secure element. Failures are false or empty, and the current result says why.
class ISeReader {
public:
    virtual ~ISeReader() = default;

    // Whether the device has what the reader needs. Like GetAtr part of every reader, though nobody asks yet.
    virtual bool IsPresent() = 0;
    virtual bool IsReady() = 0;

    // Open calls count; the channel closes with the last matching Close.
    virtual bool Open() = 0;
    virtual void Close() = 0;

    // Exchanges one command APDU (ISO 7816-4) for its response APDU, two status bytes included.
    virtual Bytes Apdu(const Bytes& command) = 0;

    // Answer to reset of the last open, cut at its first zero byte.
    virtual std::string GetAtr() = 0;
};

// A reader for the secure element of that kind (0 and 1: embedded, 2: UICC), already probed; none when the
// device refuses it.
std::unique_ptr<ISeReader> CreateSeReader(int kind);

}  // namespace Na
