// SPDX-License-Identifier: Apache-2.0
// The form of the scripts that the stand-in converts.
#include "device/vendor/CcmScript.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using Vendor::BadScript;
using Vendor::Bytes;

namespace {

std::string ReasonFor(const Bytes& script) {
    try {
        Vendor::PackedListOf(script);
        return "none";
    } catch (const BadScript& error) {
        return error.what();
    }
}

}  // namespace

TEST(CcmScript, IsAMarkTheMaskedListAndACheckByte) {
    EXPECT_EQ(Vendor::MakeScript({0x00, 0x01, 0xFF}), (Bytes{0xC5, 0x5A, 0x5B, 0xA5, 0xFE}));
    EXPECT_EQ(Vendor::MakeScript({}), (Bytes{0xC5, 0x00}));
}

TEST(CcmScript, IsConvertedBackIntoTheSameList) {
    Bytes list;
    for (int i = 0; i < 1000; ++i) {
        list.push_back(static_cast<std::uint8_t>(i * 7));
        EXPECT_EQ(Vendor::PackedListOf(Vendor::MakeScript(list)), list);
    }
}

TEST(CcmScript, MayBeEmpty) {
    EXPECT_THAT(Vendor::PackedListOf({}), IsEmpty());
}

TEST(CcmScript, IsRefusedWhenItIsNoneOrDamaged) {
    const std::string noScript = "this is no script; one begins with C5 and ends with a check byte";
    EXPECT_EQ(ReasonFor({0xC5}), noScript);
    EXPECT_EQ(ReasonFor({0x00, 0xC5, 0x00}), noScript);
    EXPECT_EQ(
        ReasonFor({0xC5, 0x5A, 0x5B, 0xA5, 0xFF}),
        "the script's check byte is not the one of its list; the script is damaged");
}

TEST(PackedList, HasShortRecordsUpTo127BytesAndLongOnesAbove) {
    EXPECT_EQ(Vendor::PackApdus({{1, 2, 3}, {4}}), (Bytes{0, 3, 1, 2, 3, 0, 1, 4}));
    const Bytes shortList = Vendor::PackApdus({Bytes(127, 9)});
    EXPECT_EQ(shortList.size(), 129U);
    EXPECT_EQ(shortList[1], 127);
    const Bytes longList = Vendor::PackApdus({Bytes(128, 9)});
    EXPECT_EQ(longList.size(), 131U);
    EXPECT_EQ((Bytes(longList.begin(), longList.begin() + 3)), (Bytes{0, 0x81, 128}));
}

TEST(PackedList, IsUnpackedIntoTheSameCommands) {
    const std::vector<Bytes> apdus = {Bytes(1, 1), Bytes(127, 2), Bytes(128, 3), Bytes(255, 4)};
    EXPECT_EQ(Vendor::UnpackApdus(Vendor::PackApdus(apdus)), apdus);
    EXPECT_THAT(Vendor::UnpackApdus({}), IsEmpty());
}

TEST(PackedList, HoldsNoCommandThatARecordCannotHold) {
    EXPECT_THROW(static_cast<void>(Vendor::PackApdus({Bytes()})), BadScript);
    EXPECT_THROW(static_cast<void>(Vendor::PackApdus({Bytes(256, 0)})), BadScript);
}

TEST(PackedList, ThatIsCutShortIsNotUnpacked) {
    const Bytes list = Vendor::PackApdus({Bytes(130, 7), Bytes(3, 8)});
    for (std::size_t size = 1; size < list.size(); ++size) {
        const Bytes cut(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(size));
        if (size == 133) {
            EXPECT_THAT(Vendor::UnpackApdus(cut), ElementsAre(Bytes(130, 7)));
        } else {
            EXPECT_THROW(Vendor::UnpackApdus(cut), BadScript) << size;
        }
    }
}
