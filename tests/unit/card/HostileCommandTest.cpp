// Whatever is sent, the card answers with a status word and stays usable.
#include <random>

#include "CardDesk.h"

namespace {

class HostileCommands : public CardDesk {
protected:
    void ExpectStatusWord(const GlobalPlatform::Bytes& command) {
        const GlobalPlatform::Bytes response = card->Transmit(command);
        ASSERT_GE(response.size(), 2u) << GlobalPlatform::HexText(command);
        const int first = response[response.size() - 2];
        ASSERT_TRUE(first == 0x90 || first == 0x94 || (first >= 0x61 && first <= 0x6F))
            << GlobalPlatform::HexText(command);
    }

    std::mt19937 random{20240229};

    int Number(int lowest, int highest) {
        return std::uniform_int_distribution<int>(lowest, highest)(random);
    }

    std::uint8_t Byte() { return static_cast<std::uint8_t>(Number(0, 255)); }
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
