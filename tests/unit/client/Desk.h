// SPDX-License-Identifier: Apache-2.0
// A bus with a service on it, and navoctl run against them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/service/ResultTexts.h"
#include "tests/unit/client/Expectations.h"
#include "tests/unit/client/FakeService.h"
#include "tests/unit/client/NavoctlProgram.h"
#include "tests/unit/client/TestBus.h"

// Answers requests with one reply and keeps the last request.
class Desk {
public:
    explicit Desk(const Navo::Map& reply) : Desk([reply](Arrival& arrival) { arrival.Reply(reply); }) {}

    explicit Desk(FakeService::Handler onRequest)
        : service(bus.Address(), Remembering(std::move(onRequest))) {}

    ProgramEnd Run(const std::vector<std::string>& arguments) const {
        return NavoctlProgram::Run(bus.Address(), arguments);
    }
    const std::string& Address() const { return bus.Address(); }
    const FakeService& Service() const { return service; }
    Navo::Map LastRequest() const { return lastRequest.Get(); }

private:
    // The request 66 is navoctl's own question whether the service is still there.
    FakeService::Behaviour Remembering(FakeService::Handler onRequest) {
        FakeService::Behaviour behaviour;
        behaviour.onRequest = [this, onRequest = std::move(onRequest)](Arrival& arrival) {
            if (arrival.Request() == Navo::Map{{"Cmd", "66"}} && !isProbed) {
                isProbed = true;
                arrival.Reply({{"ReturnCode", ResultText::WrongCommand}});
                return;
            }
            lastRequest.Set(arrival.Request());
            onRequest(arrival);
        };
        return behaviour;
    }

    TestBus bus;
    bool isProbed = false;
    Guarded<Navo::Map> lastRequest;
    FakeService service;
};
