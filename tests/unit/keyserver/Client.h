// SPDX-License-Identifier: Apache-2.0
// HTTP clients of the server's tests: one that behaves, over libcurl, and one that sends any bytes.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/Eventually.h"

struct HttpAnswer {
    int curlCode = 0;
    long status = 0;
    std::string contentType;
    std::string body;
    std::string problem;
};

// Keeps its connection between requests, as the agent does within a job. Proxies are never used.
class HttpClient {
public:
    // `base` as in Server::Url; `authority` is the file of trusted certificates for HTTPS.
    explicit HttpClient(std::string base, std::string authority = "");
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    HttpAnswer Post(const std::string& body, const std::string& path = "/IssueCard.do");
    HttpAnswer Request(const std::string& method, const std::string& path);
    void FollowRedirects(long most) { redirects = most; }

private:
    HttpAnswer Perform(void* handle);

    std::string base;
    std::string authority;
    long redirects = 0;
    struct Share;
    std::unique_ptr<Share> share;
};

// A plain connection to 127.0.0.1 on which anything can be sent.
class RawClient {
public:
    explicit RawClient(int port);
    ~RawClient();
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    bool Send(const std::string& bytes);
    void EndSending();

    // All that comes until the server closes, or until 20 seconds have passed.
    std::string ReadToEnd();

    // Reads until `text` has come; false when the connection ends before.
    bool ReadUntil(const std::string& text);

    // Whether nothing comes for so long, neither bytes nor the end of the connection.
    bool IsSilentFor(std::chrono::milliseconds time) const;

    // False once the server has closed and all is read that came before.
    bool IsOpen() const;

private:
    bool ReadSome();

    int socket;
    std::string received;
};

std::string HttpPost(const std::string& body, const std::string& moreHeaders = "");
