// SPDX-License-Identifier: Apache-2.0
#include "common/Utf8.h"

#include <glib.h>
#include <gtest/gtest.h>

using Na::ToValidUtf8;

namespace {

constexpr char Replacement[] = "\xEF\xBF\xBD";

TEST(ToValidUtf8, KeepsValidTexts) {
    EXPECT_EQ(ToValidUtf8(""), "");
    EXPECT_EQ(ToValidUtf8("plain"), "plain");
    EXPECT_EQ(ToValidUtf8("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(ToValidUtf8, ReplacesEachBadByte) {
    EXPECT_EQ(ToValidUtf8("a\xFFz"), std::string("a") + Replacement + "z");
    EXPECT_EQ(ToValidUtf8("\xFF\xFE"), std::string(Replacement) + Replacement);
    EXPECT_EQ(ToValidUtf8("cut \xE2\x82"), std::string("cut ") + Replacement + Replacement);
}

TEST(ToValidUtf8, ReplacesZeroBytes) {
    EXPECT_EQ(ToValidUtf8(std::string("a\0b", 3)), std::string("a") + Replacement + "b");
}

TEST(IsUtf8, AgreesWithGLibWhereverTheByteStands) {
    for (std::size_t size = 0; size <= 20; ++size) {
        EXPECT_TRUE(Na::IsUtf8(std::string(size, 'a'))) << size;
        for (std::size_t at = 0; at < size; ++at) {
            for (int byte = 0; byte <= 0xFF; ++byte) {
                std::string text(size, 'a');
                text[at] = static_cast<char>(byte);
                const bool isText = g_utf8_validate(text.data(), static_cast<gssize>(size), nullptr) != FALSE;
                EXPECT_EQ(Na::IsUtf8(text), isText) << size << " bytes, at " << at << " the byte " << byte;
            }
        }
    }
}

TEST(IsUtf8, TakesCharactersThatCrossEightBytes) {
    for (std::size_t before = 0; before <= 16; ++before) {
        const std::string text = std::string(before, 'a') + "\xF0\x9F\x98\x80" + std::string(9, 'z');
        EXPECT_TRUE(Na::IsUtf8(text)) << before;
        EXPECT_FALSE(Na::IsUtf8(text.substr(0, before + 3))) << before;
    }
}

TEST(WholeCharacters, AreCountedInBytes) {
    EXPECT_EQ(Na::WholeCharacters("", 2), 0U);
    EXPECT_EQ(Na::WholeCharacters("plain", 5), 5U);
    EXPECT_EQ(Na::WholeCharacters("plain", 2), 2U);
    EXPECT_EQ(Na::WholeCharacters("a\xC3\xA9z", 3), 3U);
    EXPECT_EQ(Na::WholeCharacters("a\xC3\xA9z", 2), 1U);
}

TEST(ToValidUtf8, ReplacesSurrogates) {
    EXPECT_EQ(ToValidUtf8("\xED\xA0\x80"), std::string(Replacement) + Replacement + Replacement);
}

}  // namespace
