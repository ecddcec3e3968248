// SPDX-License-Identifier: Apache-2.0
// A card that lasts beyond its process.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <stdexcept>

#include "tests/support/TemporaryFolder.h"
#include "tests/unit/card/CardDesk.h"

namespace {

class StateFile : public CardDesk {
protected:
    StateFile() {
        options.stateFile = Path().string();
        Restart();
    }

    std::filesystem::path Path() const { return folder.Path() / "card.json"; }

    // What making a card of the options throws.
    std::string Failure() {
        card.reset();
        try {
            const Card::SoftwareCard broken(options);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    }

    void Fill() {
        Authenticate();
        LoadFile();
        InstallApplication();
        ASSERT_EQ(StatusOf("80E62000 0E 00 00 08A000000999000102 00 00 00"), "9000");
        ASSERT_EQ(StatusOf("80E28800 05 0101 02 AABB"), "9000");
        ASSERT_EQ(StatusOf("80E29000 06 4204 01020304"), "9000");
        ASSERT_EQ(StatusOf("80D80004 18 30" + KeyField("00112233445566778899AABBCCDDEEFF")), "9000");
    }

    // Everything that can be read of the card.
    std::string Everything() {
        std::string all;
        for (const char* command :
             {"80F28002024F00", "80F24002024F00", "80F21002024F00", "80CA004200", "80CA00E000",
              "80CAFF2100"}) {
            all += Send(command) + " ";
        }
        return all;
    }

    void ExpectDamaged(const std::string& text, const std::string& what) {
        folder.Write("card.json", text);
        const std::string failure = Failure();
        EXPECT_NE(failure.find(Path().string() + " is damaged"), std::string::npos) << text << failure;
        EXPECT_NE(failure.find(what), std::string::npos) << failure;
        EXPECT_EQ(ReadFile(Path()), text);  // it is never reset
    }

    TemporaryFolder folder;
};

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

}  // namespace

TEST_F(StateFile, BringsBackAllThatTheCardHeld) {
    Fill();
    const std::string before = Everything();
    Restart();
    Authenticate();
    EXPECT_EQ(Everything(), before);
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
    EXPECT_EQ(Send("80CA010100"), "010102AABB9000");
}

// Keys of other kinds, code that describes itself and what is selected by a reset.
TEST_F(StateFile, BringsBackWhatIsNotOnEveryCard) {
    Authenticate();
    const std::string applet =
        "010011DECAFFED010204000107A0000009990001"
        "03000C0108A0000009990001010010";
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
    ASSERT_EQ(StatusOf("80E88000 25 C423" + applet), "9000");
    ASSERT_EQ(
        StatusOf(
            "80E60C00 25 07A0000009990001 08A000000999000101 08A000000999000102 0104 07C900EF03CF0140 00"),
        "9000");
    const std::string exponent = "A003010001";
    ASSERT_EQ(StatusOf("80D80000 89 73 A180" + std::string(256, 'C') + exponent + "00"), "9000");
    ASSERT_EQ(
        StatusOf("80D80001 1D 73 FF" + KeyField("00112233445566778899AABBCCDDEEFF") + "0181 0101"), "9000");
    const std::string before = Everything();
    const std::string keys = Send("80CA00E000");
    EXPECT_NE(keys.find("C0060073A180A003"), std::string::npos);
    Restart();
    EXPECT_EQ(Send("80F28000024F00"), "6D00");  // a reset selects the application
    EXPECT_EQ(StatusOf("00A4040000"), "9000");
    Authenticate();
    EXPECT_EQ(Everything(), before);
    EXPECT_EQ(Send("80CA00E000"), keys);
}

TEST_F(StateFile, MayBeOfTheFirstFormat) {
    card.reset();
    const std::string key = R"("value": "404142434445464748494A4B4C4D4E4F")";
    folder.Write(
        "card.json", R"({"format": "software-card-1", "state": "0F", "issuerDomain": "A000000151000000",
            "failedAuthentications": 0, "keySets": [{"version": 1, "sequenceCounter": 7, "keys": [
            {"identifier": 1, )" +
                         key + R"(}, {"identifier": 2, )" + key + R"(}, {"identifier": 3, )" + key +
                         R"(}]}], "loadFiles": [
            {"aid": "A0000009990001", "size": 20, "modules": []},
            {"aid": "A0000009990002", "size": 20, "modules": ["A000000999000201"]}],
            "applications": [{"aid": "A000000999000102", "loadFile": "A0000009990001",
            "module": "A000000999000101", "privileges": "040000", "state": "07", "parameters": 2, "data": []}],
            "data": []})");
    Restart();
    EXPECT_EQ(Send("80CA9F7F00"), "6A88");
    EXPECT_EQ(StatusOf("00A4040000"), "9000");
    Authenticate();
    EXPECT_EQ(Send("80CA00C100"), "C1030000089000");
    EXPECT_EQ(
        Send("80F21000 07 4F05A000000999 00"),
        "07A000000999000101000108A00000099900010107A000000999000201000108A0000009990002019000");
    Restart();
    EXPECT_EQ(StatusOf("00A4040000"), "9000");
    Authenticate();
    EXPECT_NE(ReadFile(Path()).find("software-card-3"), std::string::npos);
}

// Such a card has no domain but the issuer's; it gets the file that they are made of, unless the name is
// taken.
TEST_F(StateFile, MayBeOfTheSecondFormat) {
    const std::string key = R"("components": [{"type": "88", "value": "404142434445464748494A4B4C4D4E4F"}])";
    for (const std::string file : {"A0000009990001", "A0000001515350"}) {
        card.reset();
        folder.Write(
            "card.json",
            R"({"format": "software-card-2", "state": "0F", "issuerDomain": "A000000151000000",
            "failedAuthentications": 0, "keySets": [{"version": 1, "sequenceCounter": 7, "keys": [
            {"identifier": 1, )" +
                key + R"(}, {"identifier": 2, )" + key + R"(}, {"identifier": 3, )" + key +
                R"(}]}], "loadFiles": [{"aid": ")" + file + R"(", "size": 20}],
            "applications": [{"aid": "A000000999000102", "loadFile": ")" +
                file + R"(", "module": "A000000999000101", "privileges": "040000", "state": "07",
            "parameters": 2, "implicitSelection": "", "data": []}], "data": []})");
        Restart();
        EXPECT_EQ(StatusOf("00A4040000"), "9000");
        Authenticate();
        const std::string first = "07" + file + "0100";
        EXPECT_EQ(
            Send("80F22000 02 4F00 00"),
            file == "A0000009990001" ? first + "07A000000151535001009000" : first + "9000");
        EXPECT_EQ(Send("80F24000 02 4F00 00"), "08A00000099900010207049000");
        Restart();
        EXPECT_EQ(StatusOf("00A4040000"), "9000");
    }
}

TEST_F(StateFile, IsWrittenAtOnceForANewCardAndForItsOwnerOnly) {
    ASSERT_TRUE(std::filesystem::exists(Path()));
    const auto others = std::filesystem::perms::group_all | std::filesystem::perms::others_all;
    EXPECT_EQ(std::filesystem::status(Path()).permissions() & others, std::filesystem::perms::none);
    EXPECT_FALSE(std::filesystem::exists(Path().string() + ".new"));
}

TEST_F(StateFile, KeepsItsOwnKeysWhateverTheOptionsSay) {
    options.keys.mac = Bytes(16, 0xFF);
    options.keyVersion = 9;
    Restart();
    Authenticate(Level::CommandMac, 1);
}

TEST_F(StateFile, ContinuesTheSequenceCounter) {
    EXPECT_EQ(Send("80500000 08 0102030405060708 00").substr(58), "0000019000");
    Restart();
    EXPECT_EQ(Send("80500000 08 0102030405060708 00").substr(58), "0000029000");
}

TEST_F(StateFile, EndsWithTheLastSequenceCounter) {
    card.reset();
    folder.Write(
        "card.json", Replaced(ReadFile(Path()), "\"sequenceCounter\": 0", "\"sequenceCounter\": 16777214"));
    Restart();
    EXPECT_EQ(Send("80500000 08 0102030405060708 00").substr(58), "FFFFFF9000");
    EXPECT_EQ(Send("80500000 08 0102030405060708 00"), "6985");
}

TEST_F(StateFile, RemembersFailedAuthentications) {
    options.authenticationAttempts = 2;
    for (int attempt = 0; attempt < 2; ++attempt) {
        Restart();
        Initialize();
        hostCryptogram[0] ^= 1;
        EXPECT_EQ(Send(Authentication()), "6300");
    }
    Restart();
    EXPECT_EQ(Send("80500000 08 0102030405060708 00"), "6983");
}

TEST_F(StateFile, HasNothingOfALoadingThatWasBroken) {
    Authenticate();
    const unsigned long free = FreeMemory();
    ASSERT_EQ(StatusOf("80E60200 0C 07A0000009990001 00 00 00 00"), "9000");
    ASSERT_EQ(StatusOf("80E80000 0A C414 0102030405060708"), "9000");
    Restart();
    Authenticate();
    EXPECT_EQ(Send("80F22000 07 4F05A000000999"), "6A88");
    EXPECT_EQ(FreeMemory(), free);
}

TEST_F(StateFile, IsDamagedWhereverItIsCutOff) {
    Fill();
    card.reset();
    const std::string whole = ReadFile(Path());
    for (std::size_t length = 0; length + 1 < whole.size(); ++length) {
        ExpectDamaged(whole.substr(0, length), "it is no JSON");
    }
    folder.Write("card.json", whole);
    Restart();
    Authenticate();
}

TEST_F(StateFile, IsDamagedWhenItDescribesNoCard) {
    Fill();
    card.reset();
    const std::string whole = ReadFile(Path());
    ExpectDamaged("[]", "no object");
    ExpectDamaged(Replaced(whole, "software-card-3", "software-card-4"), "its format is not");
    ExpectDamaged(Replaced(whole, "\"state\": \"0F\"", "\"state\": \"0E\""), "is no state");
    ExpectDamaged(Replaced(whole, "\"state\": \"07\"", "\"state\": \"05\""), "is no state");
    ExpectDamaged(Replaced(whole, "\"version\": 1", "\"version\": 128"), "a key version is none");
    ExpectDamaged(Replaced(whole, "\"version\": 48", "\"version\": 1"), "twice");
    ExpectDamaged(Replaced(whole, "\"identifier\": 1,", "\"identifier\": 9,"), "no key set opens");
    ExpectDamaged(Replaced(whole, "404142434445", "4041424344"), "a key is none");
    ExpectDamaged(Replaced(whole, "404142434445", "40414243444X"), "hexadecimal text");
    ExpectDamaged(
        Replaced(whole, "\"loadFile\": \"A0000009990001\"", "\"loadFile\": \"A0000009990009\""),
        "no load file");
    ExpectDamaged(
        Replaced(whole, "\"aid\": \"A000000999000102\"", "\"aid\": \"A000000151000000\""),
        "AID is there twice");
    ExpectDamaged(Replaced(whole, "\"size\": 20", "\"size\": -20"), "no number");
    ExpectDamaged(Replaced(whole, "\"loadFiles\"", "\"loadfiles\""), "has no \"loadFiles\"");
    ExpectDamaged(Replaced(whole, "\"state\": \"0F\"", "\"state\": \"0F\", \"more\": 1"), "that no card has");
}

TEST_F(StateFile, DoesNotMindATemporaryFileThatWasLeft) {
    card.reset();
    folder.Write("card.json.new", "{\"format\": \"soft");
    Restart();
    Fill();
    EXPECT_FALSE(std::filesystem::exists(Path().string() + ".new"));
}

TEST_F(StateFile, IsOneCardsAtATime) {
    const auto secondCard = [&] { const Card::SoftwareCard second(options); };
    try {
        secondCard();
        ADD_FAILURE() << "two cards with one file";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), "state file " + Path().string() + ": another card uses it");
    }
    Authenticate();  // the first is as it was
    card.reset();
    secondCard();
}

TEST_F(StateFile, GoesToTheCardThatWaitsForIt) {
    auto second = std::async(std::launch::async, [&] { const Card::SoftwareCard waiting(options); });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    card.reset();
    EXPECT_NO_THROW(second.get());
}

TEST_F(StateFile, CannotBeInAFolderThatIsNotThere) {
    options.stateFile = (folder.Path() / "nowhere" / "card.json").string();
    EXPECT_NE(Failure().find("No such file or directory"), std::string::npos);
}

TEST_F(StateFile, RefusesAChangeThatCannotBeWritten) {
    Fill();
    const std::string before = Everything();
    const std::string text = ReadFile(Path());
    std::filesystem::create_directory(Path().string() + ".new");  // where the new text would go
    EXPECT_EQ(Send("80E29000 03 4501 AA"), "6581");
    EXPECT_EQ(Send("80E40080 09 4F07A0000009990001"), "6581");
    EXPECT_EQ(Send("80F0807F"), "6581");
    EXPECT_EQ(Everything(), before);
    EXPECT_EQ(ReadFile(Path()), text);
    EXPECT_EQ(Send("80500000 08 0102030405060708 00"), "6581");
    std::filesystem::remove(Path().string() + ".new");
    Authenticate();
    EXPECT_EQ(Send("80E29000 03 4501 AA"), "9000");
}

TEST_F(StateFile, CanBeExchangedForAnotherByTheOptions) {
    Fill();
    options.stateFile = (folder.Path() / "other.json").string();
    card->Configure(options);
    Authenticate();
    EXPECT_EQ(Send("80F24000024F00"), "6A88");
    folder.Write("third.json", "{}");
    options.stateFile = (folder.Path() / "third.json").string();
    EXPECT_THROW(card->Configure(options), std::runtime_error);
    EXPECT_EQ(Send("80F28000024F00").substr(0, 2), "08");  // the session goes on
    options.stateFile = Path().string();
    card->Configure(options);
    EXPECT_EQ(StatusOf("00A4040008A00000099900010200"), "9000");
}
