// SPDX-License-Identifier: Apache-2.0
// Whatever is sent, the card answers with a status word and stays usable.
#include <random>

#include "tests/support/TemporaryFolder.h"
#include "tests/unit/card/CardDesk.h"

namespace {

class HostileCommands : public CardDesk {
protected:
    void ExpectStatusWord(const GlobalPlatform::Bytes& command) {
        const GlobalPlatform::Bytes response = card->Transmit(command);
        ASSERT_GE(response.size(), 2U) << GlobalPlatform::HexText(command);
        const int first = response[response.size() - 2];
        succeeded += first == 0x90 ? 1 : 0;
        ASSERT_TRUE(first == 0x90 || (first >= 0x61 && first <= 0x6F)) << GlobalPlatform::HexText(command);
    }

    int succeeded = 0;  // commands
    std::mt19937 random{20240229};

    int Number(int lowest, int highest) {
        return std::uniform_int_distribution<int>(lowest, highest)(random);
    }

    // One byte changed, left out or doubled.
    Bytes Mutated(Bytes command) {
        const auto at = command.begin() + Number(0, static_cast<int>(command.size()) - 1);
        switch (Number(0, 3)) {
            case 0:
                command.erase(at);
                break;
            case 1:
                command.insert(at, *at);
                break;
            case 2:
                *at = Byte();
                break;
            default:
                *at = static_cast<std::uint8_t>(*at ^ 1U << Number(0, 7));
                break;
        }
        return command;
    }

    std::uint8_t Byte() { return static_cast<std::uint8_t>(Number(0, 255)); }

    // From the selection of the card's domain to the deletion of what was put on it.
    std::vector<std::string> RightCommands() const {
        return {
            "00A40400 05 A000000151 00",
            "80CAFF2100",
            "80500000 08 0102030405060708 00",
            "80E60200 0C 07A0000009990001 00 00 00 00",
            "80E88000 0A C4080102030405060708",
            std::string("80E60C00 20") + InstallFields,
            "80E62000 0E 00 00 08A000000999000102 00 00 00",
            "80E20800 05 0101 02 AABB",
            "80E29000 06 4204 01020304",
            "80D80004 18 30" + KeyField("00112233445566778899AABBCCDDEEFF"),
            "80F24002 02 4F00 00",
            "80F04080 08 A000000999000102",
            "80E40080 09 4F07A0000009990001",
            "80E40000 03 D20130"};
    }
};

constexpr std::uint8_t Instructions[] = {0xA4, 0xCA, 0x50, 0x82, 0xD8, 0xE2, 0xE4, 0xE6, 0xE8, 0xF0, 0xF2};
constexpr std::uint8_t Parameters[] = {0x00, 0x01, 0x02, 0x04, 0x08, 0x0C,
                                       0x10, 0x20, 0x40, 0x80, 0x88, 0x90};

}  // namespace

TEST_F(HostileCommands, OfRandomBytesAreAnswered) {
    for (int round = 0; round < 20000; ++round) {
        GlobalPlatform::Bytes command(static_cast<std::size_t>(Number(0, 40)));
        for (std::uint8_t& byte : command) {
            byte = Byte();
        }
        ExpectStatusWord(command);
    }
}

TEST_F(HostileCommands, OfRandomContentInAnAuthenticatedSessionAreAnswered) {
    for (int round = 0; round < 20000; ++round) {
        if (round % 50 == 0) {
            card->Reset();
            Authenticate();
        }
        GlobalPlatform::Bytes command = {
            0x80, Instructions[static_cast<std::size_t>(Number(4, 10))],
            Parameters[static_cast<std::size_t>(Number(0, 11))],
            Parameters[static_cast<std::size_t>(Number(0, 2))]};
        const int length = Number(0, 24);
        command.push_back(static_cast<std::uint8_t>(length));
        for (int at = 0; at < length; ++at) {
            // Small numbers make lengths that fit now and then.
            command.push_back(Number(0, 3) == 0 ? Byte() : static_cast<std::uint8_t>(Number(0, 8)));
        }
        ExpectStatusWord(command);
    }
    card->Reset();
    EXPECT_EQ(StatusOf("00A4040000"), "9000");
    Authenticate();
}

TEST_F(HostileCommands, ThatAreCutOffAnywhereAreAnswered) {
    Authenticate();
    const GlobalPlatform::Bytes whole =
        *GlobalPlatform::FromHexText(std::string("80E60C0020") + InstallFields + "00");
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        ExpectStatusWord(
            GlobalPlatform::Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    }
}

TEST_F(HostileCommands, OfGreatLengthAreAnswered) {
    Authenticate();
    GlobalPlatform::Bytes extended = *GlobalPlatform::FromHexText("80E2100000FFFF");
    extended.insert(extended.end(), 65535, 0xFF);
    ExpectStatusWord(extended);
    ExpectStatusWord(GlobalPlatform::Bytes(1 << 20, 0x00));
    ExpectStatusWord(GlobalPlatform::Bytes(1 << 20, 0x80));
}

// Right commands of every kind with a byte changed, left out or doubled, on a card that keeps what they did.
TEST_F(HostileCommands, ThatAreAlmostRightLeaveACardThatCanBeReadAgain) {
    const TemporaryFolder folder;
    const std::vector<std::string> commands = RightCommands();
    for (int round = 0; round < 60; ++round) {
        options.byteProtocol = false;
        options.stateFile.clear();
        Restart();
        Authenticate();
        for (const std::string& text : commands) {
            ExpectStatusWord(FromHex(text));
            for (int mutation = 0; mutation < 12; ++mutation) {
                ExpectStatusWord(Mutated(FromHex(text)));
            }
            if (StatusOf("80F28000024F00") == "6982") {
                card->Reset();
                Authenticate();
            }
        }
    }
    EXPECT_GT(succeeded, 1000);  // the sweep reached beyond what is refused at once
    options.stateFile = (folder.Path() / "card.json").string();
    for (int round = 0; round < 8; ++round) {
        Restart();  // throws when what was written cannot be read
        Authenticate();
        for (const std::string& text : commands) {
            ExpectStatusWord(Mutated(FromHex(text)));
            ExpectStatusWord(FromHex(text));
        }
    }
}

TEST_F(HostileCommands, InTheMannerOfBytesAreAnswered) {
    options.byteProtocol = true;
    Restart();
    for (int round = 0; round < 20000; ++round) {
        Bytes command = FromHex(Number(0, 1) == 0 ? "00A4040005A000000151" : "00C0000012");
        ExpectStatusWord(Mutated(command));
    }
}
