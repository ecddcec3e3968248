// SPDX-License-Identifier: Apache-2.0
// What libcurl works with during one HTTP exchange, and what it may do on its own.
#pragma once

#include <curl/curl.h>

#include <array>
#include <string>

#include "common/Owned.h"

namespace Na {

// The longest body that is kept, counted as it was decoded. What comes after is taken and dropped.
constexpr std::size_t LongestBody = std::size_t(16) * 1024 * 1024;

// libcurl's write callback: appends the bytes to the std::string `target`, and takes them all. What makes the
// text longer than LongestBody is left out but for one byte, by which the excess shows. What finds no memory
// is left out too, and fails the attempt.
std::size_t curl_write_cb(char* data, std::size_t size, std::size_t count, void* target) noexcept;

// The handle goes before the buffers that it knows of.
struct HttpExchange {
    HttpExchange() = default;
    HttpExchange(const HttpExchange&) = delete;
    HttpExchange& operator=(const HttpExchange&) = delete;

    std::array<char, CURL_ERROR_SIZE> errorText{};
    std::string received;
    int unanswered = 0;          // requests sent since the last byte of an answer
    bool stoppedResend = false;  // libcurl was about to send an unanswered request again
    OwnedBy<CURL, curl_easy_cleanup> curl{curl_easy_init()};
    OwnedBy<curl_slist, curl_slist_free_all> headers;

    void AddHeader(const char* header);

    // Bounds what libcurl would do by itself: where redirects may lead (after HTTPS to HTTPS only) and how
    // many, how long a connection may be silent, who is told what libcurl does, and that a request whose kept
    // connection died unanswered is sent again by us, who count, and not by libcurl.
    void SetBounds(const std::string& url);

    // To be called before each attempt.
    void BeginAttempt();

    // Its end as it counts: an attempt that libcurl would have repeated got nothing, and one whose answer
    // found no memory failed.
    CURLcode EndAttempt(CURLcode code);

    bool IsTooLong() const { return received.size() > LongestBody; }
};

}  // namespace Na
