// SPDX-License-Identifier: Apache-2.0
// What a reply means. The service reports some values under the key of result messages, and some failures
// with the code of success, so a reply is judged by its shape and its command; docs/dbus-protocol.md has the
// table.
#pragma once

#include <optional>
#include <string>

#include "navo/Client.h"
#include "navo/Export.h"

namespace Navo {

// "10400006_No permission to access eSE", taken apart at the first "_".
struct ResultMessage {
    std::string code;         // the whole text when there is no "_"
    std::string description;  // empty when the service has none for the code
    bool hasDescription;      // whether there was a "_"
};

// Any text is one: without "_" it is a code alone.
[[nodiscard]] NAVO_API ResultMessage SplitResultMessage(const std::string& text);

// A reply, judged.
struct Outcome {
    bool success;             // whether what was asked for was done
    std::string message;      // "ReturnCode" as it came; of a CCM script its "LccmReturnCode"
    std::string code;         // of a result message: its code; of a verdict: its number; else empty
    std::string description;  // of a result message; may be empty
    std::string value;        // what was asked for: CPLC, bytes free, phone information, key data; else empty
    std::string explanation;  // one sentence where the message alone would mislead; else empty
};

// Judges the reply to a request with that command; never throws.
[[nodiscard]] NAVO_API Outcome Interpret(long command, const Map& reply);

// The command of a request as the service reads it: base 16, with leading blanks, sign and "0x" accepted, up
// to the first other character ("1F4Z" is 0x1F4, "" is 0). Nothing without the key, or when it is out of
// range.
[[nodiscard]] NAVO_API std::optional<long> CommandOf(const Map& request);

// Upper-case hexadecimal text without a prefix, for the key "Cmd".
[[nodiscard]] NAVO_API std::string CommandText(long command);

}  // namespace Navo
