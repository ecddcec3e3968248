// SPDX-License-Identifier: Apache-2.0
#include "app/Network.h"

#include <gmock/gmock.h>

#include <functional>

#include "app/ResultCode.h"
#include "device/VirtualDevice.h"
#include "tests/support/service/DeviceWorld.h"
#include "tests/support/service/ResultCodePrinter.h"
#include "tests/support/service/ResultTexts.h"

using Na::GetResultCode;
using Na::Network;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char SettingUp[] = "D ConnectionUp: Trying to set up Internet connection";
constexpr char Unavailable[] = "D ConnectionUp: No connection to Internet available";

// A way to the Internet that a test decides on.
class Road : public Na::INetwork {
public:
    struct State {
        bool open = false;
        bool isPassable = true;
        int openings = 0;
        int closings = 0;
        std::function<void()> onClosing;
        bool exists = true;
    };

    Road(std::string roadName, State* roadState) : name(std::move(roadName)), state(roadState) {}
    ~Road() override { state->exists = false; }

    std::string GetName() const override { return name; }
    std::string GetConnectionKind() const override { return "kind"; }
    bool OpenConnection() override {
        ++state->openings;
        state->open = state->isPassable;
        return state->open;
    }
    void CloseConnection() override {
        ++state->closings;
        state->open = false;
        if (state->onClosing) {
            state->onClosing();
        }
    }
    std::string GetProxyAddress() override { return name + ":3128"; }

private:
    std::string name;
    State* state;
};

class NetworkRegistry : public testing::Test {
protected:
    // The platform's own interface is registered first and has no connection.
    NetworkRegistry() {
        world.Configure("[network]\ntype=disconnected\n");
        network = std::make_unique<Network>();
        network->RegisterInterface(std::make_unique<Road>("first", &first));
        network->RegisterInterface(std::make_unique<Road>("second", &second));
        world.ForgetLog();
        Na::SetResultCode(Na::ResultCode::Done);
    }

    // Lines of the registry alone.
    std::vector<std::string> RegistryLog() const {
        std::vector<std::string> lines;
        for (const std::string& line : world.LocatedLog()) {
            if (line.find(" OpenConnection: ") == std::string::npos &&
                line.find(" GetProxyAddress: ") == std::string::npos) {
                lines.push_back(line);
            }
        }
        return lines;
    }

    DeviceWorld world;
    Road::State first;
    Road::State second;
    std::unique_ptr<Network> network;
};

bool SingletonIsMadeOnce() {
    const DeviceWorld world;
    const Network* const instance = Network::GetInstance();
    const bool same = instance == Network::GetInstance();
    const std::vector<std::string> expected = {
        "D GetInstance: Creating instance",
        "D RegisterInterface: Registering network interface: Tizen network"};
    return same && world.LocatedLog() == expected;
}

TEST(NetworkSingleton, IsMadeOnceAndNeverDestroyed) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";  // a process of its own, without the singleton
    EXPECT_EXIT(std::_Exit(SingletonIsMadeOnce() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(NetworkRegistry, IgnoresAMissingInterface) {
    network->RegisterInterface(nullptr);
    EXPECT_THAT(world.Log(), IsEmpty());
    EXPECT_TRUE(network->ConnectionUp());
}

TEST_F(NetworkRegistry, TakesTheFirstInterfaceThatOpens) {
    first.isPassable = false;
    EXPECT_TRUE(network->ConnectionUp());
    EXPECT_EQ(first.openings, 1);
    EXPECT_EQ(second.openings, 1);
    EXPECT_THAT(RegistryLog(), ElementsAre(SettingUp, "D ConnectionUp: Using interface: second"));
    EXPECT_EQ(network->GetProxyUrl(), "second:3128");
    EXPECT_EQ(GetResultCode(), Na::ResultCode::Done);
}

TEST_F(NetworkRegistry, AsksNoInterfaceBehindTheOneThatOpened) {
    EXPECT_TRUE(network->ConnectionUp());
    EXPECT_EQ(second.openings, 0);
    EXPECT_THAT(RegistryLog(), ElementsAre(SettingUp, "D ConnectionUp: Using interface: first"));
}

TEST_F(NetworkRegistry, LeavesTheResultThatTheNetworkIsUnavailable) {
    first.isPassable = false;
    second.isPassable = false;
    EXPECT_FALSE(network->ConnectionUp());
    EXPECT_EQ(GetResultCode(), Na::ResultCode::NetworkUnavailable);
    EXPECT_EQ(Na::GetResultMessage(), ResultText::NetworkUnavailable);
    EXPECT_THAT(RegistryLog(), ElementsAre(SettingUp, Unavailable));
}

TEST_F(NetworkRegistry, ClosesTheCurrentInterfaceOnce) {
    network->ConnectionUp();
    world.ForgetLog();
    network->ConnectionDown();
    network->ConnectionDown();
    EXPECT_EQ(first.closings, 1);
    EXPECT_THAT(RegistryLog(), ElementsAre("D ConnectionDown: Connection down on interface: first"));
}

TEST_F(NetworkRegistry, SaysThatTheConnectionIsDownOnceItIs) {
    network->ConnectionUp();
    world.ForgetLog();
    first.onClosing = [&] { EXPECT_THAT(world.Log(), IsEmpty()); };
    network->ConnectionDown();
    EXPECT_EQ(first.closings, 1);
}

TEST_F(NetworkRegistry, KeepsTheInterfaceThatOpenedLastWhenNoneOpensAgain) {
    network->ConnectionUp();
    first.isPassable = false;
    second.isPassable = false;
    EXPECT_FALSE(network->ConnectionUp());
    EXPECT_EQ(network->GetProxyUrl(), "first:3128");
    network->ConnectionDown();
    EXPECT_EQ(first.closings, 1);
}

TEST_F(NetworkRegistry, ClosesNothingWhenNothingIsOpen) {
    network->ConnectionDown();
    EXPECT_EQ(first.closings, 0);
    EXPECT_THAT(world.Log(), IsEmpty());
}

TEST_F(NetworkRegistry, HasNoProxyWithoutAConnection) {
    EXPECT_EQ(network->GetProxyUrl(), "");
    EXPECT_EQ(GetResultCode(), Na::ResultCode::NetworkUnavailable);
    EXPECT_THAT(RegistryLog(), ElementsAre("D GetProxyUrl: Proxy: "));
}

TEST_F(NetworkRegistry, HasNoProxyAfterTheConnectionWentDown) {
    network->ConnectionUp();
    network->ConnectionDown();
    EXPECT_EQ(network->GetProxyUrl(), "");
    EXPECT_EQ(GetResultCode(), Na::ResultCode::NetworkUnavailable);
}

TEST_F(NetworkRegistry, LogsTheProxyOfTheCurrentInterface) {
    network->ConnectionUp();
    world.ForgetLog();
    EXPECT_EQ(network->GetProxyUrl(), "first:3128");
    EXPECT_THAT(RegistryLog(), ElementsAre("D GetProxyUrl: Proxy: first:3128"));
}

TEST_F(NetworkRegistry, TakesTheConnectionDownAndItsInterfacesWithIt) {
    network->ConnectionUp();
    network.reset();
    EXPECT_EQ(first.closings, 1);
    EXPECT_FALSE(first.exists);
    EXPECT_FALSE(second.exists);
    EXPECT_THAT(world.LocatedLog(), Contains("D ConnectionDown: Connection down on interface: first"));
}

TEST_F(NetworkRegistry, UsesThePlatformsConnection) {
    world.Configure("[network]\ntype=wifi\nproxy=10.0.0.1:3128\n");
    EXPECT_TRUE(network->ConnectionUp());
    EXPECT_EQ(network->GetProxyUrl(), "10.0.0.1:3128");
    EXPECT_EQ(Device::OpenHandles(), 1U);
    network->ConnectionDown();
    EXPECT_EQ(Device::OpenHandles(), 0U);
    EXPECT_EQ(first.openings, 0);
}

}  // namespace
