// SPDX-License-Identifier: Apache-2.0
// Card commands in hexadecimal text, above one reader.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "app/SeReader.h"

namespace Na {

// A secure element for the span of one job. Command and response APDUs (ISO 7816-4) are hexadecimal text,
// two digits a byte, upper case when made here and read in either case.
class Se {
public:
    explicit Se(int kind);

    bool Open();
    void Close();

    // Exchanges one command and returns the response with its status word; empty on failure. Follows 61xx and
    // 6Cxx with commands of its own.
    std::string Apdu(const std::string& command);

    // Exchanges commands in order, up to the first without a response, and returns the last response.
    std::string Apdu(const char* const commands[], std::size_t count);

    // Card production life cycle data (GlobalPlatform, tag 9F7F) without tag and length; empty on failure.
    std::string GetCplc();

    // Free non-volatile memory in bytes from the extended card resources (ETSI TS 102 226, tag FF21); 0 on
    // failure.
    std::uint32_t GetFreeMemory();

    // Whether a response ends with 9000. Raises std::out_of_range for one shorter than a status word.
    static bool isValidSW(const std::string& response);

    // Value of the first top-level BER-TLV object with that tag; empty when there is none. Raises
    // std::out_of_range when a tag or length is cut short.
    static std::string GetTagValue(const std::string& data, const std::string& tag);

private:
    std::unique_ptr<ISeReader> pReader;  // none when the factory refused
};

// An Se that is open for one scope: opened at its begin when the reader is willing, and closed at its end.
class SeSession {
public:
    explicit SeSession(int kind) : element(kind), open(element.Open()) {}
    ~SeSession() {
        if (open) {
            element.Close();
        }
    }
    SeSession(const SeSession&) = delete;
    SeSession& operator=(const SeSession&) = delete;

    bool IsOpen() const { return open; }
    Se& Element() { return element; }

private:
    Se element;
    bool open;
};

}  // namespace Na
