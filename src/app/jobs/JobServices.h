// SPDX-License-Identifier: Apache-2.0
// What a running job uses of the agent.
#pragma once

#include <cstddef>
#include <string>

namespace Na {

class AgentJob;
class Se;

// Reports a card command by its instruction byte (two hexadecimal digits) to the job's client.
void SendProgress(const AgentJob& job, const std::string& instruction);

// A longer response set cannot be sent to the server.
constexpr std::size_t LongestResponseSet = 65537;

// Relays a set of command APDUs to the open secure element and returns the set of responses.
//
// A set is a sequence of items, each "/", two characters that are not examined, and an APDU in hexadecimal
// text; a response item is "/", "01" and the response. A failure replaces the whole response set by a text
// that begins with "21_" and says why. An empty set gives an empty response set. Responses behind the one
// that makes the set too long to send are left out.
std::string SendApdu(const AgentJob& job, Se& se, const std::string& commandSet);

// Fills `cplc` and `seId` of the job's request from the card; leaves both when the card gives none.
void ReadCplc(AgentJob& job, Se& se);

}  // namespace Na
