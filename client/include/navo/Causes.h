// SPDX-License-Identifier: Apache-2.0
// The one table of what codes mean: everything that a reply, a log line of the service or a key server's
// record may name, with what it means and what to look at. It needs no bus and no service.
#pragma once

#include <string>
#include <vector>

#include "navo/Export.h"

namespace Navo {

// Where a code comes from.
enum class CauseKind {
    ResultCode,  // "10100007": eight digits, of the service or of the server
    StatusWord,  // "6A88": four hexadecimal digits, of the card
    HttpStatus,  // "404": three digits, where a result code was expected
    CcmVerdict,  // "-5" in "LccmReturnCode"
    KeyVerdict,  // "-12" in the "ReturnCode" of a key command
    Error,       // "timed-out": an error of this library, by the word of NameOf(ErrorKind)
};

// For people: "result code".
[[nodiscard]] NAVO_API const char* NameOf(CauseKind kind);

// A row of the table.
struct Cause {
    CauseKind kind;       // where the code comes from
    std::string code;     // an "x" stands for any digit of a family: "61xx", "201000xx"
    std::string meaning;  // one sentence or more
    std::string lookAt;   // what to look at, or to do, next; empty where there is nothing
};

// What `code` may mean; more than one where kinds share a number, none where nobody knows it. A result
// message counts by its code, a status word in lower case or behind "0x" as well.
[[nodiscard]] NAVO_API std::vector<Cause> CausesOf(const std::string& code);

// The same of one kind alone; its first row that fits.
[[nodiscard]] NAVO_API std::vector<Cause> CausesOf(const std::string& code, CauseKind kind);

// Every row, ordered by kind, then as the tables of the service and the standards have them.
[[nodiscard]] NAVO_API std::vector<Cause> AllCauses();

}  // namespace Navo
