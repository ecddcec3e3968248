// SPDX-License-Identifier: Apache-2.0
// A service ends with its last session, so a client may meet one that is on its way out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <stdexcept>

#include "navo/Client.h"
#include "tests/unit/client/Expectations.h"
#include "tests/unit/client/FakeService.h"
#include "tests/unit/client/TestBus.h"

using Navo::ErrorKind;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const Navo::Map AskForCplc = {{"Cmd", "67"}};

void Leave(Arrival& arrival) {
    arrival.Service().Vanish();
}

FakeService::Behaviour LeavingAtOpen() {
    FakeService::Behaviour behaviour;
    behaviour.onOpen = Leave;
    return behaviour;
}

// Opens a session in another thread, calls once and closes.
std::future<Navo::Map> AskInBackground(const Navo::SessionOptions& options) {
    return std::async(std::launch::async, [options] {
        Navo::Session session(options);
        return session.Call(AskForCplc);
    });
}

}  // namespace

TEST(LeavingService, IsOpenedAgainAsSoonAsItsSuccessorIsThere) {
    const TestBus bus;
    const FakeService first(bus.Address(), LeavingAtOpen());
    auto answer = AskInBackground(On(bus.Address()));
    first.AwaitArrivals(1);
    std::unique_ptr<FakeService> second;
    while (second == nullptr) {
        try {
            second = std::make_unique<FakeService>(bus.Address());
        } catch (const std::runtime_error&) {
            // The first one still has the name.
        }
    }
    EXPECT_EQ(answer.get().count("ReturnCode"), 1U);
    EXPECT_THAT(second->Received(), ElementsAre("Open", "Cmd 67", "Close"));
}

TEST(LeavingService, IsWaitedForWhileItAnswersWrongParametersAndHasTheName) {
    const TestBus bus;
    FakeService::Behaviour stopped;
    stopped.onOpen = [](Arrival& arrival) { arrival.Reply({{"ReturnCode", "Wrong parameters"}}); };
    auto first = std::make_unique<FakeService>(bus.Address(), stopped);
    auto answer = AskInBackground(On(bus.Address()));
    first->AwaitArrivals(1);
    first.reset();
    const FakeService second(bus.Address());
    EXPECT_EQ(answer.get().count("ReturnCode"), 1U);
    EXPECT_THAT(second.Received(), ElementsAre("Open", "Cmd 67", "Close"));
}

TEST(LeavingService, ThatNobodyStartsAgainIsUnreachable) {
    const TestBus bus;
    const FakeService service(bus.Address(), LeavingAtOpen());
    Navo::SessionOptions options = On(bus.Address());
    options.successorLimit = std::chrono::milliseconds(50);
    const Navo::ClientError error = ErrorFrom([&options] { const Navo::Session session(options); });
    EXPECT_EQ(error.Kind(), ErrorKind::ServiceUnreachable);
    EXPECT_THAT(TextOf(error), HasSubstr("nobody starts it again"));
}

TEST(LeavingService, IsNotOpenedMoreOftenThanAllowed) {
    const TestBus bus;
    FakeService::Behaviour never;
    never.onOpen = [](Arrival& arrival) { arrival.Reply({{"ReturnCode", "Wrong parameters"}}); };
    const FakeService service(bus.Address(), never);
    Navo::SessionOptions options = On(bus.Address());
    options.openAttempts = 1;
    EXPECT_EQ(ErrorFrom([&] { const Navo::Session session(options); }).Kind(), ErrorKind::ServiceUnreachable);
    EXPECT_THAT(service.Received(), ElementsAre("Open"));
}

TEST(LeavingService, ThatStillSaidSuccessIsFoundOutByConfirmation) {
    const TestBus bus;
    FakeService::Behaviour lastWords;
    lastWords.onRequest = Leave;
    const FakeService first(bus.Address(), lastWords);
    Navo::SessionOptions options = On(bus.Address());
    options.confirm = true;
    auto answer = AskInBackground(options);
    first.AwaitArrivals(2);
    std::unique_ptr<FakeService> second;
    while (second == nullptr) {
        try {
            second = std::make_unique<FakeService>(bus.Address());
        } catch (const std::runtime_error&) {
        }
    }
    EXPECT_EQ(answer.get().count("ReturnCode"), 1U);
    EXPECT_THAT(first.Received(), ElementsAre("Open", "Cmd 66"));
    EXPECT_THAT(second->Received(), testing::Contains("Cmd 67"));
}

TEST(LeavingService, CostsOneExchangeToRuleOut) {
    const TestBus bus;
    const FakeService service(bus.Address());
    Navo::SessionOptions options = On(bus.Address());
    options.confirm = true;
    AskInBackground(options).get();
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Cmd 66", "Cmd 67", "Close"));
}

TEST(LeavingService, IsNotWaitedForAfterACancellation) {
    const TestBus bus;
    Navo::Cancellation cancellation;
    FakeService::Behaviour stopped;
    stopped.onOpen = [&cancellation](Arrival& arrival) {
        arrival.Reply({{"ReturnCode", "Wrong parameters"}});
        cancellation.Cancel();
    };
    const FakeService service(bus.Address(), stopped);
    Navo::SessionOptions options = On(bus.Address());
    options.cancellation = &cancellation;
    EXPECT_EQ(ErrorFrom([&] { const Navo::Session session(options); }).Kind(), ErrorKind::Cancelled);
}
