// SPDX-License-Identifier: Apache-2.0
// Turns a move of the server into the HTTP answer that carries it, spoiled as ordered.
#pragma once

#include <vector>

#include "keyserver/http/Reply.h"
#include "keyserver/service/Dialogue.h"
#include "keyserver/service/Misbehaviour.h"

namespace KeyServer {

// The answer's body is JSON in which "%" is written as "%25": the agent undoes URL escapes before it parses.
Reply MakeReply(const Turn& turn, const std::vector<Misbehaviour>& misbehaviours);

// A page of plain text for a request that is no message.
Reply MakeRefusal(int status, const std::string& reason);

// True when the agent does not receive the genuine answer, so that it may send its message again.
bool KeepsAnswerBack(const Misbehaviour& misbehaviour);

}  // namespace KeyServer
