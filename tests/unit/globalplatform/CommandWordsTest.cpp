// SPDX-License-Identifier: Apache-2.0
// Heads of commands and data objects, for people.
#include "globalplatform/CommandWords.h"

#include <gtest/gtest.h>

#include "globalplatform/TagNames.h"

using GlobalPlatform::ClassWords;
using GlobalPlatform::CommandApdu;
using GlobalPlatform::HasSecureMessaging;
using GlobalPlatform::IsConstructed;
using GlobalPlatform::NamesACard;
using GlobalPlatform::TagName;

namespace {

// Instruction, P1 and P2 of a command, as one line.
std::string Words(std::uint8_t cla, std::uint8_t ins, std::uint8_t p1, std::uint8_t p2) {
    CommandApdu command;
    command.cla = cla;
    command.ins = ins;
    command.p1 = p1;
    command.p2 = p2;
    return InstructionWords(command) + " | " + FirstParameterWords(command) + " | " +
           SecondParameterWords(command);
}

}  // namespace

TEST(CommandWords, TellTheClassesBits) {
    EXPECT_EQ(ClassWords(0x00), "ISO");
    EXPECT_EQ(ClassWords(0x84), "GlobalPlatform, secure messaging");
    EXPECT_EQ(ClassWords(0x83), "GlobalPlatform, logical channel 3");
    EXPECT_EQ(ClassWords(0x61), "ISO, secure messaging, logical channel 5");
    EXPECT_TRUE(HasSecureMessaging(0x0C));
    EXPECT_FALSE(HasSecureMessaging(0x40));
}

TEST(CommandWords, NameWhatProvisioningDoes) {
    EXPECT_EQ(Words(0x80, 0xE6, 0x0C, 0), "INSTALL | for install, for make selectable | ");
    EXPECT_EQ(Words(0x84, 0xE6, 0xA0, 0), "INSTALL | for personalization, more commands follow | ");
    EXPECT_EQ(Words(0x80, 0xE8, 0x80, 4), "LOAD | last block | block 4");
    EXPECT_EQ(Words(0x80, 0xE2, 0x08, 1), "STORE DATA | more blocks follow, data groups | block 1");
    EXPECT_EQ(Words(0x80, 0xE2, 0xF0, 0), "STORE DATA | last block, BER-TLV, encrypted | block 0");
    EXPECT_EQ(Words(0x80, 0xE2, 0x20, 0).find("own") != std::string::npos, true);
    EXPECT_EQ(Words(0x80, 0xD8, 0x01, 0x81), "PUT KEY | key version 01 | several keys from identifier 1");
    EXPECT_EQ(
        Words(0x80, 0xD8, 0x80, 0x01),
        "PUT KEY | a new key version, more commands follow | key identifier 1");
    EXPECT_EQ(Words(0x80, 0xE4, 0x00, 0x80), "DELETE | last or only command | with related objects");
    EXPECT_EQ(Words(0x80, 0xE4, 0x80, 0x00), "DELETE | more commands follow | the object alone");
}

TEST(CommandWords, NameTheStepsOfAChannel) {
    EXPECT_EQ(Words(0x80, 0x50, 0x00, 0), "INITIALIZE UPDATE | the card chooses the key version | ");
    EXPECT_EQ(Words(0x80, 0x50, 0x31, 0), "INITIALIZE UPDATE | key version 31 | ");
    EXPECT_EQ(
        Words(0x84, 0x82, 0x33, 0),
        "EXTERNAL AUTHENTICATE | commands with a code, commands encrypted, responses with a code, responses "
        "encrypted | ");
    EXPECT_EQ(Words(0x84, 0x82, 0x00, 0), "EXTERNAL AUTHENTICATE | no protection | ");
}

TEST(CommandWords, NameWhatIsReadAndSelected) {
    EXPECT_EQ(Words(0x80, 0xCA, 0x9F, 0x7F), "GET DATA | card production life cycle data | ");
    EXPECT_EQ(Words(0x80, 0xCA, 0x00, 0xEE), "GET DATA | object EE | ");
    EXPECT_EQ(Words(0x80, 0xCA, 0xDF, 0x01), "GET DATA | object DF01 | ");
    EXPECT_EQ(Words(0x00, 0xA4, 0x04, 0x00), "SELECT | by name | first or only occurrence");
    EXPECT_EQ(Words(0x00, 0xA4, 0x04, 0x02), "SELECT | by name | next occurrence");
    EXPECT_EQ(Words(0x00, 0xA4, 0x00, 0x01), "SELECT |  | last occurrence");
    EXPECT_EQ(Words(0x00, 0xA4, 0x00, 0x03), "SELECT |  | previous occurrence");
    EXPECT_EQ(
        Words(0x80, 0xF2, 0x80, 0x02),
        "GET STATUS | issuer security domain | first or all occurrences, in TLV");
    EXPECT_EQ(
        Words(0x80, 0xF2, 0x40, 0x01), "GET STATUS | applications and security domains | next occurrence");
    EXPECT_EQ(Words(0x80, 0xF2, 0x20, 0x00), "GET STATUS | load files | first or all occurrences");
    EXPECT_EQ(
        Words(0x80, 0xF2, 0x10, 0x00),
        "GET STATUS | load files and their modules | first or all occurrences");
    EXPECT_EQ(Words(0x80, 0xF2, 0x00, 0x00), "GET STATUS |  | first or all occurrences");
}

TEST(CommandWords, NameStatesAndChannels) {
    EXPECT_EQ(Words(0x80, 0xF0, 0x80, 0x7F), "SET STATUS | of the card | of a card: CARD_LOCKED");
    EXPECT_EQ(
        Words(0x80, 0xF0, 0x40, 0x83),
        "SET STATUS | of an application or security domain | of an application: LOCKED, was INSTALLED");
    EXPECT_EQ(
        Words(0x80, 0xF0, 0x60, 0x83),
        "SET STATUS | of a security domain and its applications | of an application: LOCKED, was INSTALLED");
    EXPECT_EQ(Words(0x00, 0x70, 0x00, 0x00), "MANAGE CHANNEL | open a channel | the card chooses its number");
    EXPECT_EQ(Words(0x00, 0x70, 0x80, 0x01), "MANAGE CHANNEL | close a channel | channel 1");
    EXPECT_EQ(Words(0x80, 0x5A, 0x00, 0x00), "unknown instruction 5A |  | ");
}

TEST(TagNames, DependOnWhereTheObjectStands) {
    EXPECT_EQ(TagName(0x4F), "AID");
    EXPECT_EQ(TagName(0xC4), "load file data block");
    EXPECT_EQ(TagName(0xC4, 0xE3), "AID of the load file");
    EXPECT_EQ(TagName(0x84, 0xE3), "AID of a module");
    EXPECT_EQ(TagName(0x84, 0x6F), "AID");
    EXPECT_EQ(TagName(0xDF01), "");
    EXPECT_TRUE(IsConstructed(0xE3));
    EXPECT_TRUE(IsConstructed(0xBF0C));
    EXPECT_FALSE(IsConstructed(0x9F70));
}

TEST(TagNames, KnowWhatNamesACardOrItsHolder) {
    EXPECT_TRUE(NamesACard(0x5A));
    EXPECT_TRUE(NamesACard(0x45));
    EXPECT_FALSE(NamesACard(0x4F));
}
