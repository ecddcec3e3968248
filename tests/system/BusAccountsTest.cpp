// SPDX-License-Identifier: Apache-2.0
// Who may do what on the system bus, by the shipped policy and with accounts that are really different.
#include <gmock/gmock.h>

#include "tests/support/world/KeyServerProcess.h"
#include "tests/system/AccountsBus.h"
#include "tests/system/Files.h"

using testing::HasSubstr;

namespace {

constexpr char Name[] = "com.orvenco.navoa";
constexpr char AccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";

class BusAccounts : public testing::Test {
protected:
    void SetUp() override {
        const std::string impediment = AccountsBus::Impediment();
        if (!impediment.empty()) {
            GTEST_SKIP() << "no accounts of one's own here: " << impediment;
        }
        bus = std::make_unique<AccountsBus>();
    }

    std::string TakeName(const Account& account) {
        return bus->AskBus(account, "org.freedesktop.DBus.RequestName", {Name, "4"}).output;
    }

    std::string Call(
        const Account& account, const std::string& destination, const std::string& method,
        const std::vector<std::string>& arguments = {}) {
        std::vector<std::string> command = {"gdbus",     "call",          "--system",           "--dest",
                                            destination, "--object-path", "/com/orvenco/navoa", "--method",
                                            method};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return bus->Run(account, command).output;
    }

    std::string Navoctl(const Account& account, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), bus->Folder() / "navoctl");
        return bus->Run(account, arguments).output;
    }

    void Emit(const Account& account, const std::string& signal) {
        bus->Run(
            account, {"gdbus", "emit", "--system", "--object-path", "/navoa/client/1", "--signal", signal,
                      "'A4_Select Service'"});
    }

    // With it there is no certificate to trust.
    KeyServerProcess StartServer() const {
        return {{bus->Folder(), CleanEnvironment({"LC_ALL=C.UTF-8"}), "keyserver"}, {"--http"}};
    }

    // Somebody who takes everything in that the bus lets through to it; it is known to hear.
    std::unique_ptr<Process> Listen(const Account& account) {
        std::unique_ptr<Process> listener =
            bus->Start(account, {"dbus-monitor", "--system", "type='signal'", "type='method_call'"});
        EXPECT_TRUE(Eventually([&] {
            Emit(Root(), "org.example.Probe.Heard");
            return Hears(*listener, "member=Heard");
        })) << account.name;
        return listener;
    }

    static bool Hears(const Process& listener, const std::string& what) {
        return listener.Output().find(what) != std::string::npos;
    }

    // Everything before this has reached who hears it: the bus keeps the order.
    void AwaitTheLastWord(const std::vector<Process*>& listeners) {
        Emit(Root(), "org.example.Probe.Over");
        for (const Process* listener : listeners) {
            EXPECT_TRUE(Eventually([&] { return Hears(*listener, "member=Over"); }));
        }
    }

    std::unique_ptr<AccountsBus> bus;
};

}  // namespace

TEST_F(BusAccounts, OnlyTheServicesAccountAndRootMayOwnItsName) {
    EXPECT_EQ(TakeName(Root()), "(uint32 1,)\n");
    EXPECT_EQ(TakeName(Service()), "(uint32 1,)\n");
    EXPECT_THAT(TakeName(Member()), HasSubstr(AccessDenied));
    EXPECT_THAT(TakeName(Stranger()), HasSubstr(AccessDenied));
}

TEST_F(BusAccounts, MembersOfTheGroupAndRootMayCall) {
    for (const Account& account : {Root(), Member()}) {
        const auto service = bus->StartService(Service());
        EXPECT_THAT(Navoctl(account, {"cplc"}), HasSubstr("4F525731")) << account.name;
        // The session's end is the service's.
        EXPECT_EQ(service->WaitForEnd(), 0);
    }
}

TEST_F(BusAccounts, AStrangerReachesNothingByAnyNameAndAnyMethod) {
    const auto service = bus->StartService(Service());
    const std::string quoted = bus->AskBus(Root(), "org.freedesktop.DBus.GetNameOwner", {Name}).output;
    const std::string unique = quoted.substr(2, quoted.rfind('\'') - 2);
    ASSERT_EQ(unique.front(), ':') << quoted;
    for (const Account& account : {Stranger(), Service()}) {
        for (const std::string& destination : {std::string(Name), unique}) {
            for (const char* method : {"Session", "Cmd"}) {
                EXPECT_THAT(
                    Call(account, destination, std::string(Name) + "." + method, {"{'Cmd': '3F0'}"}),
                    HasSubstr(AccessDenied))
                    << account.name << " " << destination;
            }
            EXPECT_THAT(
                Call(account, destination, "org.freedesktop.DBus.Introspectable.Introspect"),
                HasSubstr(AccessDenied));
        }
    }
    EXPECT_THAT(
        Call(Member(), unique, "org.freedesktop.DBus.Introspectable.Introspect"), HasSubstr("Progress"));
    EXPECT_THAT(Call(Member(), unique, "org.freedesktop.DBus.Peer.Ping"), HasSubstr(AccessDenied));
}

TEST_F(BusAccounts, ADeviceOpensItToAnotherGroupAndToNobodyElse) {
    {
        const auto service = bus->StartService(Service());
        EXPECT_THAT(Navoctl(Application(), {"cplc"}), HasSubstr("Rejected send message"));
    }
    bus = std::make_unique<AccountsBus>(PolicyOfThePage());
    const KeyServerProcess server = StartServer();
    bus->StoreAddress(server.Address());
    const auto service = bus->StartService(Service());
    EXPECT_THAT(Navoctl(Stranger(), {"cplc"}), HasSubstr("Rejected send message"));
    const std::string outcome = Navoctl(Application(), {"run", "--service-id", "demo.card"});
    EXPECT_THAT(outcome, HasSubstr("A4_Select Service"));
    EXPECT_THAT(outcome, HasSubstr("00000001_The job has done successfully"));
    EXPECT_THAT(TakeName(Application()), HasSubstr(AccessDenied));
}

TEST_F(BusAccounts, ProgressReachesMembersAndRootAndNobodyElse) {
    KeyServerProcess server({bus->Folder(), CleanEnvironment({"LC_ALL=C.UTF-8"}), "keyserver"}, {"--http"});
    bus->StoreAddress(server.Address());
    const auto member = Listen(Member());
    const auto stranger = Listen(Stranger());
    const auto root = Listen(Root());
    const auto service = bus->StartService(Service());
    const std::string outcome = Navoctl(Member(), {"run", "--service-id", "demo.card"});
    EXPECT_THAT(outcome, HasSubstr("00000001_The job has done successfully"));
    EXPECT_THAT(outcome, HasSubstr("A4_Select Service"));
    AwaitTheLastWord({member.get(), stranger.get(), root.get()});
    EXPECT_TRUE(Hears(*member, "member=Progress"));
    EXPECT_TRUE(Hears(*root, "member=Progress"));
    EXPECT_FALSE(Hears(*stranger, "member=Progress")) << stranger->Output();
}

TEST_F(BusAccounts, NobodyButRootBecomesAMonitor) {
    for (const Account& account : {Service(), Member(), Stranger()}) {
        EXPECT_THAT(
            bus->AskBus(account, "org.freedesktop.DBus.Monitoring.BecomeMonitor", {"@as []", "0"}).output,
            HasSubstr(AccessDenied))
            << account.name;
    }
    const auto member = Listen(Member());
    const auto stranger = Listen(Stranger());
    const auto root = Listen(Root());
    const auto service = bus->StartService(Service());
    EXPECT_THAT(Navoctl(Member(), {"cplc"}), HasSubstr("4F525731"));
    AwaitTheLastWord({member.get(), stranger.get(), root.get()});
    EXPECT_TRUE(Hears(*root, "member=Cmd"));
    EXPECT_FALSE(Hears(*member, "member=Cmd")) << member->Output();
    EXPECT_FALSE(Hears(*stranger, "member=Cmd")) << stranger->Output();
}

TEST_F(BusAccounts, NobodyElseTellsOfProgress) {
    const auto listener = Listen(Root());
    const auto member = Listen(Member());
    const std::string signal = std::string(Name) + ".Progress";
    Emit(Member(), signal);
    Emit(Stranger(), signal);
    AwaitTheLastWord({listener.get(), member.get()});
    EXPECT_FALSE(Hears(*member, "member=Progress")) << member->Output();
    Emit(Service(), signal);
    EXPECT_TRUE(Eventually([&] { return Hears(*listener, "member=Progress"); }));
}
