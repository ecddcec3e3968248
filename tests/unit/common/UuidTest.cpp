// SPDX-License-Identifier: Apache-2.0
#include "common/Uuid.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <set>

#include "tests/support/service/StoppedClock.h"

using Na::Uuid;
using testing::MatchesRegex;

namespace {

constexpr char RandomForm[] = "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}";

// The identifier that the standard library's generator gives for a seed, written out by hand.
std::string Expected(unsigned seed) {
    std::srand(seed);
    unsigned numbers[7];
    for (unsigned& number : numbers) {
        number = static_cast<unsigned>(std::rand());
    }
    char text[64];
    std::snprintf(
        text, sizeof text, "%08X-%04X-%04X-%02X%02X-%04X%08X", numbers[0], numbers[1] & 0xFFFF,
        (numbers[2] & 0x0FFF) | 0x4000, (numbers[5] & 0x3F) | 0x80, numbers[6] & 0xFF, numbers[3] & 0xFFFF,
        numbers[4]);
    return text;
}

TEST(Uuid, IsAnEmptyTextWhenItIsEmpty) {
    EXPECT_EQ(Uuid().ToString(), "");
}

TEST(Uuid, IsAllZerosWhenItIsNil) {
    EXPECT_EQ(Uuid::Nil().ToString(), "00000000-0000-0000-0000-000000000000");
}

TEST(Uuid, HasVersionAndVariantWhenItIsRandom) {
    for (int i = 0; i < 1000; ++i) {
        ASSERT_THAT(Uuid::Random().ToString(), MatchesRegex(RandomForm));
    }
}

TEST(Uuid, DiffersFromEveryOtherOfTheSameMicrosecond) {
    const StoppedClock clock(1420167845, 123456);
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        seen.insert(Uuid::Random().ToString());
    }
    EXPECT_EQ(seen.size(), 1000U);
}

TEST(Uuid, TakesItsFieldsFromTheGeneratorSeededWithClockAndCounter) {
    const StoppedClock clock(1420167845, 123456);
    const std::uint64_t microseconds = 1420167845ULL * 1000000 + 123456;
    const std::string first = Uuid::Random().ToString();
    unsigned counter = 0;  // that of the process, which other tests have moved
    while (counter < 4000000 && Expected(static_cast<unsigned>(microseconds + counter)) != first) {
        ++counter;
    }
    EXPECT_EQ(first, Expected(static_cast<unsigned>(microseconds + counter)));
    const std::string second = Uuid::Random().ToString();
    EXPECT_EQ(second, Expected(static_cast<unsigned>(microseconds + counter + 1)));
}

TEST(Uuid, IsCopiedWhole) {
    Uuid original = Uuid::Random();
    const std::string text = original.ToString();
    const Uuid copy = original;
    Uuid assigned;
    assigned = original;
    original = Uuid();
    EXPECT_EQ(original.ToString(), "");
    EXPECT_EQ(copy.ToString(), text);
    EXPECT_EQ(assigned.ToString(), text);
}

TEST(Uuid, CanBeCopiedWhileEmpty) {
    Uuid empty;
    const Uuid copy = empty;
    empty = Uuid::Nil();
    EXPECT_EQ(copy.ToString(), "");
}

}  // namespace
