// SPDX-License-Identifier: Apache-2.0
// Reads one HTTP request from a stream of bytes, as far as they have come.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "keyserver/http/HttpExchange.h"

namespace KeyServer {

class RequestReader {
public:
    explicit RequestReader(std::size_t mostBytesOfBody);
    ~RequestReader();
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;

    enum class Progress { NeedsMore, Head, Complete, Flawed };

    // Takes what belongs to the request from the front of the input. Returns Head once, before the body is
    // read.
    Progress Read(std::string& input);

    // As far as it was read; without its connection's number.
    HttpRequest& Request() { return request; }

    // The client waits for permission to send the body.
    bool AsksToContinue() const { return asksToContinue; }

    // What is wrong with it, or why it is not complete when no more comes.
    Flaw WhatIsWrong() const { return flaw; }

private:
    struct Parser;

    Progress Advance(std::string& input);
    Progress Complain(Flaw found);
    void TakeHead();

    const std::size_t mostBytes;
    std::unique_ptr<Parser> parser;
    HttpRequest request;
    bool headTaken = false;
    bool asksToContinue = false;
    Flaw flaw = Flaw::NoHttp;
};

}  // namespace KeyServer
