// SPDX-License-Identifier: Apache-2.0
// What a session does when all is well.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "navo/Client.h"
#include "tests/unit/client/Expectations.h"
#include "tests/unit/client/FakeService.h"
#include "tests/unit/client/TestBus.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const Navo::Map AskForCplc = {{"Cmd", "67"}};

FakeService::Behaviour Answering(FakeService::Handler onRequest) {
    FakeService::Behaviour behaviour;
    behaviour.onRequest = std::move(onRequest);
    return behaviour;
}

Navo::CallOptions CollectingProgressIn(std::vector<std::string>& lines) {
    Navo::CallOptions options;
    options.onProgress = [&lines](const std::string& text) { lines.push_back(text); };
    return options;
}

}  // namespace

TEST(Session, OpensCallsAndClosesOnceEach) {
    const TestBus bus;
    const FakeService service(
        bus.Address(), Answering([](Arrival& arrival) { arrival.Reply({{"ReturnCode", "4790AB"}}); }));
    {
        Navo::Session session(On(bus.Address()));
        EXPECT_EQ(session.ServiceConnection(), service.UniqueName());
        EXPECT_EQ(session.Call(AskForCplc), (Navo::Map{{"ReturnCode", "4790AB"}}));
        session.Close();
        EXPECT_EQ(session.ServiceConnection(), "");
    }
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Cmd 67", "Close"));
}

TEST(Session, ClosesItselfWhenAnExceptionLeavesItsScope) {
    const TestBus bus;
    const FakeService service(bus.Address());
    const auto useAndFail = [&bus] {
        const Navo::Session session(On(bus.Address()));
        throw std::runtime_error("something else went wrong");
    };
    EXPECT_THROW(useAndFail(), std::runtime_error);
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Close"));
}

TEST(Session, CarriesTextsOfAnyLanguageAndEmptyOnes) {
    const TestBus bus;
    Guarded<Navo::Map> seen;
    const FakeService service(bus.Address(), Answering([&](Arrival& arrival) {
                                  seen.Set(arrival.Request());
                                  arrival.Reply({{"", "empty key"}, {"ReturnCode", "서비스\n"}});
                              }));
    const Navo::Map request = {{"Cmd", "65"}, {"ServiceId", ""}, {"pushReq", "Schlüssel \"=&"}};
    Navo::Session session(On(bus.Address()));
    EXPECT_EQ(session.Call(request), (Navo::Map{{"", "empty key"}, {"ReturnCode", "서비스\n"}}));
    session.Close();
    EXPECT_EQ(seen.Get(), request);
}

TEST(Session, UsesTheMethodExecWithItsTag) {
    const TestBus bus;
    Guarded<std::string> tag;
    const FakeService service(bus.Address(), Answering([&tag](Arrival& arrival) {
                                  tag.Set(arrival.Tag());
                                  arrival.Reply({{"ReturnCode", "4790AB"}});
                              }));
    Navo::CallOptions options;
    options.method = Navo::Method::Exec;
    options.resultTag = "tag of mine";
    Navo::Session session(On(bus.Address()));
    session.Call(AskForCplc, options);
    session.Close();
    EXPECT_EQ(tag.Get(), "tag of mine");
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Exec 67", "Close"));
}

TEST(Session, DeliversProgressWhileTheCallRuns) {
    const TestBus bus;
    std::promise<void> delivered;
    auto delivery = delivered.get_future();
    const FakeService service(bus.Address(), Answering([&delivery](Arrival& arrival) {
                                  arrival.Progress("A4_Select Service");
                                  Await(delivery);  // the reply waits until the client has it
                                  arrival.Reply({{"ReturnCode", "00000001_"}});
                              }));
    Navo::Session session(On(bus.Address()));
    Navo::CallOptions options;
    options.onProgress = [&delivered](const std::string& text) {
        EXPECT_EQ(text, "A4_Select Service");
        delivered.set_value();
    };
    session.Call({{"Cmd", "65"}}, options);
}

TEST(Session, DeliversAllProgressInOrderBeforeCallReturns) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  const std::string path = "/navoa/client/" + arrival.CallersProcessId();
                                  for (int number = 0; number < 1000; ++number) {
                                      arrival.ProgressFrom(path, "E8_" + std::to_string(number));
                                  }
                                  arrival.Reply({{"ReturnCode", "00000001_"}});
                              }));
    std::vector<std::string> received;
    Navo::Session session(On(bus.Address()));
    session.Call({{"Cmd", "65"}}, CollectingProgressIn(received));
    session.Close();
    std::vector<std::string> sent;
    for (int number = 0; number < 1000; ++number) {
        sent.push_back("E8_" + std::to_string(number));
    }
    EXPECT_EQ(received, sent);
}

TEST(Session, DropsProgressThatComesAfterTheReply) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  const std::string path = "/navoa/client/" + arrival.CallersProcessId();
                                  arrival.ProgressFrom(path, "in time");
                                  arrival.Reply({{"ReturnCode", "00000001_"}});
                                  arrival.ProgressFrom(path, "late");
                              }));
    std::vector<std::string> received;
    Navo::Session session(On(bus.Address()));
    session.Call({{"Cmd", "65"}}, CollectingProgressIn(received));
    session.Close();  // its answer comes after the late signal
    EXPECT_THAT(received, ElementsAre("in time"));
}

TEST(Session, TakesOnlyItsOwnProcessesProgress) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  const std::string own = arrival.CallersProcessId();
                                  arrival.ProgressFrom("/navoa/client/1" + own, "longer id");
                                  arrival.ProgressFrom("/navoa/client/" + own.substr(1), "shorter id");
                                  arrival.ProgressFrom("/navoa/client/x" + own, "no underscore");
                                  arrival.ProgressFrom("/elsewhere/client/" + own, "other path");
                                  arrival.ProgressFrom("/navoa/client/" + own, "own");
                                  arrival.Reply({{"ReturnCode", "00000001_"}});
                              }));
    std::vector<std::string> received;
    Navo::Session session(On(bus.Address()));
    session.Call({{"Cmd", "65"}}, CollectingProgressIn(received));
    EXPECT_THAT(received, ElementsAre("own"));
}

TEST(Session, TakesProgressFromThePathThatAPackageNameWithAnUnderscoreGives) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  arrival.ProgressFrom(
                                      "/navoa/client/app_" + arrival.CallersProcessId(), "A4_");
                                  arrival.Reply({{"ReturnCode", "00000001_"}});
                              }));
    std::vector<std::string> received;
    Navo::Session session(On(bus.Address()));
    session.Call({{"Cmd", "65"}}, CollectingProgressIn(received));
    EXPECT_THAT(received, ElementsAre("A4_"));
}

TEST(Session, TakesNoProgressFromOthersThanItsService) {
    const TestBus bus;
    Navo::ConnectionPtr stranger(g_dbus_connection_new_for_address_sync(
        bus.Address().c_str(),
        static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr));
    ASSERT_NE(stranger, nullptr);
    const FakeService service(bus.Address(), Answering([&stranger](Arrival& arrival) {
                                  const std::string path = "/navoa/client/" + arrival.CallersProcessId();
                                  g_dbus_connection_emit_signal(
                                      stranger.get(), nullptr, path.c_str(), "com.orvenco.navoa", "Progress",
                                      g_variant_new("(s)", "forged"), nullptr);
                                  g_dbus_connection_flush_sync(stranger.get(), nullptr, nullptr);
                                  arrival.ProgressFrom(path, "genuine");
                                  arrival.Reply({{"ReturnCode", "00000001_"}});
                              }));
    std::vector<std::string> received;
    Navo::Session session(On(bus.Address()));
    session.Call({{"Cmd", "65"}}, CollectingProgressIn(received));
    session.Close();
    g_dbus_connection_close_sync(stranger.get(), nullptr, nullptr);
    EXPECT_THAT(received, ElementsAre("genuine"));
}

TEST(Session, IgnoresASignalOfAnotherType) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  const std::string path = "/navoa/client/" + arrival.CallersProcessId();
                                  g_dbus_connection_emit_signal(
                                      arrival.Service().Connection(), nullptr, path.c_str(),
                                      "com.orvenco.navoa", "Progress", g_variant_new("(i)", 7), nullptr);
                                  arrival.Reply({{"ReturnCode", "00000001_"}});
                              }));
    std::vector<std::string> received;
    Navo::Session session(On(bus.Address()));
    session.Call({{"Cmd", "65"}}, CollectingProgressIn(received));
    EXPECT_THAT(received, IsEmpty());
}

TEST(Session, LetsAnExceptionOfTheProgressCallbackThroughAndStaysUsable) {
    const TestBus bus;
    std::promise<void> thrown;
    auto throwing = thrown.get_future();
    int requests = 0;
    const FakeService service(bus.Address(), Answering([&](Arrival& arrival) {
                                  if (++requests == 1) {
                                      arrival.Progress("A4_");
                                      Await(throwing);
                                  }
                                  arrival.Reply({{"ReturnCode", std::to_string(requests)}});
                              }));
    Navo::Session session(On(bus.Address()));
    Navo::CallOptions options;
    options.onProgress = [](const std::string&) { throw std::length_error("enough"); };
    EXPECT_THROW(session.Call({{"Cmd", "65"}}, options), std::length_error);
    thrown.set_value();
    EXPECT_EQ(session.Call(AskForCplc), (Navo::Map{{"ReturnCode", "2"}}));
}

TEST(Session, RefusesToBeUsedFromItsOwnProgressCallback) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  arrival.Progress("A4_");
                                  arrival.Reply({{"ReturnCode", "00000001_"}});
                              }));
    Navo::Session session(On(bus.Address()));
    int refusals = 0;
    Navo::CallOptions options;
    options.onProgress = [&](const std::string&) {
        const Navo::ClientError error = ErrorFrom([&] { session.Call(AskForCplc); });
        EXPECT_EQ(error.Kind(), Navo::ErrorKind::InvalidRequest);
        EXPECT_THAT(TextOf(error), HasSubstr("progress callback"));
        ++refusals;
    };
    session.Call({{"Cmd", "65"}}, options);
    EXPECT_EQ(refusals, 1);
}

TEST(Session, NeitherRunsNorNeedsTheCallersMainContext) {
    const TestBus bus;
    const FakeService service(bus.Address());
    const Navo::ContextPtr callers(g_main_context_new());
    g_main_context_push_thread_default(callers.get());
    bool hasRun = false;
    const Navo::SourcePtr source(g_idle_source_new());
    g_source_set_callback(
        source.get(),
        [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_CONTINUE;
        },
        &hasRun, nullptr);
    g_source_attach(source.get(), callers.get());
    {
        Navo::Session session(On(bus.Address()));
        session.Call(AskForCplc);
    }
    EXPECT_FALSE(hasRun);
    EXPECT_EQ(g_main_context_get_thread_default(), callers.get());
    g_main_context_pop_thread_default(callers.get());
}

TEST(Session, GivesEachOfManyThreadsItsOwnReply) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  arrival.Progress("P_" + arrival.Request().at("Cmd"));
                                  arrival.Reply({{"ReturnCode", arrival.Request().at("Cmd")}});
                              }));
    Navo::Session session(On(bus.Address()));
    const auto callOften = [&session](int firstCommand) {
        for (int command = firstCommand; command < firstCommand + 20; ++command) {
            std::vector<std::string> progress;
            const std::string text = std::to_string(command);
            const Navo::Map reply = session.Call({{"Cmd", text}}, CollectingProgressIn(progress));
            EXPECT_EQ(reply, (Navo::Map{{"ReturnCode", text}}));
            EXPECT_THAT(progress, ElementsAre("P_" + text));
        }
    };
    std::vector<std::thread> threads;
    for (const int firstCommand : {100, 200, 300, 400}) {
        threads.emplace_back(callOften, firstCommand);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    session.Close();
    EXPECT_EQ(service.Received().size(), 82U);
}

namespace {

// The match rules that the bus holds for a connection; nothing where the bus gives no statistics.
std::optional<std::vector<std::string>> MatchRulesOf(
    GDBusConnection* asker, const std::string& connectionName) {
    const Navo::VariantPtr reply(g_dbus_connection_call_sync(
        asker, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Debug.Stats",
        "GetAllMatchRules", nullptr, G_VARIANT_TYPE("(a{sas})"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
        nullptr));
    if (reply == nullptr) {
        return std::nullopt;
    }
    const Navo::VariantPtr all(g_variant_get_child_value(reply.get(), 0));
    const Navo::VariantPtr own(
        g_variant_lookup_value(all.get(), connectionName.c_str(), G_VARIANT_TYPE_STRING_ARRAY));
    std::vector<std::string> rules;
    for (gsize index = 0; own != nullptr && index < g_variant_n_children(own.get()); ++index) {
        const char* rule = nullptr;
        g_variant_get_child(own.get(), index, "&s", &rule);
        rules.emplace_back(rule);
    }
    return rules;
}

}  // namespace

TEST(Session, LeavesNoSubscriptionBehindACall) {
    const TestBus bus;
    using Rules = std::optional<std::vector<std::string>>;
    Guarded<Rules> during;
    const FakeService service(bus.Address(), Answering([&](Arrival& arrival) {
                                  during.Set(MatchRulesOf(arrival.Service().Connection(), arrival.Sender()));
                                  arrival.Reply({{"ReturnCode", arrival.Sender()}});
                              }));
    Navo::Session session(On(bus.Address()));
    const std::string client = session.Call(AskForCplc).at("ReturnCode");
    if (!during.Get()) {
        GTEST_SKIP() << "this dbus-daemon gives no statistics";
    }
    EXPECT_THAT(*during.Get(), testing::Contains(HasSubstr("Progress")));
    // The session does not wait for the bus to have heard of the end of its subscription.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    Rules after = during.Get();
    while (!after.value().empty() && std::chrono::steady_clock::now() < deadline) {
        after = MatchRulesOf(service.Connection(), client);
    }
    EXPECT_THAT(after.value(), IsEmpty());
}
