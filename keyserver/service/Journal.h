// SPDX-License-Identifier: Apache-2.0
// The account of what the server does: readable lines for people, JSON lines for programs.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "keyserver/service/Dialogue.h"

namespace KeyServer {

// One message and its answer.
struct Exchange {
    std::uint64_t connection = 0;  // counted from 1
    std::uint64_t message = 0;     // of the server, counted from 1
    std::string session;           // the message's "UUID"; empty when the body gives none
    std::string service;           // name of the service, when the message belongs to a session
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

class Journal {
public:
    using Sink = std::function<void(const std::string& line)>;

    // Lines go to `sink`, one at a time and without line end; none do when it is empty. Each exchange is
    // appended to `recordFile` as soon as it is over, unless that name is empty. Throws std::system_error
    // when the file cannot be opened.
    Journal(Sink sink, const std::string& recordFile);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    void Say(const std::string& text);
    void Note(const Exchange& exchange);

private:
    void SayExchange(const Exchange& exchange);
    void Record(const Exchange& exchange);

    Sink sink;
    int record = -1;
    bool recordFailed = false;
    std::mutex mutex;
};

}  // namespace KeyServer
