// SPDX-License-Identifier: Apache-2.0
// What the account of the server says of one message.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "keyserver/service/Dialogue.h"

namespace KeyServer {

// One message and its answer.
struct Exchange {
    std::uint64_t connection = 0;  // counted from 1
    std::uint64_t message = 0;     // of the server, counted from 1
    std::uint64_t job = 0;         // the session's number, counted from 1 by the server; 0 without one
    std::uint64_t set = 0;  // number of the message within its session, and so of the set that it brings
    std::chrono::system_clock::time_point received;  // when the whole message was there
    std::chrono::microseconds duration{0};           // until its answer was made
    std::string session;                             // the message's "UUID"; empty when the body gives none
    std::string service;  // name of the service, when the message belongs to a session
    std::string msgCd;
    std::string request;  // the body
    int status = 200;
    std::string resultCode;  // empty when the answer has none
    std::string answer;      // the body
    std::string remark;      // which step follows, or why the session ends or the message is refused
    std::vector<Verdict> verdicts;
    std::vector<std::string> notes;  // what the server learned from the responses
    std::vector<std::string> misbehaviours;
    bool repeated = false;  // the message came again, and so did the answer
};

}  // namespace KeyServer
