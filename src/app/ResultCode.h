// SPDX-License-Identifier: Apache-2.0
// The result codes, their table and the service's single current result.
//
// Every layer that fails sets the current result; the Agent reports it when a job ends. All of this belongs
// to the main-loop thread.
#pragma once

#include <cstdint>
#include <string>

namespace Na {

// A result by its key in the table. Named is what the service sets or asks for itself. Every other row
// becomes current only by its text, when the server sends that.
enum class ResultCode : std::int32_t {
    CommandSetToRun = 0,  // the server's answer carries commands for the card
    Done = 1,

    UnknownError = 10000000,  // where jobs and exchanges begin; stays until somebody knows better
    WrongCommand = 10000001,  // of no job, or not for this client
    NoApdu = 10000002,        // a command did not reach the card, or there was none

    NetworkUnavailable = 10100000,
    ConnectionRefused = 10100002,
    TemporarilyUnavailable = 10100003,
    MalformedUrl = 10100004,
    HostUnreachable = 10100005,
    ProtocolError = 10100007,  // also that the client has gone
    TimedOut = 10100009,
    BadContentEncoding = 10100013,
    UnsupportedRequest = 10100014,
    MalformedCommandSet = 10100016,
    NoResponseFromServer = 10100019,

    RequestEmpty = 10300000,
    CommandUnreadable = 10300004,
    CommandMissing = 10300005,

    ElementOpened = 10400001,
    ElementNotClosed = 10400005,
    ElementRefused = 10400006,

    PleaseWait = 10500006,  // the server wants to be asked again

    Unknown = 999999999,  // ends the table, and is current before anything was set
};

// One row of the table. The texts are owned by the table and never null.
struct ResultCodeEntry {
    std::int32_t code;        // key by which the program sets a result
    const char* codeText;     // what clients see, 8 digits; may be empty
    const char* description;  // English; may be empty
};

// The last row is that of ResultCode::Unknown.
extern const ResultCodeEntry ResultCodeTable[];

// Makes `code` current, with the table's text for it (empty when the table does not know it).
void SetResultCode(ResultCode code);

// Makes `text` current as given, with the code of the first row of that text (Unknown without one).
void SetResultCodeText(const std::string& text);

ResultCode GetResultCode();
const std::string& GetResultCodeText();

// Text of a key, empty when unknown.
const char* FindCodeText(ResultCode code);

// Key of a text, Unknown when no row has it.
ResultCode FindCode(const std::string& text);

// Description of the first row with that text; null when no row has it.
const char* FindDescription(const std::string& text);

// The current text, "_" and its description; the bare text when no row has it.
std::string GetResultMessage();

}  // namespace Na
