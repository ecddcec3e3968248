// SPDX-License-Identifier: Apache-2.0
// Jobs that talk to a server, in the test's own process and against a real HTTP peer.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "app/Agent.h"
#include "app/ResultCode.h"
#include "app/ServerAddress.h"
#include "common/Json.h"
#include "device/VirtualDevice.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/RecordingPort.h"

class ServerJob : public testing::Test {
protected:
    static constexpr char Cplc[] =
        "4F525731000150600100506100C0FFEE00424F5050654F4550664F495070000000014F53507100000002";
    static constexpr char SeId[] = "4F525731000150600100506100C0FFEE0042";

    ServerJob() { Na::SetNavoAddress(peer.Url()); }

    // An ordinary device whose card has the CPLC above and answers `cardLines`.
    static std::string Card(const std::string& cardLines = "") {
        return std::string("[card]\ncplc=") + Cplc + "\n" + cardLines;
    }

    // Sends one request to a fresh device and returns the text of its status reply.
    std::string Run(const Na::RequestMap& request, const std::string& configuration) {
        world.Configure(configuration);
        world.ForgetLog();
        port.replies.clear();
        Na::SetResultCodeText("left behind");
        agent.Trigger_ClientData(&port, ClientId, request);
        EXPECT_EQ(port.replies.size(), 1U);
        if (port.replies.size() != 1) {
            return "";
        }
        EXPECT_TRUE(port.replies.front().statusOnly);
        EXPECT_EQ(port.replies.front().result.size(), 1U);
        return port.replies.front().result["ReturnCode"];
    }

    // Value of a member of the message that the peer got as its n-th request, from 0.
    std::string Sent(std::size_t request, const std::string& member) const {
        const std::vector<HttpPeer::Request> requests = peer.Requests();
        if (request >= requests.size()) {
            ADD_FAILURE() << "request " << request << " never came";
            return "";
        }
        const std::string& body = requests[request].body;
        EXPECT_EQ(body.substr(0, 6), "data={");
        return Na::Json(body.substr(5)).Get(member);
    }

    DeviceWorld world;
    HttpPeer peer;
    RecordingPort port;
    Na::Agent agent;
};
