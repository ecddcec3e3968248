// SPDX-License-Identifier: Apache-2.0
// Provisioning through the whole service: key server, HTTPS, service and card, under SCP03.
#include <gmock/gmock.h>

#include "tests/support/service/ResultTexts.h"
#include "tests/support/world/Provisioning.h"
#include "tests/support/world/Script.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char WrongKey[] = "000102030405060708090A0B0C0D0E0F";

class Provisioning : public ::testing::Test {
protected:
    std::string CodeOf(const ProvisioningOptions& options) {
        outcome = RunProvisioning(world, options);
        return outcome.returnCode.substr(0, 8);
    }

    World world;
    ProvisioningOutcome outcome;
};

// What the second list of a run says of the wallet, so after all changes.
std::string WalletLine() {
    return std::string("application ") + ProvisionedApplication;
}

TEST_F(Provisioning, LoadsInstallsPersonalisesAndChangesKeysUnderEncryption) {
    outcome = RunProvisioning(world);
    EXPECT_EQ(outcome.returnCode, Done) << outcome.remark;
    EXPECT_EQ(outcome.remark, "all actions are done");
    EXPECT_THAT(outcome.notes, Contains("channel opened with keys of version 01"));
    EXPECT_THAT(outcome.notes, Contains("channel opened with keys of version 31"));
    EXPECT_THAT(outcome.notes, Contains("keys of version 31 are new"));
    EXPECT_THAT(outcome.notes, Contains(StartsWith(WalletLine())));
    EXPECT_THAT(
        outcome.notes, Contains(StartsWith(std::string("load file ") + ProvisionedLoadFile + ": loaded")));
    for (const char* progress :
         {"50_Authentication request", "82_Authentication response", "F2_Status Inquiry",
          "E6_Services Installation", "E8_Service loading", "E2_Change Info", "D8_Key Changes",
          "A4_Select Service", "F0_Change of state"}) {
        EXPECT_THAT(outcome.progress, Contains(progress));
    }
}

TEST_F(Provisioning, RunsAgainOnTheSameCard) {
    world.Device().Set("card", "state-file", world.Folder() / "card.state");
    EXPECT_EQ(RunProvisioning(world).returnCode, Done);
    outcome = RunProvisioning(world);
    EXPECT_EQ(outcome.returnCode, Done) << outcome.remark;
    EXPECT_THAT(outcome.notes, Contains("keys of version 31 replace those of version 31"));
    EXPECT_THAT(outcome.notes, Contains(StartsWith(WalletLine())))
        << "also the first list has the wallet now";
}

TEST_F(Provisioning, RunsAtEachSecurityLevel) {
    for (const char* security : {"none", "mac"}) {
        ProvisioningOptions options;
        options.security = security;
        EXPECT_EQ(CodeOf(options), "00000001") << security << ": " << outcome.remark;
    }
}

TEST_F(Provisioning, IsRepeatableToTheByteWithAFixedHostChallenge) {
    const auto first = RunProvisioning(world).exchanges;
    EXPECT_EQ(RunProvisioning(world).exchanges, first);
}

TEST_F(Provisioning, WithWrongKeysEndsBeforeTheCardIsChanged) {
    ProvisioningOptions options;
    options.keys["01"] = WrongKey;
    EXPECT_EQ(CodeOf(options), "90202009");
    EXPECT_THAT(outcome.remark, HasSubstr("the card's cryptogram is not that of the keys of version 01"));
    EXPECT_THAT(outcome.progress, ElementsAre("A4_Select Service", "50_Authentication request"));
}

TEST_F(Provisioning, WithoutTheCardsKeysEnds) {
    ProvisioningOptions options;
    options.withoutDeliveryKeys = true;
    EXPECT_EQ(CodeOf(options), "10200002");
    EXPECT_THAT(outcome.remark, HasSubstr("keys of version 01, which the catalogue has not"));
}

TEST_F(Provisioning, WithKeysThatTheCardHasNotEnds) {
    ProvisioningOptions options;
    options.keyVersion = "31";
    EXPECT_EQ(CodeOf(options), "10200002");
    EXPECT_THAT(outcome.remark, HasSubstr("INITIALIZE UPDATE was answered with 6A88"));
}

TEST_F(Provisioning, EndsAtAnotherCardsCryptogram) {
    world.Device().LetCardAnswer(
        "80500000080102030405060708*",
        "000000000000000000000103100102030405060708A1A2A3A4A5A6A7A80000019000");
    EXPECT_EQ(CodeOf({}), "90202009");
    EXPECT_THAT(outcome.progress, Not(Contains("82_Authentication response")));
}

TEST_F(Provisioning, OfAForeignCardEndsWithoutTouchingIt) {
    ProvisioningOptions options;
    options.seIds = {"0000*", "1111*"};
    EXPECT_EQ(CodeOf(options), "10500001");
    EXPECT_TRUE(outcome.progress.empty());
    options.seIds = {"x*"};
    EXPECT_EQ(CodeOf(options), "00000001") << outcome.remark;
}

TEST_F(Provisioning, OfAServiceThatNobodyKnowsEnds) {
    world.StartKeyServer({"--catalogue", ProvisioningCatalogue(world)});
    EXPECT_EQ(world.RunScript("no.service").returnCode, ResultText::CommandUnreadable);
}

TEST_F(Provisioning, ThatFindsTheCardFullEndsAndSaysWhere) {
    world.Device().SetFreeMemory(1000);
    EXPECT_EQ(CodeOf({}), "90202001");
    EXPECT_THAT(
        outcome.remark,
        AllOf(HasSubstr("load"), HasSubstr("was answered with 6A84, not enough memory space")));
    EXPECT_THAT(outcome.progress, Not(Contains("D8_Key Changes")));
}

TEST_F(Provisioning, EndsWhereTheCardGivesAnUnexpectedStatusWord) {
    world.Device().LetCardAnswer("84E60C*", "6985");
    EXPECT_EQ(CodeOf({}), "90202001");
    EXPECT_THAT(
        outcome.remark,
        HasSubstr("install: INSTALL [for install and make selectable] was answered with 6985, the "
                  "conditions of use are not satisfied; expected was 9000"));
    EXPECT_THAT(outcome.progress, Not(Contains("D8_Key Changes")));
}

TEST_F(Provisioning, GoesOnWhenAnAnswerWasLost) {
    outcome = RunProvisioning(world, {}, {"--misbehave", "close-before@4x1"});
    EXPECT_EQ(outcome.returnCode, Done) << outcome.remark;
}

TEST_F(Provisioning, OfTwoDevicesAtOnceFromOneServerIsTwoSessions) {
    World other;
    KeyServerProcess& server = world.StartKeyServer({"--catalogue", ProvisioningCatalogue(world)});
    other.Device().TrustCertificatesOf(server.Authority());
    other.DirectServiceTo(server.Address());
    const auto start = [](World& device) {
        auto client = device.StartClient("com.example.wallet");
        client->OpenSession();
        return client;
    };
    const auto first = start(world);
    const auto second = start(other);
    for (int round = 0; round < 5; ++round) {
        first->Ask({{"Cmd", "65"}, {"ServiceId", ProvisioningService}});
        second->Ask({{"Cmd", "65"}, {"ServiceId", ProvisioningService}});
        EXPECT_EQ(first->AwaitReply().at("ReturnCode"), Done);
        EXPECT_EQ(second->AwaitReply().at("ReturnCode"), Done);
    }
    first->CloseSession();
    second->CloseSession();
    EXPECT_EQ(server.Stop().sessions, 10U);
}

}  // namespace
