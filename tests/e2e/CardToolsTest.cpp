// SPDX-License-Identifier: Apache-2.0
// Other people's card tools on the software card, through the real pcscd.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "tests/e2e/ReaderWorld.h"

namespace {

// Skips with the tool's name where it is not installed.
#define NAVO_NEEDS(tool)                                               \
    if (!world.Run({"sh", "-c", "command -v " tool}).output.empty()) { \
    } else                                                             \
        GTEST_SKIP() << tool " is not installed"

// Hexadecimal digits without blanks, line ends and colons, in upper case.
std::string Digits(const std::string& text) {
    std::string digits;
    for (const char each : text) {
        if (std::isxdigit(static_cast<unsigned char>(each)) != 0) {
            digits += static_cast<char>(std::toupper(static_cast<unsigned char>(each)));
        }
    }
    return digits;
}

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class CardTools : public ReaderWorld {
protected:
    void SetUp() override {
        ReaderWorld::SetUp();
        if (!IsSkipped()) {
            card = world.Start({NAVO_CARD_PROGRAM, "--port", std::to_string(service->Port())});
            ASSERT_TRUE(Eventually([&] { return service->Insertions() > 0; })) << card->Errors();
        }
    }

    std::unique_ptr<Process> card;
};

TEST_F(CardTools, OpenscReadsTheAnswerToReset) {
    NAVO_NEEDS("opensc-tool");
    const World::Result result = world.Run({"opensc-tool", "--atr"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(Digits(result.output), "3B88014E41564F434152448B");
}

TEST_F(CardTools, OpenscReadsTheCplc) {
    NAVO_NEEDS("opensc-tool");
    const World::Result result = world.Run({"opensc-tool", "-s", "00A4040000", "-s", "80CA9F7F00"});
    EXPECT_EQ(result.status, 0) << result.errors;
    // Each line of the dump has the bytes, then what they are as text.
    std::string dump;
    for (const std::string& line : LinesOf(result.output)) {
        dump += line.size() > 48 && line[2] == ' ' ? Digits(line.substr(0, 48)) : "";
    }
    EXPECT_TRUE(Has(dump, "9F7F2A" + PlainCplc().substr(0, 26))) << result.output;
    EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n') > 4, true);
    EXPECT_TRUE(Has(result.output, "SW1=0x90, SW2=0x00")) << result.output;
}

TEST_F(CardTools, ScriptorReadsTheCplc) {
    NAVO_NEEDS("scriptor");
    const std::string script = world.Write("commands", "00 A4 04 00 00\n80 CA 9F 7F 00\n");
    const World::Result result = world.Run({"scriptor", "-r", PrivatePcscd::Reader(), script});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_TRUE(Has(result.output, "Using T=1 protocol")) << result.output;
    EXPECT_TRUE(Has(Digits(result.output), "9F7F2A" + PlainCplc() + "9000")) << result.output;
}

}  // namespace
