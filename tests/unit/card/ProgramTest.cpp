// SPDX-License-Identifier: Apache-2.0
// What an installed application answers by its program.
#include "card/ContentStore.h"
#include "card/Listing.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/unit/card/DomainDesk.h"

namespace {

using Card::AnswerPart;
using Kind = Card::AnswerPart::Kind;

class Program : public DomainDesk {
protected:
    Program() {
        program.aid = FromHex("A000000999");
        program.beginning = true;
        Install();
    }

    void Install() {
        Authenticate();
        LoadFile();
        InstallApplication();
    }

    void KeepInAFile() {
        options.stateFile = (folder.Path() / "a.card").string();
        Restart();
        Install();
    }

    static AnswerPart Part(Kind kind) {
        AnswerPart part;
        part.kind = kind;
        return part;
    }
    static AnswerPart Literal(const std::string& bytes) {
        AnswerPart part;
        part.bytes = FromHex(bytes);
        return part;
    }
    static AnswerPart Counter(Kind kind, std::size_t width = 2) {
        AnswerPart part = Part(kind);
        part.counter = "transactions";
        part.width = width;
        return part;
    }
    static AnswerPart Stored(Kind kind, std::vector<std::uint32_t> path) {
        AnswerPart part = Part(kind);
        part.path = std::move(path);
        return part;
    }
    static AnswerPart Object(std::uint32_t tag, std::vector<AnswerPart> parts) {
        AnswerPart part = Part(Kind::Object);
        part.tag = tag;
        part.parts = std::move(parts);
        return part;
    }

    // Bytes that have to be as they are, behind the header those of the data.
    void Answer(const std::string& command, Card::Alternatives answers) {
        Card::ProgramRule rule;
        for (const std::uint8_t byte : FromHex(command)) {
            (rule.pattern.header.size() < 4 ? rule.pattern.header : rule.pattern.data)
                .push_back({byte, 0xFF});
        }
        rule.pattern.extent =
            rule.pattern.data.empty() ? Card::CommandPattern::Data::Any : Card::CommandPattern::Data::Whole;
        rule.answers = std::move(answers);
        program.rules.push_back(std::move(rule));
    }

    void Run() {
        options.programs = {program};
        card->Configure(options);
    }

    void Select() { ASSERT_EQ(StatusOf(SelectApplication), "9000"); }

    static constexpr char SelectApplication[] = "00A4040008A00000099900010200";

    TemporaryFolder folder;
    Card::Program program;
};

}  // namespace

TEST_F(Program, AnswersWhatItsRulesSayAndLeavesTheRestToTheCard) {
    Answer("80B40000", {{{Literal("0102"), Part(Kind::CommandData)}}});
    Answer("80CA005A", {{{Object(0x5A, {Part(Kind::ApplicationAid)})}}});
    Answer("00B20104", {{{}, GlobalPlatform::StatusWord::ConditionsNotSatisfied}});
    Run();
    EXPECT_EQ(Send("80B40000"), "6D00") << "the issuer domain has none";
    Select();
    EXPECT_EQ(Send("80B40000"), "01029000");
    EXPECT_EQ(Send("80B40000 03 AABBCC 00"), "0102AABBCC9000");
    EXPECT_EQ(Send("80CA005A00"), "5A08A0000009990001029000");
    EXPECT_EQ(Send("80CA005A03"), "6C0A");
    EXPECT_EQ(Send("00B2010400"), "6985");
    EXPECT_EQ(Send("00B2020400"), "6D00");
    EXPECT_EQ(Send("80CA005B00"), "6A88");
    EXPECT_EQ(Send("84B40000"), "6D00") << "outside of secure messaging alone";
}

TEST_F(Program, LooksAtTheDataOfACommand) {
    Answer("80A800008300", {{{Literal("01")}}});
    Answer("80A80000", {{{Literal("02")}}});
    program.rules[0].pattern.data[1].mask = 0xF0;
    Run();
    Select();
    EXPECT_EQ(Send("80A80000 02 8300 00"), "019000");
    EXPECT_EQ(Send("80A80000 02 830F 00"), "019000");
    EXPECT_EQ(Send("80A80000 02 8310 00"), "029000");
    EXPECT_EQ(Send("80A80000 03 830000 00"), "029000");
    EXPECT_EQ(Send("80A80000 01 83 00"), "029000");
    program.rules[0].pattern.extent = Card::CommandPattern::Data::Beginning;
    Run();
    EXPECT_EQ(Send("80A80000 03 830000 00"), "019000");
    EXPECT_EQ(Send("80A80000 01 83 00"), "029000");
}

TEST_F(Program, AnswersOnEveryLogicalChannelAndWithWholeInstructions) {
    Answer("00D20000", {{{Literal("AA")}}});
    program.rules[0].pattern.header[2].mask = 0;
    Run();
    ASSERT_EQ(Send("0070000001"), "019000");
    ASSERT_EQ(StatusOf("01A4040008A00000099900010200"), "9000");
    EXPECT_EQ(Send("01D20000"), "AA9000");
    EXPECT_EQ(Send("01D24200"), "AA9000");
    EXPECT_EQ(Send("00D20000"), "6D00") << "the issuer domain is selected there";
}

TEST_F(Program, TellsWhatItsPersonalizationBrought) {
    Answer("80CA5F20", {{{Stored(Kind::StoredObject, {0x0102, 0x70, 0x5F20})}}, {{Literal("00")}}});
    Answer("80CA0102", {{{Stored(Kind::StoredValue, {0x0102})}}});
    program.selection = {
        {{Object(0x6F, {Object(0x84, {Part(Kind::ApplicationAid)}), Stored(Kind::StoredValue, {0x9102})})}}};
    Run();
    EXPECT_EQ(Send(SelectApplication), "6F0C8408A000000999000102A5009000") << "the card's own";
    EXPECT_EQ(Send("80CA5F2000"), "009000") << "what can be given";
    EXPECT_EQ(Send("80CA010200"), "6A88");
    ASSERT_EQ(StatusOf("00A4040000"), "9000");
    Authenticate();
    ASSERT_EQ(StatusOf("80E62000 0E 0000 08A000000999000102 000000"), "9000");
    ASSERT_EQ(StatusOf("80E28800 12 0102 07 7005 5F20024142 9102 05 A503500141"), "9000");
    EXPECT_EQ(Send(SelectApplication), "6F0F8408A000000999000102A5035001419000");
    EXPECT_EQ(Send("80CA5F2000"), "5F200241429000");
    EXPECT_EQ(Send("80CA010200"), "70055F200241429000");
}

TEST_F(Program, FindsNothingInStoredDataThatIsNoObject) {
    Answer("80CA005A", {{{Stored(Kind::StoredValue, {0x0103, 0x5A})}}});
    Run();
    ASSERT_EQ(StatusOf("80E62000 0E 0000 08A000000999000102 000000"), "9000");
    ASSERT_EQ(StatusOf("80E28800 06 0103 03 5AFF01"), "9000");
    Select();
    EXPECT_EQ(Send("80CA005A00"), "6A88");
}

TEST_F(Program, CountsOnOnceForEachAnswerAndForGood) {
    Answer(
        "80A80000", {{{Counter(Kind::NextCounter), Stored(Kind::StoredValue, {0x0102})}},
                     {{Counter(Kind::NextCounter)}}});
    Answer("80CA9F36", {{{Object(0x9F36, {Counter(Kind::Counter)})}}});
    KeepInAFile();
    Run();
    const unsigned long before = FreeMemory();
    Select();
    EXPECT_EQ(Send("80CA9F3600"), "9F360200009000");
    EXPECT_EQ(Send("80A8000000"), "00019000") << "an answer that cannot be given counts nothing";
    EXPECT_EQ(Send("80A8000000"), "00029000");
    Restart();
    Select();
    EXPECT_EQ(Send("80CA9F3600"), "9F360200029000");
    ASSERT_EQ(StatusOf("00A4040000"), "9000");
    EXPECT_EQ(FreeMemory(), before - 8);
    EXPECT_NE(
        Card::Listing(Card::ContentIn(options.stateFile), options).find("counter transactions: 2\n"),
        std::string::npos);
}

TEST_F(Program, CountsNothingThatCouldNotLast) {
    Answer("80A80000", {{{Counter(Kind::NextCounter)}}});
    Answer("80CA9F36", {{{Counter(Kind::Counter)}}});
    KeepInAFile();
    Run();
    Select();
    std::filesystem::create_directory(options.stateFile + ".new");
    EXPECT_EQ(Send("80A8000000"), "6581");
    EXPECT_EQ(Send("80CA9F3600"), "00009000");
    std::filesystem::remove(options.stateFile + ".new");
    EXPECT_EQ(Send("80A8000000"), "00019000");
}

TEST_F(Program, EndsACounterThatHasNoRoomForMore) {
    Answer("80A80000", {{{Counter(Kind::NextCounter, 1)}}});
    Run();
    Select();
    for (int count = 1; count < 256; ++count) {
        ASSERT_EQ(StatusOf("80A8000000"), "9000");
    }
    EXPECT_EQ(Send("80A8000000"), "6985");
    EXPECT_EQ(Send("80A8000000"), "6985");
}

TEST_F(Program, RefusesAnAnswerThatNoResponseCarries) {
    Answer("80B40000", {{{Part(Kind::CommandData), Part(Kind::CommandData)}}});
    Run();
    Select();
    const std::string half(std::size_t{2} * 32767, 'A');
    EXPECT_EQ(Send("80B4000000 7FFF" + half + "0000"), half + half + "9000");
    EXPECT_EQ(Send("80B4000000 8000" + half + "AA0000"), "6700");
}

TEST_F(Program, GivesALongAnswerInParts) {
    Answer("80B40000", {{{Literal(std::string(600, 'A'))}}});
    Run();
    Select();
    EXPECT_EQ(Send("80B4000000"), std::string(512, 'A') + "612C");
    EXPECT_EQ(Send("80C000002C"), std::string(88, 'A') + "9000");
}

TEST_F(Program, StopsWithTheLocksOfCardAndApplication) {
    Answer("80B40000", {{{Literal("AA")}}});
    Run();
    ASSERT_EQ(Send("0070000001"), "019000");
    ASSERT_EQ(StatusOf("01A4040008A00000099900010200"), "9000");
    EXPECT_EQ(Send("81B40000"), "AA9000");
    ASSERT_EQ(StatusOf("80F04080 08 A000000999000102"), "9000");
    EXPECT_EQ(Send("81B40000"), "6D00");
    ASSERT_EQ(StatusOf("80F04000 08 A000000999000102"), "9000");
    EXPECT_EQ(Send("81B40000"), "AA9000");
    ASSERT_EQ(StatusOf("80F0807F"), "9000");
    EXPECT_EQ(Send("81B40000"), "6D00");
}

TEST_F(Program, LeavesSelectionToALockedCard) {
    program.selection = {{{Literal("AA")}}};
    Run();
    ASSERT_EQ(InstallNext("A000000999000103", "020200"), "009000");
    const std::string select = "00A4040008A00000099900010300";
    EXPECT_EQ(Send(select), "AA9000");
    EnterIssuer();
    ASSERT_EQ(StatusOf("80F0807F"), "9000");
    EXPECT_EQ(Send(select), "6F0C8408A000000999000103A5006283");
}

TEST_F(Program, IsNoneOfASecurityDomain) {
    Answer("80500000", {{{Literal("AA")}}});
    program.selection = {{{Literal("BB")}}};
    MakeDomain();
    Run();
    EXPECT_EQ(SendWith("00A40400", Domain), "6F0F8407A0000009991001A5049F6501FF9000");
    EXPECT_EQ(Send("80500000 08 0102030405060708 00").substr(20, 4), "3003");
}

TEST_F(Program, IsThatOfTheVeryNameBeforeThoseOfBeginnings) {
    const auto answering = [&](const std::string& aid, bool beginning) {
        Card::Program made;
        made.aid = FromHex(aid);
        made.beginning = beginning;
        return made;
    };
    const std::vector<Card::Program> programs = {
        answering("A0", true), answering("A0000009", true), answering("A000000999000102", false),
        answering("A000000999", true)};
    EXPECT_EQ(FindProgram(programs, FromHex("A000000999000102")), &programs[2]);
    EXPECT_EQ(FindProgram(programs, FromHex("A00000099900010203")), &programs[3]);
    EXPECT_EQ(FindProgram(programs, FromHex("A000000801")), &programs[0]);
    EXPECT_EQ(FindProgram(programs, FromHex("B000000801")), nullptr);
    EXPECT_EQ(FindProgram(programs, FromHex("A000000999")), &programs[3]);
}
