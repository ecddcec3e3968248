// SPDX-License-Identifier: Apache-2.0
// An exchange of the service with a peer of the test's own.
#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "common/Http.h"
#include "common/Locations.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/service/CurlSpy.h"
#include "tests/support/service/DeviceWorld.h"

constexpr char ExchangeContext[] = "dbus;com.example.wallet_2817";

class HttpExchange : public testing::Test {
protected:
    Na::HttpOutcome Post(const std::string& body = "data={}", const std::string& proxy = "") {
        return http.SendRequest(peer.Url() + "/IssueCard.do", Na::HttpRequest::Post, body, proxy);
    }

    Na::HttpOutcome Get() { return http.SendRequest(peer.Url() + "/page", Na::HttpRequest::Get, "", ""); }

    HttpPeer::Request OnlyRequest() {
        const auto requests = peer.Requests();
        EXPECT_THAT(requests, testing::SizeIs(1));
        return requests.empty() ? HttpPeer::Request() : requests.front();
    }

    std::vector<std::string> CookieFiles() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(Locations::CookieDirectory)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    DeviceWorld world;
    HttpPeer peer;
    Na::Http http{ExchangeContext};
};

class FailingExchange : public HttpExchange {
protected:
    // Outcome when every attempt ends with the code.
    Na::HttpOutcome OutcomeOf(CURLcode code) {
        spy.Decide(code, 10);
        return Post();
    }

    CurlSpy spy;
};
