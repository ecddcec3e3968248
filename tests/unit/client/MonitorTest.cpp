// SPDX-License-Identifier: Apache-2.0
// What a monitor sees of others.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "navo/BusSight.h"
#include "navo/Monitor.h"
#include "tests/support/Eventually.h"
#include "tests/unit/client/Desk.h"

using testing::Contains;
using testing::HasSubstr;

namespace {

constexpr char MayMonitor[] =
    "<allow send_destination=\"org.freedesktop.DBus\" send_interface=\"org.freedesktop.DBus.Monitoring\"/>";
constexpr char MayNotMonitor[] =
    "<deny send_destination=\"org.freedesktop.DBus\" send_interface=\"org.freedesktop.DBus.Monitoring\"/>";

// A monitor in a thread of its own, and what it has seen.
class Watching {
public:
    explicit Watching(const std::string& address)
        : options(With(address, cancellation)), monitor(options), thread([this] { Run(); }) {}
    ~Watching() {
        cancellation.Cancel();
        thread.join();
    }
    Watching(const Watching&) = delete;
    Watching& operator=(const Watching&) = delete;

    bool SeesSessions() const { return monitor.SeesSessions(); }

    // "service-came", "session Open", "progress A4_Select Service of 17".
    bool EventuallySees(const std::string& text) {
        return Eventually([&] {
            const std::vector<std::string> events = seen.Get();
            return std::find(events.begin(), events.end(), text) != events.end();
        });
    }
    std::vector<std::string> Seen() const { return seen.Get(); }

private:
    static Navo::SessionOptions With(const std::string& address, const Navo::Cancellation& cancellation) {
        Navo::SessionOptions options = On(address);
        options.cancellation = &cancellation;
        return options;
    }

    void Run() {
        monitor.Run([this](const Navo::MonitorEvent& event) {
            std::vector<std::string> events = seen.Get();
            const std::string client = event.client.empty() ? "" : " of " + event.client;
            events.push_back(NameOf(event.kind) + (event.text.empty() ? "" : " " + event.text) + client);
            seen.Set(events);
        });
    }

    Navo::Cancellation cancellation;
    Navo::SessionOptions options;
    Navo::Monitor monitor;
    Guarded<std::vector<std::string>> seen;
    std::thread thread;
};

FakeService::Behaviour WithProgress() {
    FakeService::Behaviour behaviour;
    behaviour.onRequest = [](Arrival& arrival) {
        arrival.ProgressFrom("/navoa/client/17", "A4_Select Service");
        arrival.Reply({{"ReturnCode", ResultText::Done}});
    };
    return behaviour;
}

}  // namespace

TEST(Monitor, SeesTheServiceItsSessionsRequestsAndProgress) {
    const TestBus bus(MayMonitor);
    Watching watching(bus.Address());
    ASSERT_TRUE(watching.SeesSessions());
    {
        const FakeService service(bus.Address(), WithProgress());
        Navo::Session session(On(bus.Address()));
        EXPECT_EQ(session.Call({{"Cmd", "67"}, {"dalmData", "secret"}}).count("ReturnCode"), 1U);
        session.Close();
    }
    EXPECT_TRUE(watching.EventuallySees("service-left"));
    EXPECT_THAT(
        watching.Seen(), testing::ElementsAre(
                             "service-came", "session Open", "request 67", "progress A4_Select Service of 17",
                             "session Close", "service-left"));
}

TEST(Monitor, SeesTheServiceAndProgressWhereItMayNotMonitorTheBus) {
    const TestBus bus(MayNotMonitor);
    Watching watching(bus.Address());
    EXPECT_FALSE(watching.SeesSessions());
    {
        const FakeService service(bus.Address(), WithProgress());
        Navo::Session session(On(bus.Address()));
        EXPECT_EQ(session.Call({{"Cmd", "67"}}).count("ReturnCode"), 1U);
        session.Close();
    }
    EXPECT_TRUE(watching.EventuallySees("service-left"));
    EXPECT_THAT(watching.Seen(), Contains("progress A4_Select Service of 17"));
    EXPECT_THAT(watching.Seen(), testing::Not(Contains(HasSubstr("session"))));
}

TEST(Monitor, BeginsWithAServiceThatRunsAlready) {
    const TestBus bus;
    const FakeService service(bus.Address());
    Watching watching(bus.Address());
    EXPECT_TRUE(watching.EventuallySees("service-came"));
}

TEST(Monitor, SaysWhenTheBusGoes) {
    TestBus bus;
    Navo::Monitor monitor(On(bus.Address()));
    bus.Kill();
    const Navo::ClientError error = ErrorFrom([&] { monitor.Run([](const Navo::MonitorEvent&) {}); });
    EXPECT_EQ(error.Kind(), Navo::ErrorKind::NoBus);
}

TEST(BusSight, SeesTheServiceWithoutStartingIt) {
    TestBus bus;
    EXPECT_FALSE(Navo::LookAtBus(On(bus.Address())).activatable);
    EXPECT_EQ(Navo::LookAtBus(On(bus.Address())).owner, "");
    bus.OfferActivation("/bin/false");
    EXPECT_TRUE(Navo::LookAtBus(On(bus.Address())).activatable);
    const FakeService service(bus.Address());
    const Navo::BusSight sight = Navo::LookAtBus(On(bus.Address()));
    EXPECT_EQ(sight.owner, service.UniqueName());
    EXPECT_EQ(sight.process, getpid());
}

TEST(NavoctlMonitor, PrintsALineForEachEventAndEndsByItsSignal) {
    const TestBus bus(MayMonitor);
    NavoctlProgram program(bus.Address(), {"monitor", "--json"});
    EXPECT_THAT(
        program.ReadErrorLine().value_or(""), HasSubstr("watching the service, sessions and progress"));
    {
        const FakeService service(bus.Address(), WithProgress());
        Navo::Session session(On(bus.Address()));
        EXPECT_EQ(session.Call({{"Cmd", "67"}}).count("ReturnCode"), 1U);
        session.Close();
    }
    EXPECT_TRUE(Eventually([&] { return program.Output().find("service-left") != std::string::npos; }));
    program.Send(SIGTERM);
    const ProgramEnd end = program.Wait();
    EXPECT_EQ(end.signal, SIGTERM);
    EXPECT_THAT(end.output, HasSubstr("\"event\":\"session\""));
    EXPECT_THAT(
        end.output, HasSubstr("\"client\":\"17\",\"text\":\"A4_Select Service\",\"name\":\"SELECT\""));
}
