// SPDX-License-Identifier: Apache-2.0
// The handler of CCM scripts, operation by operation.
#include "app/Lccm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "common/Locations.h"
#include "device/VirtualDevice.h"
#include "tests/unit/vendor/LibraryJobs.h"

namespace {

using Na::Bytes;
using Na::Lccm;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::size_t Capacity = 92160;

// What the library in a test's state does. Plain functions have no other way to hear from the test.
struct Conversion {
    Bytes converted;  // written over the script
    std::int32_t length = 0;
    int result = 0;
    Bytes seen;               // the script as it came
    std::int32_t seenLength;  // and its length
    bool restWasZero = false;
};
Conversion conversion;
int channelResult = 0;

int ConvertAsTold(unsigned char* buffer, std::int32_t* length) {
    conversion.seenLength = *length;
    conversion.seen.assign(buffer, buffer + *length);
    conversion.restWasZero =
        std::all_of(buffer + *length, buffer + Capacity, [](unsigned char byte) { return byte == 0; });
    std::copy(conversion.converted.begin(), conversion.converted.end(), buffer);
    *length = conversion.length;
    return conversion.result;
}

int AnswerAsTold() {
    return channelResult;
}

class CcmHandler : public testing::Test {
protected:
    CcmHandler() {
        conversion = Conversion();
        state.handleCCM = ConvertAsTold;
        state.openSecureSpi = AnswerAsTold;
        state.closeSecureSpi = AnswerAsTold;
    }

    // Splits a list that the library reports with its right length.
    std::vector<std::string> Split(const Bytes& list) {
        return Split(list, static_cast<std::int32_t>(list.size()));
    }

    std::vector<std::string> Split(const Bytes& list, std::int32_t length) {
        conversion.converted = list;
        conversion.length = length;
        std::vector<std::string> apdus;
        world.ForgetLog();
        EXPECT_TRUE(Lccm::handleScript(state, {0x01}, apdus));
        return apdus;
    }

    DeviceWorld world;
    Lccm::LibraryState state = {};
};

Bytes Repeated(std::size_t count, std::uint8_t byte) {
    return Bytes(count, byte);
}

std::string Text(const Bytes& bytes) {
    return Na::BytesToHex(bytes);
}

}  // namespace

TEST_F(CcmHandler, SplitsAListWithBothFormsOfLength) {
    EXPECT_THAT(
        Split({0x00, 0x03, 0x01, 0x02, 0x03, 0x00, 0x81, 0x02, 0x0A, 0x0B}), ElementsAre("010203", "0A0B"));
}

TEST_F(CcmHandler, TakesOneByteOfLengthAfterEveryLongMark) {
    for (const int mark : {0x80, 0x81, 0x82, 0x84, 0xFF}) {
        EXPECT_THAT(
            Split({0x00, static_cast<std::uint8_t>(mark), 0x02, 0x0A, 0x0B, 0x77, 0x01, 0xCC}),
            ElementsAre("0A0B", "CC"))
            << mark;
    }
}

TEST_F(CcmHandler, ExaminesNoTag) {
    EXPECT_THAT(Split({0xFF, 0x01, 0x0A, 0x80, 0x01, 0x0B}), ElementsAre("0A", "0B"));
}

TEST_F(CcmHandler, SplitsRecordsOfEveryLength) {
    for (std::size_t size = 0; size <= 255; ++size) {
        Bytes list = {0x00};
        if (size > 0x7F) {
            list.push_back(0x81);
        }
        list.push_back(static_cast<std::uint8_t>(size));
        list.insert(list.end(), size, 0xAB);
        list.insert(list.end(), {0x00, 0x01, 0x0C});
        EXPECT_THAT(Split(list), ElementsAre(Text(Repeated(size, 0xAB)), "0C")) << size;
    }
}

TEST_F(CcmHandler, ReadsZerosBehindTheEndOfTheList) {
    EXPECT_THAT(Split({0x00, 0x05, 0x01, 0x02}), ElementsAre("0102000000"));
    EXPECT_THAT(Split({0x00, 0x81, 0x04, 0x01}), ElementsAre("01000000"));
    EXPECT_THAT(Split({0x00, 0x81}), ElementsAre(""));
    EXPECT_THAT(Split({0x00}), ElementsAre(""));
    EXPECT_THAT(Split({0x00, 0x01, 0x0A, 0x00}), ElementsAre("0A", "")) << "a tag alone is a record, too";
}

TEST_F(CcmHandler, ReadsZerosEvenWhereTheLibraryLeftSomething) {
    EXPECT_THAT(Split({0x00, 0x05, 0x01, 0x02, 0x99, 0x99, 0x99, 0x99}, 4), ElementsAre("0102000000"));
}

TEST_F(CcmHandler, StaysInItsMemoryWhenTheLastRecordOfTheLongestListRunsPastIt) {
    const Bytes ends[] = {{0x00, 0x81, 0xFF}, {0x00, 0xFF, 0x80}, {0x00, 0x00, 0x00}, {0x01, 0x0A, 0x00}};
    const std::size_t lengths[] = {255, 128, 0, 10};
    for (int i = 0; i < 4; ++i) {
        // Records without data up to the last three bytes, the first of them one byte longer.
        Bytes list = {0x00, 0x01, 0x0A};
        list.resize(Capacity - 3);
        list.insert(list.end(), ends[i].begin(), ends[i].end());
        EXPECT_EQ(Split(list).back(), Text(Repeated(lengths[i], 0))) << i;
    }
}

TEST_F(CcmHandler, LogsWhatItDoesWithAList) {
    Split({0x00, 0x01, 0x0A});
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre(
                                "D handleScript: Resolving received apdus",
                                "D handleScript: Apdus were successfully distinguished"));
}

TEST_F(CcmHandler, HandsTheScriptToTheLibraryInAClearedBuffer) {
    conversion.length = 1;
    std::vector<std::string> apdus;
    for (const std::size_t size : {std::size_t{0}, std::size_t{5}, Capacity}) {
        const Bytes script = Repeated(size, 0x5A);
        apdus.clear();
        EXPECT_TRUE(Lccm::handleScript(state, script, apdus));
        EXPECT_EQ(conversion.seenLength, static_cast<std::int32_t>(size));
        EXPECT_EQ(conversion.seen, script);
        EXPECT_TRUE(conversion.restWasZero);
    }
}

TEST_F(CcmHandler, RefusesAScriptLongerThanItsBufferWithoutAskingTheLibrary) {
    conversion.seenLength = -77;
    std::vector<std::string> apdus;
    EXPECT_FALSE(Lccm::handleScript(state, Repeated(Capacity + 1, 0x5A), apdus));
    EXPECT_EQ(conversion.seenLength, -77);
    EXPECT_THAT(apdus, IsEmpty());
    EXPECT_THAT(
        world.LocatedLog(), ElementsAre("E handleScript: Script of 92161 bytes is longer than its buffer"));
}

TEST_F(CcmHandler, TakesABadResultOrAnImpossibleLengthForAFailure) {
    struct {
        int result;
        std::int32_t length;
    } const failures[] = {{1, 3}, {-1, 3}, {0, 0}, {0, -1}, {0, INT32_MIN}, {0, 92161}, {0, INT32_MAX}};
    for (const auto& failure : failures) {
        conversion.result = failure.result;
        conversion.length = failure.length;
        world.ForgetLog();
        std::vector<std::string> apdus;
        EXPECT_FALSE(Lccm::handleScript(state, {0x01}, apdus)) << failure.result << " " << failure.length;
        EXPECT_THAT(apdus, IsEmpty());
        EXPECT_THAT(world.LocatedLog(), ElementsAre("E handleScript: handleCCM returns an error"));
    }
}

TEST_F(CcmHandler, AddsToTheApdusThatAreThere) {
    conversion.converted = {0x00, 0x01, 0x0B};
    conversion.length = 3;
    std::vector<std::string> apdus = {"0A"};
    EXPECT_TRUE(Lccm::handleScript(state, {0x01}, apdus));
    EXPECT_THAT(apdus, ElementsAre("0A", "0B"));
}

TEST_F(CcmHandler, FindsNoRecordWithoutBuffersOrOutsideTheList) {
    const Bytes list(300);
    std::uint8_t out[262] = {};
    std::int32_t length = 77;
    EXPECT_EQ(Lccm::nextApduOffset(nullptr, 0, 3, out, &length), -1);
    EXPECT_EQ(Lccm::nextApduOffset(list.data(), -1, 3, out, &length), -1);
    EXPECT_EQ(Lccm::nextApduOffset(list.data(), 0, 3, nullptr, &length), -1);
    EXPECT_EQ(Lccm::nextApduOffset(list.data(), 3, 3, out, &length), -1);
    EXPECT_EQ(Lccm::nextApduOffset(list.data(), 4, 3, out, &length), -1);
    EXPECT_EQ(Lccm::nextApduOffset(list.data(), 0, 0, out, &length), -1);
    EXPECT_EQ(Lccm::nextApduOffset(list.data(), 0, -5, out, &length), -1);
    EXPECT_EQ(length, 77);
}

TEST_F(CcmHandler, GivesTheStepToTheNextRecordWithoutItsFirstTwoBytes) {
    Bytes list = {0x00, 0x03, 0x01, 0x02, 0x03, 0x00, 0x81, 0x02, 0x0A, 0x0B};
    list.resize(list.size() + 300);
    std::uint8_t out[262] = {};
    std::int32_t length = 0;
    EXPECT_EQ(Lccm::nextApduOffset(list.data(), 0, 10, out, &length), 3);
    EXPECT_EQ(length, 3);
    EXPECT_EQ(std::memcmp(out, "\x01\x02\x03", 3), 0);
    EXPECT_EQ(Lccm::nextApduOffset(list.data(), 5, 10, out, &length), 3);
    EXPECT_EQ(length, 2);
    EXPECT_EQ(std::memcmp(out, "\x0A\x0B", 2), 0);
}

TEST_F(CcmHandler, AcceptsResponsesByTheirStatusWord) {
    struct {
        const char* instruction;
        const char* response;
        bool accepted;
        const char* line;
    } const rows[] = {
        {"A4", "9000", true, "D apduRetCheck: response sw: 9000"},
        {"A4", "6F049000", true, "D apduRetCheck: response sw: 9000"},
        {"E4", "9000", true, "D apduRetCheck: response sw: 9000"},
        {"E4", "6A88", true, "D apduRetCheck: response sw: 6A88"},
        {"E4", "006a88", true, "D apduRetCheck: response sw: 6a88"},
        {"E4", "6A82", false, "D apduRetCheck: response sw: 6A82"},
        {"E4", "6a8A", false, "D apduRetCheck: response sw: 6a8A"},
        {"e4", "6A88", false, "D apduRetCheck: response sw: 6A88"},
        {"A4", "6A88", false, "D apduRetCheck: response sw: 6A88"},
        {"", "6A88", false, "D apduRetCheck: response sw: 6A88"},
        {"A4", "90006A82", false, "D apduRetCheck: response sw: 6A82"},
        {"A4", "", false, "E apduRetCheck: response is empty"},
        {"E4", "A88", false, "E apduRetCheck: invalid response"},
        {"A4", "900", false, "E apduRetCheck: invalid response"},
    };
    for (const auto& row : rows) {
        world.ForgetLog();
        EXPECT_EQ(Lccm::apduRetCheck(row.instruction, row.response), row.accepted)
            << row.instruction << " " << row.response;
        EXPECT_THAT(world.LocatedLog(), ElementsAre(row.line));
    }
}

TEST_F(CcmHandler, OpensTheChannelWithExactlyOne) {
    channelResult = 1;
    EXPECT_EQ(Lccm::openChannel(state), 1);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D openChannel: Secure SPI was opened"));
    for (const int refused : {0, 2, -1}) {
        channelResult = refused;
        world.ForgetLog();
        EXPECT_EQ(Lccm::openChannel(state), 0);
        EXPECT_THAT(world.LocatedLog(), ElementsAre("E openChannel: Can not open secure SPI"));
    }
}

TEST_F(CcmHandler, ClosesTheChannelWithExactlyOne) {
    channelResult = 1;
    Lccm::closeChannel(state);
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D closeChannel: SPI channel was closed correctly"));
    for (const int refused : {0, 2, -1}) {
        channelResult = refused;
        world.ForgetLog();
        Lccm::closeChannel(state);
        EXPECT_THAT(world.LocatedLog(), ElementsAre("E closeChannel: closeSecureSpi returns error"));
    }
}

TEST_F(CcmHandler, IsAvailableWithAllThreeFunctions) {
    EXPECT_TRUE(Lccm::isAvaliable(state));
    EXPECT_THAT(world.LocatedLog(), ElementsAre("D isAvaliable: Lccm functionality available"));
    Lccm::LibraryState partial[] = {state, state, state};
    partial[0].openSecureSpi = nullptr;
    partial[1].closeSecureSpi = nullptr;
    partial[2].handleCCM = nullptr;
    for (const Lccm::LibraryState& lacking : partial) {
        world.ForgetLog();
        EXPECT_FALSE(Lccm::isAvaliable(lacking));
        EXPECT_THAT(
            world.LocatedLog(), ElementsAre("E isAvaliable: Lccm functionality was not loaded properly"));
    }
}

TEST_F(CcmHandler, LoadsTheLibraryOnceAndUnloadsItOnce) {
    world.InstallInHouseLibraries();
    Lccm::LibraryState empty = {};
    EXPECT_TRUE(Lccm::loadLibrary(empty));
    EXPECT_TRUE(IsLoaded(SecureSpiName));
    EXPECT_TRUE(Lccm::loadLibrary(empty));
    Lccm::unloadLibrary(empty);
    EXPECT_EQ(empty.libHandle, nullptr);
    EXPECT_FALSE(IsLoaded(SecureSpiName));
    Lccm::unloadLibrary(empty);
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D loadLibrary: Loading sem library", "D loadLibrary: Library loaded successfully",
            "D loadLibrary: Library already opened", "D unloadLibrary: Unloading sem library"));
}

TEST_F(CcmHandler, KeepsTheFunctionsFoundBeforeOneThatIsMissing) {
    world.InstallInHouseLibraries();
    const char* const names[] = {"openSecureSpi", "closeSecureSpi", "handleCCM"};
    for (int missing = 0; missing < 3; ++missing) {
        world.Configure(std::string("[secure-spi]\nmissing=") + names[missing] + "\n");
        world.ForgetLog();
        Lccm::LibraryState empty = {};
        EXPECT_FALSE(Lccm::loadLibrary(empty));
        EXPECT_EQ(empty.libHandle, nullptr);
        EXPECT_EQ(empty.openSecureSpi != nullptr, missing > 0);
        EXPECT_EQ(empty.closeSecureSpi != nullptr, missing > 1);
        EXPECT_EQ(empty.handleCCM, nullptr);
        EXPECT_FALSE(IsLoaded(SecureSpiName));
        EXPECT_THAT(
            world.LocatedLog(),
            ElementsAre(
                "D loadLibrary: Loading sem library",
                AllOf(
                    StartsWith(std::string("E loadLibrary: Can not load ") + names[missing] + " function. "),
                    HasSubstr(std::string("undefined symbol: ") + names[missing])),
                "D unloadLibrary: Unloading sem library"));
    }
}

TEST_F(CcmHandler, ExistsWithoutItsLibraryAndAlwaysSaysSo) {
    {
        Lccm lccm;
        EXPECT_EQ(lccm.handleCcmScript(""), Lccm::LibraryMissing);
        EXPECT_EQ(lccm.handleCcmScript("C500"), Lccm::LibraryMissing);
    }
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D Lccm: Lccm object creation.", "D loadLibrary: Loading sem library",
            AllOf(StartsWith("E loadLibrary: Dlopen fails. "), HasSubstr(Locations::SecureSpiLibrary)),
            std::string("E Lccm: Can not load sem library. Check path: ") + Locations::SecureSpiLibrary,
            "E isAvaliable: Lccm functionality was not loaded properly",
            "E isAvaliable: Lccm functionality was not loaded properly",
            "D ~Lccm: Lccm object destruction."));
}

TEST_F(CcmHandler, HoldsTheLibraryForItsOwnLife) {
    world.InstallInHouseLibraries();
    {
        const Lccm lccm;
        EXPECT_TRUE(IsLoaded(SecureSpiName));
    }
    EXPECT_FALSE(IsLoaded(SecureSpiName));
    EXPECT_THAT(
        world.LocatedLog(),
        ElementsAre(
            "D Lccm: Lccm object creation.", "D loadLibrary: Loading sem library",
            "D loadLibrary: Library loaded successfully", "D ~Lccm: Lccm object destruction.",
            "D unloadLibrary: Unloading sem library"));
}
