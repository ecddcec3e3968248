// SPDX-License-Identifier: Apache-2.0
// What a profile says of a card, and how its mistakes are told.
#include "device/configuration/CardProfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device/configuration/Configuration.h"
#include "device/configuration/Values.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/card/CardDesk.h"

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

TEST(CardProfile, GivesApplicationsTheirRules) {
    const Read read = ReadText(
        "[application A0000009990001]\n"
        "select=6F( 84( aid ) A5( value:9102/A5/50 ) ), 6F00\n"
        "answer 80/FC CA 5F20=object:0102/5F20, status:6A88\n"
        "answer 00B2x10C 8300*=\"Kari, (N)\" echo counter:seen next:seen:4 status:6283\n"
        "answer 80A80000 83/F0=00\n"
        "[application A0 00*]\n");
    ASSERT_THAT(read.mistakes, IsEmpty());
    ASSERT_EQ(read.options.programs.size(), 2U);
    EXPECT_TRUE(read.options.programs[1].beginning);
    EXPECT_EQ(GlobalPlatform::HexText(read.options.programs[1].aid), "A000");
    const Card::Program& program = read.options.programs[0];
    EXPECT_FALSE(program.beginning);
    ASSERT_EQ(program.selection.size(), 2U);
    const Card::AnswerPart& information = program.selection[0].parts.at(0);
    EXPECT_EQ(information.tag, 0x6FU);
    EXPECT_EQ(information.parts.at(1).parts.at(0).path, (std::vector<std::uint32_t>{0x9102, 0xA5, 0x50}));
    ASSERT_EQ(program.rules.size(), 3U);
    EXPECT_TRUE(program.rules[0].pattern.Matches({0x83, 0xCA, 0x5F, 0x20}, {0x01}));
    EXPECT_FALSE(program.rules[0].pattern.Matches({0x84, 0xCA, 0x5F, 0x20}, {}));
    EXPECT_EQ(static_cast<int>(program.rules[0].answers.at(1).status), 0x6A88);
    EXPECT_TRUE(program.rules[1].pattern.Matches({0x00, 0xB2, 0x71, 0x0C}, {0x83, 0x00, 0x01}));
    EXPECT_FALSE(program.rules[1].pattern.Matches({0x00, 0xB2, 0x72, 0x0C}, {0x83, 0x00, 0x01}));
    const std::vector<Card::AnswerPart>& parts = program.rules[1].answers.at(0).parts;
    ASSERT_EQ(parts.size(), 4U);
    EXPECT_EQ(std::string(parts[0].bytes.begin(), parts[0].bytes.end()), "Kari, (N)");
    EXPECT_EQ(parts[1].kind, Card::AnswerPart::Kind::CommandData);
    EXPECT_EQ(parts[2].width, 2U);
    EXPECT_EQ(parts[3].width, 4U);
    EXPECT_EQ(static_cast<int>(program.rules[1].answers.at(0).status), 0x6283);
    EXPECT_TRUE(program.rules[2].pattern.Matches({0x80, 0xA8, 0x00, 0x00}, {0x8F}));
    EXPECT_FALSE(program.rules[2].pattern.Matches({0x80, 0xA8, 0x00, 0x00}, {0x8F, 0x00}));
}

namespace {

struct WrongRule {
    const char* line;
    const char* advice;
};

void PrintTo(const WrongRule& wrong, std::ostream* stream) {
    *stream << wrong.line;
}

class RuleMistake : public testing::TestWithParam<WrongRule> {};

}  // namespace

TEST_P(RuleMistake, IsToldWithWhatWouldBeRight) {
    const Read read = ReadText(std::string("[application A000000999]\n") + GetParam().line + "\n");
    EXPECT_THAT(
        read.mistakes,
        ElementsAre(testing::AllOf(StartsWith("/cards/a.profile:2: "), HasSubstr(GetParam().advice))));
}

INSTANTIATE_TEST_SUITE_P(
    InPatterns, RuleMistake,
    testing::Values(
        WrongRule{"answer 80CA5F=00", "write CLA INS P1 P2"}, WrongRule{"answer 80CA5F2=00", "CLA INS P1 P2"},
        WrongRule{"answer 80CA5F2g=00", "x for any digit"}, WrongRule{"answer 80/F=00", "for a mask"},
        WrongRule{"answer 80CA*5F20=00", "at the end"}, WrongRule{"answer 90B40000=00", "write 00 or 80"},
        WrongRule{"answer 81B40000=00", "the number of the logical channel does not count"},
        WrongRule{"answer 00C00000=00", "the card itself answers"},
        WrongRule{"answer 0070xxxx=00", "the card itself answers"},
        WrongRule{"reply 80CA5F20=00", "the section has select, answer COMMAND"}));

INSTANTIATE_TEST_SUITE_P(
    InAnswers, RuleMistake,
    testing::Values(
        WrongRule{"answer 80CA5F20=", "write what it consists of"}, WrongRule{"select=5F2", "is no part of"},
        WrongRule{"select=00,", "there is no answer"}, WrongRule{"select=\"wallet", "a text has no end"},
        WrongRule{"select=6F( 84", "the object 6F( has no end"}, WrongRule{"select=00 )", "stands alone"},
        WrongRule{"select=( 00 )", "there is no answer"}, WrongRule{"select=5F( 00 )", "no tag of BER-TLV"},
        WrongRule{"select=6F20( 00 )", "no tag of BER-TLV"}, WrongRule{"select=5F8120( 00 ) x", "no part"},
        WrongRule{"select=5F2081( 00 )", "no tag of BER-TLV"}, WrongRule{"select=value:", "1 to 3 bytes"},
        WrongRule{"select=value:0102/5F", "no tag of BER-TLV"}, WrongRule{"select=counter:", "lower-case"},
        WrongRule{"select=counter:Seen", "lower-case letters, digits and hyphens"},
        WrongRule{"select=counter:seen:5", "from 1 to 4"}, WrongRule{"select=status:90", "2 bytes"},
        WrongRule{"select=status:6000", "no status word"}, WrongRule{"select=status:9000 00", "in front"},
        WrongRule{"select=6F( next:seen )", "a selection counts nothing"},
        WrongRule{"select=E1(E1(E1(E1(E1(E1(E1(E1(E1(00)))))))))", "more than 8 objects"}));

TEST(RuleMistakes, AreToldOfNamesAndNumbers) {
    std::string many = "[application A000000999]\nselect=";
    for (int part = 0; part < 257; ++part) {
        many += "00 ";
    }
    EXPECT_THAT(ReadText(many).mistakes, ElementsAre(HasSubstr("more than 256 parts")));
    many = "[application A000000999]\n";
    for (int rule = 0; rule < 1025; ++rule) {
        many += "answer 80CA" + GlobalPlatform::HexText(GlobalPlatform::BigEndian(rule, 2)) + "=00\n";
    }
    EXPECT_THAT(ReadText(many).mistakes, ElementsAre(HasSubstr("at most 1024 rules")));
    EXPECT_THAT(ReadText("[application A0]\n").mistakes, ElementsAre(HasSubstr("5 to 16 bytes")));
    EXPECT_THAT(ReadText("[application]\n").mistakes, ElementsAre(HasSubstr("5 to 16 bytes")));
    EXPECT_THAT(ReadText("[application *]\n").mistakes, ElementsAre(HasSubstr("5 to 16 bytes")));
    EXPECT_THAT(
        ReadText("[application A000000999]\n[application A0 00 00 09 99]\n").mistakes,
        ElementsAre(HasSubstr("a.profile:2: [application A0 00 00 09 99]: this application has a section")));
}

namespace {

// The wallet of the demonstration, on the card that it is provisioned to.
class WalletProfile : public CardDesk {
protected:
    WalletProfile() {
        std::vector<Device::Mistake> mistakes;
        Device::ReadCardProfile(NAVO_DEVICE_DIR "/profiles/wallet.profile", options, mistakes);
        Restart();
        Authenticate();
        EXPECT_EQ(StatusOf("80E60200 0C 07A0000008410001 00 00 00 00"), "9000");
        EXPECT_EQ(StatusOf("80E88000 06 C4040A0B0C0D"), "9000");
        EXPECT_EQ(
            StatusOf("80E60C00 21 07A0000008410001 08A000000841000101 09A00000084100010101 0100 02C900 00"),
            "9000");
    }

    void Personalize() {
        EXPECT_EQ(StatusOf("80E62000 0F 0000 09A00000084100010101 000000"), "9000");
        EXPECT_EQ(StatusOf("80E20800 07 0101 04 57024761"), "9000");
        EXPECT_EQ(StatusOf("80E20801 08 0102 05 5F20024142"), "9000");
        EXPECT_EQ(StatusOf("80E28802 08 9102 05 A503500157"), "9000");
    }

    void Select(const std::string& control) {
        EXPECT_EQ(Send("00A4040009A0000008410001010100"), control + "9000");
    }
};

}  // namespace

TEST_F(WalletProfile, TellsThatNothingIsThereYet) {
    Select("6F0D8409A00000084100010101A500");
    EXPECT_EQ(Send("80CA5F2000"), "6A88");
    EXPECT_EQ(Send("80CA9F3600"), "9F360200009000");
    EXPECT_EQ(Send("00B2010C00"), "6985");
}

TEST_F(WalletProfile, AnswersOnceItIsPersonalized) {
    Personalize();
    Select("6F108409A00000084100010101A503500157");
    EXPECT_EQ(Send("80CA5F2000"), "5F200241429000");
    EXPECT_EQ(Send("00B2010C00"), "7004570247619000");
    EXPECT_EQ(Send("00B2020C00"), "70055F200241429000");
    EXPECT_EQ(Send("00B2030C00"), "6A83");
    EXPECT_EQ(Send("80A80000 02 8300 00"), "770F820200009404080102009F360200019000");
    EXPECT_EQ(Send("80A80000 02 8301 00"), "6A80");
    EXPECT_EQ(Send("80CA9F3600"), "9F360200019000");
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
