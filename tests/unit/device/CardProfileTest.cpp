// SPDX-License-Identifier: Apache-2.0
// What a profile says of a card, and how its mistakes are told.
#include "device/configuration/CardProfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "card/SoftwareCard.h"
#include "device/configuration/Configuration.h"
#include "device/configuration/Values.h"
#include "tests/support/TemporaryFolder.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

struct Read {
    Card::Options options;
    std::vector<std::string> mistakes;
};

Read ReadText(const std::string& text) {
    Read read;
    std::vector<Device::Mistake> mistakes;
    Device::ReadCardProfileText("/cards/a.profile", text, read.options, mistakes);
    for (const Device::Mistake& mistake : mistakes) {
        read.mistakes.push_back(Device::Describe("device.conf", mistake));
    }
    return read;
}

}  // namespace

TEST(CardProfile, SaysHowACardIs) {
    const Read read = ReadText(
        "[card]\natr=3B00\nissuer-aid=A000000999\nissuer-number=99\nlife-cycle=op-ready\nchannel-option=70\n"
        "key-version=255\nauthentication-attempts=3\nfree-memory=4096\nfree-volatile-memory=512\n");
    EXPECT_THAT(read.mistakes, IsEmpty());
    EXPECT_EQ(GlobalPlatform::HexText(read.options.atr), "3B00");
    EXPECT_EQ(GlobalPlatform::HexText(read.options.issuerAid), "A000000999");
    EXPECT_EQ(GlobalPlatform::HexText(read.options.issuerNumber), "99");
    EXPECT_EQ(read.options.lifeCycle, 0x01);
    EXPECT_EQ(read.options.channelOption, 0x70);
    EXPECT_EQ(read.options.keyVersion, 255);
    EXPECT_EQ(read.options.authenticationAttempts, 3U);
    EXPECT_EQ(read.options.memory, 4096U);
    EXPECT_EQ(read.options.volatileMemory, 512U);
}

TEST(CardProfile, SaysHowACardBehaves) {
    const Read read = ReadText(
        "[card]\nprotocol=T=0\nannounce-answers=true\nshort-length=cut\nabsent=6A88\nlisted-at-once=2\n"
        "answer-time=20\n");
    EXPECT_THAT(read.mistakes, IsEmpty());
    EXPECT_TRUE(read.options.byteProtocol);
    EXPECT_TRUE(read.options.manners.announcesAnswers);
    EXPECT_EQ(read.options.manners.shortLength, Card::ShortLength::Cut);
    EXPECT_TRUE(read.options.manners.absentIsData);
    EXPECT_EQ(read.options.manners.listedAtOnce, 2U);
    EXPECT_EQ(read.options.manners.answerTime.count(), 20);
}

TEST(CardProfile, HasAllItsMistakesToldWithFileAndLine) {
    const Read read = ReadText(
        "[card]\nabsent=6A81\nshort-length=long\nstate-file=x\nanswer-time=60000\n[network]\ntype=wifi\n"
        "[card uicc]\nnonsense\n");
    EXPECT_THAT(
        read.mistakes,
        testing::UnorderedElementsAre(
            "/cards/a.profile:2: [card] absent: \"6A81\" is no word for what a card does not have; write "
            "6A82 or 6A88",
            HasSubstr("a.profile:3: [card] short-length: \"long\" is no manner of a card; write told, "),
            HasSubstr("a.profile:4: [card] state-file: this key is not known here; the section has protocol"),
            HasSubstr("a.profile:5: [card] answer-time: \"60000\" is no number from 0 to 10000"),
            HasSubstr("a.profile:6: [network]: a profile has no such section"),
            HasSubstr("a.profile:8: [card uicc]: a profile has no such section"),
            HasSubstr("a.profile:9: nonsense: neither key=value nor [section]")));
}

TEST(CardProfile, IsNamedByADescriptionWhoseOwnKeysGoBeforeIt) {
    const TemporaryFolder folder;
    folder.Write("guarded.profile", "[card]\nkey-version=48\nabsent=6A88\n");
    const Device::Configuration configuration = Device::ReadConfiguration(
        folder.Path() / "device.conf", "[card]\nkey-version=49\nprofile=guarded.profile\n");
    EXPECT_THAT(configuration.mistakes, IsEmpty());
    EXPECT_EQ(configuration.embeddedElement.software.keyVersion, 49);
    EXPECT_TRUE(configuration.embeddedElement.software.manners.absentIsData);
}

TEST(CardProfile, BreaksTheDeviceWithEachOfItsMistakes) {
    const TemporaryFolder folder;
    const std::string profile = folder.Write("a.profile", "[card]\nkey-version=0\ncolour=red\n").string();
    const Device::Configuration configuration =
        Device::ReadConfiguration(folder.Path() / "device.conf", "[card]\nprofile=a.profile\nabsent=0000\n");
    std::vector<std::string> told;
    for (const Device::Mistake& mistake : configuration.mistakes) {
        told.push_back(Describe(configuration, mistake));
    }
    EXPECT_THAT(
        told,
        ElementsAre(
            StartsWith(profile + ":2: [card] key-version: "), StartsWith(profile + ":3: [card] colour: "),
            StartsWith((folder.Path() / "device.conf").string() + ":3: [card] absent: ")));
}

TEST(CardProfile, HasToBeAFileOfReasonableLength) {
    const TemporaryFolder folder;
    folder.Write("long.profile", std::string(Device::LongestProfile + 1, '\n'));
    folder.Write("empty.profile", "");
    Card::Options options;
    std::vector<Device::Mistake> mistakes;
    const auto problemOf = [&](const std::string& name) {
        try {
            Device::ReadCardProfile(folder.Path() / name, options, mistakes);
        } catch (const Device::BadValue& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_THAT(problemOf("none.profile"), HasSubstr("none.profile cannot be read: No such file"));
    EXPECT_THAT(problemOf("long.profile"), HasSubstr("longer than a profile can be"));
    EXPECT_THAT(problemOf("empty.profile"), HasSubstr("name a file with a section [card]"));
    EXPECT_THAT(problemOf("."), HasSubstr("name a file with a section [card]"));
    EXPECT_THAT(mistakes, IsEmpty());
}

TEST(ShippedProfile, IsReadWithoutComplaintAndMakesACard) {
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(NAVO_DEVICE_DIR "/profiles")) {
        Card::Options options;
        std::vector<Device::Mistake> mistakes;
        Device::ReadCardProfile(file.path(), options, mistakes);
        EXPECT_THAT(mistakes, IsEmpty()) << file.path();
        EXPECT_NO_THROW(Card::SoftwareCard{options}) << file.path();
        names.push_back(file.path().filename());
        EXPECT_THAT(ReadFile(NAVO_DOCS_DIR "/card-profiles.md"), HasSubstr("`" + names.back() + "`"))
            << "its manual names it";
    }
    EXPECT_THAT(names, testing::SizeIs(testing::Ge(3)));
}
