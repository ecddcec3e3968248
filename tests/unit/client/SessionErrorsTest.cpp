// SPDX-License-Identifier: Apache-2.0
// How a session tells apart what can go wrong.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <future>
#include <memory>
#include <system_error>
#include <thread>

#include "navo/Client.h"
#include "tests/unit/client/Expectations.h"
#include "tests/unit/client/FakeService.h"
#include "tests/unit/client/TestBus.h"

using Navo::ErrorKind;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const Navo::Map AskForCplc = {{"Cmd", "67"}};

Navo::ClientError OpeningError(const Navo::SessionOptions& options) {
    return ErrorFrom([&options] { const Navo::Session session(options); });
}

Navo::ClientError CallingError(Navo::Session& session, const Navo::Map& request = AskForCplc) {
    return ErrorFrom([&] { session.Call(request); });
}

FakeService::Behaviour Answering(FakeService::Handler onRequest) {
    FakeService::Behaviour behaviour;
    behaviour.onRequest = std::move(onRequest);
    return behaviour;
}

FakeService::Handler Saying(const std::string& text) {
    return [text](Arrival& arrival) { arrival.Reply({{"ReturnCode", text}}); };
}

}  // namespace

TEST(SessionErrors, NameABusThatIsNotThere) {
    const Navo::ClientError error = OpeningError(On("unix:path=/nonexistent/bus"));
    EXPECT_EQ(error.Kind(), ErrorKind::NoBus);
    EXPECT_THAT(TextOf(error), HasSubstr("/nonexistent/bus"));
}

TEST(SessionErrors, NameABusAddressThatIsNone) {
    EXPECT_EQ(OpeningError(On("not an address")).Kind(), ErrorKind::NoBus);
}

TEST(SessionErrors, SayThatNobodyHasTheServicesName) {
    const TestBus bus;
    const Navo::ClientError error = OpeningError(On(bus.Address()));
    EXPECT_EQ(error.Kind(), ErrorKind::ServiceUnreachable);
    EXPECT_EQ(error.BusError(), "org.freedesktop.DBus.Error.ServiceUnknown");
}

TEST(SessionErrors, SayThatTheServiceCannotBeStarted) {
    TestBus bus;
    bus.OfferActivation("/bin/false");
    const Navo::ClientError error = OpeningError(On(bus.Address()));
    EXPECT_EQ(error.Kind(), ErrorKind::ServiceUnreachable);
    EXPECT_THAT(error.BusError(), HasSubstr("org.freedesktop.DBus.Error.Spawn"));
}

TEST(SessionErrors, SayThatTheBusForbidsTheService) {
    const TestBus bus("    <deny send_destination=\"com.orvenco.navoa\"/>\n");
    const FakeService service(bus.Address());
    const Navo::ClientError error = OpeningError(On(bus.Address()));
    EXPECT_EQ(error.Kind(), ErrorKind::ServiceUnreachable);
    EXPECT_EQ(error.BusError(), "org.freedesktop.DBus.Error.AccessDenied");
}

TEST(SessionErrors, ReportARefusedSessionAndBalanceItWithOneClose) {
    const TestBus bus;
    FakeService::Behaviour behaviour;
    behaviour.onOpen = Saying("Failed");
    const FakeService service(bus.Address(), behaviour);
    const Navo::ClientError error = OpeningError(On(bus.Address()));
    EXPECT_EQ(error.Kind(), ErrorKind::SessionRefused);
    EXPECT_THAT(TextOf(error), HasSubstr("session of this process already"));
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Close"));
}

TEST(SessionErrors, TellAnAnswerToOpenThatNobodyKnows) {
    const TestBus bus;
    FakeService::Behaviour behaviour;
    behaviour.onOpen = Saying("Perhaps");
    const FakeService service(bus.Address(), behaviour);
    const Navo::ClientError error = OpeningError(On(bus.Address()));
    EXPECT_EQ(error.Kind(), ErrorKind::UnexpectedReply);
    EXPECT_THAT(TextOf(error), HasSubstr("Perhaps"));
}

TEST(SessionErrors, TellThatTheServiceDiedInMidCall) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  arrival.Progress("A4_Select Service");
                                  arrival.Service().Vanish();
                              }));
    Navo::Session session(On(bus.Address()));
    const Navo::ClientError error = CallingError(session, {{"Cmd", "65"}});
    EXPECT_EQ(error.Kind(), ErrorKind::ServiceEnded);
    EXPECT_THAT(TextOf(error), HasSubstr("unknown"));
    session.Close();  // a service that has gone counts as closed
}

TEST(SessionErrors, TellThatTheBusDiedInMidCall) {
    TestBus bus;
    const FakeService service(bus.Address(), Answering([&bus](Arrival&) { bus.Kill(); }));
    Navo::Session session(On(bus.Address()));
    EXPECT_EQ(CallingError(session).Kind(), ErrorKind::ServiceEnded);
}

TEST(SessionErrors, TellThatTheServiceRestartedBetweenOpenAndCall) {
    const TestBus bus;
    auto first = std::make_unique<FakeService>(bus.Address());
    Navo::Session session(On(bus.Address()));
    first.reset();
    const FakeService second(bus.Address());
    const Navo::ClientError error = CallingError(session);
    EXPECT_EQ(error.Kind(), ErrorKind::SessionLost);
    EXPECT_THAT(TextOf(error), HasSubstr("restarted"));
    session.Close();
    EXPECT_THAT(second.Received(), IsEmpty());
}

TEST(SessionErrors, TakeWrongParametersForALostSession) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering(Saying("Wrong parameters")));
    Navo::Session session(On(bus.Address()));
    const Navo::ClientError error = CallingError(session);
    EXPECT_EQ(error.Kind(), ErrorKind::SessionLost);
    EXPECT_THAT(TextOf(error), HasSubstr("restarted"));
}

TEST(SessionErrors, LeaveWrongParametersToAnEmptyRequestAsItsReply) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering(Saying("Wrong parameters")));
    Navo::Session session(On(bus.Address()));
    EXPECT_EQ(session.Call({}), (Navo::Map{{"ReturnCode", "Wrong parameters"}}));
}

TEST(SessionErrors, NameTheTypeOfAReplyThatIsNoMap) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  arrival.ReplyWithBody(g_variant_new("(si)", "text", 5));
                              }));
    Navo::Session session(On(bus.Address()));
    const Navo::ClientError error = CallingError(session);
    EXPECT_EQ(error.Kind(), ErrorKind::UnexpectedReply);
    EXPECT_THAT(TextOf(error), HasSubstr("(si)"));
}

TEST(SessionErrors, NameAReplyWithoutABody) {
    const TestBus bus;
    const FakeService service(
        bus.Address(), Answering([](Arrival& arrival) { arrival.ReplyWithBody(nullptr); }));
    Navo::Session session(On(bus.Address()));
    EXPECT_THAT(TextOf(CallingError(session)), HasSubstr("type (),"));
}

TEST(SessionErrors, PassOnADBusErrorWithItsName) {
    const TestBus bus;
    const FakeService service(bus.Address(), Answering([](Arrival& arrival) {
                                  arrival.ReplyWithError("com.example.Odd", "an odd thing");
                              }));
    Navo::Session session(On(bus.Address()));
    const Navo::ClientError error = CallingError(session);
    EXPECT_EQ(error.Kind(), ErrorKind::UnexpectedReply);
    EXPECT_EQ(error.BusError(), "com.example.Odd");
    EXPECT_THAT(TextOf(error), HasSubstr("an odd thing"));
}

TEST(SessionErrors, RefuseWhatTheBusCannotCarryBeforeItIsSent) {
    const TestBus bus;
    const FakeService service(bus.Address());
    Navo::Session session(On(bus.Address()));
    const Navo::ClientError badValue = CallingError(session, {{"hostAddr", "\xff"}});
    EXPECT_EQ(badValue.Kind(), ErrorKind::InvalidRequest);
    EXPECT_THAT(TextOf(badValue), HasSubstr("hostAddr"));
    EXPECT_EQ(CallingError(session, {{"\xc0", "x"}}).Kind(), ErrorKind::InvalidRequest);
    EXPECT_EQ(CallingError(session, {{"Cmd", std::string("6\0", 2)}}).Kind(), ErrorKind::InvalidRequest);
    EXPECT_EQ(CallingError(session, {{"Session", "Close"}}).Kind(), ErrorKind::InvalidRequest);
    Navo::CallOptions badTag;
    badTag.method = Navo::Method::Exec;
    badTag.resultTag = "\xff";
    EXPECT_EQ(ErrorFrom([&] { session.Call(AskForCplc, badTag); }).Kind(), ErrorKind::InvalidRequest);
    session.Close();
    EXPECT_EQ(CallingError(session).Kind(), ErrorKind::InvalidRequest);
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Close"));
}

TEST(SessionErrors, EndAWaitAtItsTimeLimitAndCloseAfterwards) {
    const TestBus bus;
    std::promise<void> over;
    auto isOver = over.get_future();
    const FakeService service(bus.Address(), Answering([&isOver](Arrival& arrival) {
                                  Await(isOver);
                                  arrival.Reply({{"ReturnCode", "4790AB"}});
                              }));
    {
        Navo::Session session(On(bus.Address()));
        Navo::CallOptions options;
        options.timeLimit = std::chrono::milliseconds(20);
        EXPECT_EQ(ErrorFrom([&] { session.Call(AskForCplc, options); }).Kind(), ErrorKind::TimedOut);
        over.set_value();
    }
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Cmd 67", "Close"));
}

TEST(SessionErrors, SayThatTheServiceIsBusyAndWithWhat) {
    const TestBus bus;
    FakeService::Behaviour behaviour;
    behaviour.onOpen = [](Arrival& arrival) {
        arrival.ProgressFrom("/navoa/client/4711", "A4_Select Service");
    };
    const FakeService service(bus.Address(), behaviour);
    Navo::SessionOptions options = On(bus.Address());
    options.timeLimit = std::chrono::milliseconds(500);
    const Navo::ClientError error = OpeningError(options);
    EXPECT_EQ(error.Kind(), Navo::ErrorKind::TimedOut);
    EXPECT_THAT(TextOf(error), HasSubstr("the service is busy"));
    EXPECT_THAT(TextOf(error), HasSubstr("A4_Select Service for the client 4711"));
}

TEST(SessionErrors, DoNotWaitAsLongAgainToTakeBackAnOpenThatTimedOut) {
    const TestBus bus;
    FakeService::Behaviour behaviour;
    behaviour.onOpen = [](Arrival&) {};
    behaviour.onClose = [](Arrival&) {};
    const FakeService service(bus.Address(), behaviour);
    Navo::SessionOptions options = On(bus.Address());
    options.timeLimit = std::chrono::seconds(2);
    const auto begin = std::chrono::steady_clock::now();
    const Navo::ClientError error = OpeningError(options);
    const auto time = std::chrono::steady_clock::now() - begin;
    EXPECT_THAT(TextOf(error), HasSubstr("it reported no card command meanwhile"));
    EXPECT_GE(time, std::chrono::seconds(2));
    EXPECT_LT(time, std::chrono::seconds(4)) << "twice the limit";
}

TEST(SessionErrors, TakeBackAnOpenThatTimedOut) {
    const TestBus bus;
    FakeService::Behaviour behaviour;
    behaviour.onOpen = [](Arrival&) {};
    const FakeService service(bus.Address(), behaviour);
    Navo::SessionOptions options = On(bus.Address());
    options.timeLimit = std::chrono::milliseconds(500);
    EXPECT_EQ(OpeningError(options).Kind(), ErrorKind::TimedOut);
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Close"));
}

TEST(SessionErrors, EndACallByCancellationFromAnotherThread) {
    const TestBus bus;
    Navo::Cancellation cancellation;
    const FakeService service(bus.Address(), Answering([&cancellation](Arrival&) { cancellation.Cancel(); }));
    {
        Navo::SessionOptions options = On(bus.Address());
        options.cancellation = &cancellation;
        Navo::Session session(options);
        EXPECT_EQ(CallingError(session).Kind(), ErrorKind::Cancelled);
    }
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Cmd 67", "Close"));
}

TEST(SessionErrors, TakeBackAnOpenThatWasCancelled) {
    const TestBus bus;
    Navo::Cancellation cancellation;
    FakeService::Behaviour behaviour;
    behaviour.onOpen = [&cancellation](Arrival&) { cancellation.Cancel(); };
    const FakeService service(bus.Address(), behaviour);
    Navo::SessionOptions options = On(bus.Address());
    options.cancellation = &cancellation;
    EXPECT_EQ(OpeningError(options).Kind(), ErrorKind::Cancelled);
    EXPECT_THAT(service.Received(), ElementsAre("Open", "Close"));
}

TEST(SessionErrors, SendNothingOnceCancelled) {
    const TestBus bus;
    const FakeService service(bus.Address());
    Navo::Cancellation cancellation;
    cancellation.Cancel();
    Navo::SessionOptions options = On(bus.Address());
    options.cancellation = &cancellation;
    EXPECT_EQ(OpeningError(options).Kind(), ErrorKind::Cancelled);
    EXPECT_THAT(service.Received(), IsEmpty());
}

namespace {

// A socket that takes connections and never says a word.
class SilentListener {
public:
    SilentListener() : descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        if (bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            listen(descriptor, 1) != 0) {
            throw std::system_error(errno, std::generic_category(), path);
        }
    }
    ~SilentListener() { close(descriptor); }
    SilentListener(const SilentListener&) = delete;
    SilentListener& operator=(const SilentListener&) = delete;

    std::string Address() const { return "unix:path=" + path; }
    int Accept() const { return accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC); }

private:
    TemporaryFolder folder;
    std::string path = (folder.Path() / "bus").string();
    int descriptor;
};

}  // namespace

TEST(SessionErrors, EndConnectingByCancellation) {
    const SilentListener listener;
    Navo::Cancellation cancellation;
    Navo::SessionOptions options = On(listener.Address());
    options.cancellation = &cancellation;
    auto error = std::async(std::launch::async, [&options] { return OpeningError(options); });
    const int connection = listener.Accept();
    cancellation.Cancel();
    EXPECT_EQ(error.get().Kind(), ErrorKind::Cancelled);
    close(connection);
}

TEST(SessionErrors, HaveAWordForEachKind) {
    EXPECT_STREQ(Navo::NameOf(ErrorKind::NoBus), "no-bus");
    EXPECT_STREQ(Navo::NameOf(ErrorKind::ServiceUnreachable), "service-unreachable");
    EXPECT_STREQ(Navo::NameOf(ErrorKind::SessionRefused), "session-refused");
    EXPECT_STREQ(Navo::NameOf(ErrorKind::SessionLost), "session-lost");
    EXPECT_STREQ(Navo::NameOf(ErrorKind::ServiceEnded), "service-ended");
    EXPECT_STREQ(Navo::NameOf(ErrorKind::TimedOut), "timed-out");
    EXPECT_STREQ(Navo::NameOf(ErrorKind::Cancelled), "cancelled");
    EXPECT_STREQ(Navo::NameOf(ErrorKind::UnexpectedReply), "unexpected-reply");
    EXPECT_STREQ(Navo::NameOf(ErrorKind::InvalidRequest), "invalid-request");
    EXPECT_STREQ(Navo::NameOf(ErrorKind::JobFailed), "job-failed");
}
