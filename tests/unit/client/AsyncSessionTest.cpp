// SPDX-License-Identifier: Apache-2.0
// What an asynchronous session tells its main loop, and in which order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "navo/AsyncSession.h"
#include "tests/unit/client/Expectations.h"
#include "tests/unit/client/FakeService.h"
#include "tests/unit/client/MainLoop.h"
#include "tests/unit/client/TestBus.h"

using testing::ElementsAre;

namespace {

FakeService::Behaviour Answering(FakeService::Handler onRequest) {
    FakeService::Behaviour behaviour;
    behaviour.onRequest = std::move(onRequest);
    return behaviour;
}

// Answers with the command itself.
void Echo(Arrival& arrival) {
    arrival.Reply({{"ReturnCode", arrival.Request().at("Cmd")}});
}

// Ends of calls in the order in which they came: the code of the reply, or the kind of the error.
class Ends {
public:
    Navo::OnEnd<Navo::Map> Next() {
        return [this](std::future<Navo::Map> reply) {
            try {
                seen.push_back(reply.get().at("ReturnCode"));
            } catch (const Navo::ClientError& error) {
                seen.emplace_back(NameOf(error.Kind()));
            }
        };
    }
    Navo::OnEnd<void> NextOfNothing(const std::string& success) {
        return [this, success](std::future<void> done) {
            try {
                done.get();
                seen.push_back(success);
            } catch (const Navo::ClientError& error) {
                seen.emplace_back(NameOf(error.Kind()));
            }
        };
    }
    const std::vector<std::string>& Seen() const { return seen; }
    std::function<bool()> Are(std::size_t count) const {
        return [this, count] { return seen.size() == count; };
    }

private:
    std::vector<std::string> seen;
};

}  // namespace

TEST(AsyncSession, OpensCallsAndClosesWithoutWaiting) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering(Echo));
    MainLoop loop;
    Ends ends;
    Navo::AsyncSession session(On(bus.Address()), ends.NextOfNothing("opened"));
    session.Start({{"Cmd", "67"}}, ends.Next());
    session.Close(ends.NextOfNothing("closed"));
    EXPECT_THAT(ends.Seen(), ElementsAre());
    loop.RunUntil(ends.Are(3));
    EXPECT_THAT(ends.Seen(), ElementsAre("opened", "67", "closed"));
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Cmd 67", "Close"));
}

TEST(AsyncSession, SendsOneOfManyCallsAfterTheOther) {
    const TestBus bus;
    int unanswered = 0;
    const FakeService service(bus.Address(), Answering([&unanswered](Arrival& arrival) {
                                  EXPECT_EQ(++unanswered, 1);
                                  arrival.Progress("A4_");
                                  --unanswered;
                                  Echo(arrival);
                              }));
    MainLoop loop;
    Ends ends;
    std::vector<std::string> order;
    Navo::AsyncSession session(On(bus.Address()));
    std::vector<std::string> expected;
    for (int command = 100; command < 120; ++command) {
        Navo::CallOptions options;
        options.onProgress = [&order, command](const std::string&) {
            order.push_back(std::to_string(command));
        };
        session.Start({{"Cmd", std::to_string(command)}}, ends.Next(), options);
        expected.push_back(std::to_string(command));
    }
    loop.RunUntil(ends.Are(20));
    EXPECT_EQ(ends.Seen(), expected);
    EXPECT_EQ(order, expected);
}

TEST(AsyncSession, TellsEverythingInTheThreadOfItsContext) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  arrival.Progress("A4_");
                                  Echo(arrival);
                              }));
    MainLoop loop;
    const std::thread::id own = std::this_thread::get_id();
    std::vector<std::thread::id> seen;
    const auto note = [&seen] { seen.push_back(std::this_thread::get_id()); };
    Navo::AsyncSession session(On(bus.Address()), [&](std::future<void>) { note(); });
    Navo::CallOptions options;
    options.onProgress = [&](const std::string&) { note(); };
    session.Start({{"Cmd", "67"}}, [&](std::future<Navo::Map>) { note(); }, options);
    loop.RunUntil([&] { return seen.size() == 3; });
    EXPECT_THAT(seen, testing::Each(own));
}

namespace {

// The promise to keep when the service's second "Cmd" is there, before it is read. GDBus hands nothing to a
// filter under a lock that others can see.
std::mutex counting;
std::promise<void>* second = nullptr;
int requests = 0;

GDBusMessage* CountRequests(GDBusConnection*, GDBusMessage* message, gboolean, gpointer) {
    const char* const member = g_dbus_message_get_member(message);
    const std::lock_guard<std::mutex> lock(counting);
    if (member != nullptr && std::string(member) == "Cmd" && ++requests == 2) {
        second->set_value();
    }
    return message;
}

}  // namespace

TEST(AsyncSession, CancelsTheCallThatRunsAndServesTheNext) {
    const TestBus bus;
    std::promise<void> next;
    auto coming = next.get_future();
    const FakeService service(bus.Address(), Answering([&coming](Arrival& arrival) {
                                  arrival.Progress("P_" + arrival.Request().at("Cmd"));
                                  if (arrival.Request().at("Cmd") == "65") {
                                      Await(coming);
                                      arrival.Progress("P_65 again");
                                  }
                                  Echo(arrival);
                              }));
    {
        const std::lock_guard<std::mutex> lock(counting);
        second = &next;
        requests = 0;
    }
    const guint filter = g_dbus_connection_add_filter(service.Connection(), CountRequests, nullptr, nullptr);
    MainLoop loop;
    Ends ends;
    std::vector<std::string> progress;
    Navo::CallOptions options;
    options.onProgress = [&progress](const std::string& text) { progress.push_back(text); };
    Navo::AsyncSession session(On(bus.Address()));
    const auto first = session.Start({{"Cmd", "65"}}, ends.Next(), options);
    session.Start({{"Cmd", "67"}}, ends.Next(), options);
    loop.RunUntil([&] { return !progress.empty(); });
    session.Cancel(first);
    loop.RunUntil(ends.Are(2));
    session.Cancel(first);
    g_dbus_connection_remove_filter(service.Connection(), filter);
    EXPECT_THAT(ends.Seen(), ElementsAre("cancelled", "67"));
    EXPECT_THAT(progress, ElementsAre("P_65", "P_67")) << "the first call's later progress is nobody's";
}

TEST(AsyncSession, DoesNotSendWhatIsCancelledBeforeItsTurn) {
    const TestBus bus;
    std::promise<void> cancelled;
    auto cancelling = cancelled.get_future();
    const FakeService service(bus.Address(), Answering([&cancelling](Arrival& arrival) {
                                  if (arrival.Request().at("Cmd") == "65") {
                                      Await(cancelling);
                                  }
                                  Echo(arrival);
                              }));
    MainLoop loop;
    Ends ends;
    Navo::AsyncSession session(On(bus.Address()));
    session.Start({{"Cmd", "65"}}, ends.Next());
    const auto waiting = session.Start({{"Cmd", "67"}}, ends.Next());
    session.Start({{"Cmd", "68"}}, ends.Next());
    session.Cancel(waiting);
    loop.RunUntil(ends.Are(1));
    cancelled.set_value();
    session.Close(ends.NextOfNothing("closed"));
    loop.RunUntil(ends.Are(4));
    EXPECT_THAT(ends.Seen(), ElementsAre("cancelled", "65", "68", "closed"));
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Cmd 65", "Cmd 68", "Close"));
}

TEST(AsyncSession, EndsEachCallWithTheErrorOfTheOpening) {
    MainLoop loop;
    Ends ends;
    Navo::AsyncSession session(On("unix:path=/nonexistent/bus"), ends.NextOfNothing("opened"));
    session.Start({{"Cmd", "67"}}, ends.Next());
    loop.RunUntil(ends.Are(2));
    session.Start({{"Cmd", "68"}}, ends.Next());
    session.Close(ends.NextOfNothing("closed"));
    loop.RunUntil(ends.Are(4));
    EXPECT_THAT(ends.Seen(), ElementsAre("no-bus", "no-bus", "no-bus", "closed"));
}

TEST(AsyncSession, TellsErrorsByTheirKind) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  if (arrival.Request().at("Cmd") == "65") {
                                      return;  // never answered
                                  }
                                  arrival.ReplyWithError("org.example.Error", "no");
                              }));
    MainLoop loop;
    Ends ends;
    Navo::CallOptions shortly;
    shortly.timeLimit = std::chrono::milliseconds(50);
    Navo::AsyncSession session(On(bus.Address()));
    session.Start({{"Cmd", "\xFF"}}, ends.Next());
    session.Start({{"Cmd", "65"}}, ends.Next(), shortly);
    session.Start({{"Cmd", "67"}}, ends.Next());
    session.Close();
    session.Start({{"Cmd", "68"}}, ends.Next());
    loop.RunUntil(ends.Are(4));
    std::vector<std::string> kinds = ends.Seen();
    std::sort(kinds.begin(), kinds.end());
    EXPECT_THAT(kinds, ElementsAre("invalid-request", "invalid-request", "timed-out", "unexpected-reply"));
}

TEST(AsyncSession, GivesTheValuesOfJobsAndTheirFailures) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  const bool isMemory = arrival.Request().at("Cmd") == "68";
                                  arrival.Reply(
                                      isMemory ? Navo::Map{{"ReturnCode", "4096"}, {"MemoryInfo", "4096"}}
                                               : Navo::Map{{"ReturnCode", ResultText::ElementRefused}});
                              }));
    MainLoop loop;
    std::int64_t bytes = 0;
    std::string code;
    Navo::AsyncSession session(On(bus.Address()));
    session.Start(Navo::Jobs::FreeMemory(), [&bytes](std::future<std::int64_t> free) { bytes = free.get(); });
    session.Start(Navo::Jobs::RunScript({"WALLET-01"}), [&code](std::future<void> done) {
        try {
            done.get();
        } catch (const Navo::JobFailed& failure) {
            code = failure.Result().code;
        }
    });
    loop.RunUntil([&code] { return !code.empty(); });
    EXPECT_EQ(bytes, 4096);
    EXPECT_EQ(code, "10400006");
}

TEST(AsyncSession, MayBeDestroyedByItsOwnHandler) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering(Echo));
    MainLoop loop;
    Ends ends;
    std::optional<Navo::AsyncSession> session;
    session.emplace(On(bus.Address()));
    session->Start({{"Cmd", "67"}}, [&session](std::future<Navo::Map>) { session.reset(); });
    session->Start({{"Cmd", "68"}}, ends.Next());
    loop.RunUntil([&session] { return !session; });
    loop.RunWhatIsThere();
    EXPECT_THAT(ends.Seen(), ElementsAre());
    EXPECT_EQ(service.Received().back(), "Close");
}

TEST(AsyncSession, ClosesWhenItIsDestroyedAndTellsNothingMore) {
    const TestBus bus;
    std::promise<void> began;
    auto beginning = began.get_future();
    std::promise<void> ended;
    auto ending = ended.get_future();
    const FakeService service(bus.Address(), Answering([&](Arrival& arrival) {
                                  began.set_value();
                                  Await(ending);
                                  Echo(arrival);
                              }));
    MainLoop loop;
    Ends ends;
    {
        Navo::AsyncSession session(On(bus.Address()), ends.NextOfNothing("opened"));
        session.Start({{"Cmd", "65"}}, ends.Next());
        session.Start({{"Cmd", "67"}}, ends.Next());
        Await(beginning);
        ended.set_value();
    }
    loop.RunWhatIsThere();
    EXPECT_THAT(ends.Seen(), ElementsAre());
    EXPECT_EQ(service.Received().back(), "Close");
}
