// SPDX-License-Identifier: Apache-2.0
// A card, a reader or a PC/SC service that goes away at any step of a server's script.
#include <gtest/gtest.h>

#include <future>

#include "tests/e2e/ReaderWorld.h"
#include "tests/support/service/ResultTexts.h"

namespace {

using ResultText::NoApdu;

enum class Loss { CardPulled, ReaderGone, ServiceKilled };

struct Moment {
    Loss loss;
    unsigned command;  // of the card's, counted from 1
};

// The service's own queries and the script's commands.
constexpr unsigned OwnCommands = 2;
constexpr unsigned ScriptCommands = 5;

class ReaderLoss : public ReaderWorld, public ::testing::WithParamInterface<Moment> {
protected:
    // In the place of a command's answer, in the card's thread.
    void Lose() {
        switch (GetParam().loss) {
            case Loss::CardPulled:
                break;  // the card leaves by itself
            case Loss::ReaderGone:
                service->Kill();
                service->Start(PrivatePcscd::Readers::Missing);
                break;
            case Loss::ServiceKilled:
                service->Kill();
                break;
        }
        lost.set_value();
    }

    void Restore() {
        if (GetParam().loss != Loss::CardPulled) {
            service->Kill();
            service->Start();
        }
    }

    // What the platform says of the next attempt to open the secure element.
    static std::string OpenError() {
        switch (GetParam().loss) {
            case Loss::CardPulled:
                return "NFC is already deactivated";
            case Loss::ReaderGone:
                return "No NFC device";
            default:
                return "NFC is not activated";
        }
    }

    // The exchange itself fails with the service in two of the cases.
    static std::string SendError() {
        return GetParam().loss == Loss::CardPulled ? "NFC is already deactivated" : "NFC is not activated";
    }

    std::promise<void> lost;

    void ExpectClosed() const {
        EXPECT_EQ(world.LogCount("Closing SE"), world.LogCount("Opening SE"));
        EXPECT_EQ(world.LogCount("already closed"), world.LogCount("open is failed"));
    }
};

TEST_P(ReaderLoss, CostsTheRunningRequestAndNoOther) {
    const auto card = std::make_unique<CardInReader>(*service);
    card->At(GetParam().command, [this] { Lose(); });
    KeyServerProcess& server =
        Serve({{"00A4040000", "80CA9F7F00"}, {"80CA006600", "80CA00E000"}, {"80CA9F7F00"}});
    Navo::Session session(world.Options());
    const pid_t agent = world.ServiceProcess();
    const auto askCplc = [&] { return session.Call({{"Cmd", "67"}}).at("ReturnCode"); };

    const std::string result =
        session.Call({{"Cmd", "65"}, {"ServiceId", "test.service"}, {"FcId", "A"}}).at("ReturnCode");
    if (GetParam().command <= OwnCommands) {
        EXPECT_EQ(result, NoApdu);
        EXPECT_EQ(server.Count("INITIALIZEAPDU"), 0U);
    } else {
        EXPECT_EQ(result.substr(0, 8), "90202004");
        EXPECT_EQ(server.Messages().back().fields.at("rApduSet"), "21_SDAPIException.");
    }
    EXPECT_EQ(card->Commands(), GetParam().command);
    EXPECT_EQ(world.LogCount("APDU send error: " + SendError()), 1U);
    ExpectClosed();

    lost.get_future().wait();
    EXPECT_EQ(askCplc(), UnknownError) << "nothing is back yet";
    EXPECT_TRUE(world.LogHas("open is failed with result: " + OpenError()));

    Restore();
    const CardInReader another(*service);
    EXPECT_EQ(askCplc(), PlainCplc());
    ExpectClosed();
    EXPECT_EQ(world.ServiceProcess(), agent) << "the service is the same all the time";
}

std::vector<Moment> AllMoments() {
    std::vector<Moment> moments;
    for (const Loss loss : {Loss::CardPulled, Loss::ReaderGone, Loss::ServiceKilled}) {
        for (unsigned command = 1; command <= OwnCommands + ScriptCommands; ++command) {
            moments.push_back({loss, command});
        }
    }
    return moments;
}

std::string NameOf(const ::testing::TestParamInfo<Moment>& moment) {
    const char* const names[] = {"CardPulled", "ReaderGone", "ServiceKilled"};
    return std::string(names[static_cast<int>(moment.param.loss)]) + "AtCommand" +
           std::to_string(moment.param.command);
}

INSTANTIATE_TEST_SUITE_P(AtEveryStep, ReaderLoss, ::testing::ValuesIn(AllMoments()), NameOf);

}  // namespace
