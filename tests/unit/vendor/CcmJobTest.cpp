// SPDX-License-Identifier: Apache-2.0
// Requests with a CCM script, from the request to the card and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "app/ResultCode.h"
#include "common/Locations.h"
#include "device/VirtualDevice.h"
#include "device/vendor/CcmScript.h"
#include "tests/support/service/ResultCodePrinter.h"
#include "tests/support/service/ResultTexts.h"
#include "tests/unit/vendor/LibraryJobs.h"

namespace {

using ResultText::Done;
using ResultText::ElementRefused;
using ResultText::UnknownError;

using Device::Exchange;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;
using Vendor::Bytes;

class CcmJob : public LibraryJobs {
protected:
    // The reply to a script whose packed list is `list`.
    Na::RequestMap Play(const Bytes& list) {
        return Ask({{"Cmd", "90"}, {"CcmScriptData", Device::HexText(Vendor::MakeScript(list))}});
    }

    Na::RequestMap PlayApdus(const std::vector<std::string>& apdus) {
        std::vector<Bytes> commands;
        for (const std::string& apdu : apdus) {
            commands.push_back(Device::FromHexText(apdu).value());
        }
        return Play(Vendor::PackApdus(commands));
    }

    // Everything that a job opens is closed when its reply goes out.
    void ExpectEverythingClosed() const {
        EXPECT_FALSE(IsLoaded(SecureSpiName));
        EXPECT_EQ(Device::OpenHandles(), 0U);
        EXPECT_EQ(Device::Calls("openSecureSpi"), Device::Calls("closeSecureSpi"));
    }

    void Expect(const Na::RequestMap& reply, const char* verdict, const char* message) const {
        EXPECT_THAT(reply, ElementsAre(Pair("LccmReturnCode", verdict), Pair("ReturnCode", message)));
        ExpectEverythingClosed();
    }
};

}  // namespace

TEST_F(CcmJob, PlaysAScriptToTheCard) {
    world.Configure("[card]\nanswer 80E8*=9000\nanswer 8050=1234569000\n");
    Expect(PlayApdus({"00A4040000", "80E80000020A0B", "8050"}), "0", Done);
    const std::vector<Exchange> exchanges = Device::Exchanges();
    ASSERT_EQ(exchanges.size(), 3U);
    EXPECT_EQ(exchanges[0].command, "00A4040000");
    EXPECT_EQ(exchanges[1], (Exchange{"80E80000020A0B", "9000"}));
    EXPECT_EQ(exchanges[2], (Exchange{"8050", "1234569000"}));
}

TEST_F(CcmJob, LogsItsWayThroughAScript) {
    world.Configure("[card]\nanswer 8050*=9000\n");
    PlayApdus({"8050000008FF", "805001"});
    EXPECT_THAT(world.Log(), testing::Contains("I/info: Handle ccm data"));
    EXPECT_THAT(
        JobLines(),
        ElementsAre(
            "D Lccm: Lccm object creation.", "D loadLibrary: Loading sem library",
            "D loadLibrary: Library loaded successfully", "D isAvaliable: Lccm functionality available",
            "D openChannel: Secure SPI was opened", "D handleScript: Resolving received apdus",
            "D handleScript: Apdus were successfully distinguished",
            "D closeChannel: SPI channel was closed correctly",
            "D CreateSeReader: Creating a SE Reader of type 0",
            // The reader is probed when it is made, and opened for the script.
            "D Open: Opening SE", "D Open: Starting to work with SE of type: 1", "D Close: Closing SE",
            "D Open: Opening SE", "D Open: Starting to work with SE of type: 1",
            "D handleCcmScript: Sending apdus to eSE", "D handleCcmScript: command header: 80500000",
            "D Apdu: Sending command to SE", "D apduRetCheck: response sw: 9000",
            "D handleCcmScript: command header: 805001", "D Apdu: Sending command to SE",
            "D apduRetCheck: response sw: 9000", "D Close: Closing SE", "D ~Lccm: Lccm object destruction.",
            "D unloadLibrary: Unloading sem library"));
}

TEST_F(CcmJob, FollowsACardThatHasMoreToSay) {
    world.Configure("[card]\nanswer 8050=6102\nanswer 000C000000=0102039000\n");
    Expect(PlayApdus({"8050"}), "0", Done);
    EXPECT_THAT(
        Device::Exchanges(), ElementsAre(Exchange{"8050", "6102"}, Exchange{"000C000000", "0102039000"}));
}

TEST_F(CcmJob, StopsAtARefusedStatusWord) {
    world.Configure("[card]\nanswer 8050=9000\nanswer 8051=6A82\nanswer 8052=9000\n");
    Expect(PlayApdus({"8050", "8051", "8052"}), "-5", Done);
    EXPECT_THAT(Device::Exchanges(), ElementsAre(Exchange{"8050", "9000"}, Exchange{"8051", "6A82"}));
    EXPECT_THAT(JobLines(), testing::Contains("E handleCcmScript: Response with error: 51, 6A82"));
}

TEST_F(CcmJob, TakesMissingDataAsAnAnswerToADeletionOnly) {
    world.Configure("[card]\nanswer 80E4*=6A88\nanswer 80CA*=6A88\n");
    Expect(PlayApdus({"80E40000"}), "0", Done);
    Expect(PlayApdus({"80CA0000"}), "-5", Done);
    EXPECT_THAT(JobLines(), testing::Contains("E handleCcmScript: Response with error: CA, 6A88"));
}

TEST_F(CcmJob, StopsWhenTheCardGivesNoResponse) {
    world.Configure("[card]\nanswer 8050=empty\n");
    Expect(PlayApdus({"8050"}), "-5", Done);
    EXPECT_THAT(
        JobLines(),
        testing::IsSupersetOf(
            {"E apduRetCheck: response is empty", "E handleCcmScript: Response with error: 50, "}));
    world.Configure("[fault nfc_se_send_apdu]\nresult=-1\n");
    Expect(PlayApdus({"8050"}), "-5", ResultText::NoApdu);
    EXPECT_THAT(JobLines(), testing::Contains("E handleCcmScript: Response with error: 50, "));
}

TEST_F(CcmJob, EndsWithTheOrdinaryReplyForACommandWithoutAnInstruction) {
    for (const Bytes& list : {Bytes{0x00, 0x00}, Bytes{0x00}, Bytes{0x00, 0x81}}) {
        EXPECT_THAT(Play(list), ElementsAre(Pair("LccmReturnCode", "-5"), Pair("ReturnCode", UnknownError)));
        ExpectEverythingClosed();
        EXPECT_THAT(Device::Exchanges(), IsEmpty());
        EXPECT_THAT(JobLines(), testing::Contains(StartsWith("E Do: Job ended by an exception: ")));
        EXPECT_THAT(world.Log(), testing::Contains("I/info: Job execution is complete"));
    }
}

TEST_F(CcmJob, PlaysWhatStandsBeforeACommandWithoutAnInstruction) {
    world.Configure("[card]\nanswer 8050=9000\n");
    EXPECT_THAT(
        Play({0x00, 0x02, 0x80, 0x50, 0x00, 0x00}),
        ElementsAre(Pair("LccmReturnCode", "-5"), Pair("ReturnCode", UnknownError)));
    EXPECT_THAT(Device::Exchanges(), ElementsAre(Exchange{"8050", "9000"}));
    ExpectEverythingClosed();
}

TEST_F(CcmJob, SendsACommandOfOneByteWithAnEmptyInstruction) {
    world.Configure("[card]\nanswer 80=6A88\n");
    Expect(Play({0x00, 0x01, 0x80}), "-5", Done);
    EXPECT_THAT(JobLines(), testing::Contains("E handleCcmScript: Response with error: , 6A88"));
}

TEST_F(CcmJob, RunsARequestWithoutAScript) {
    Expect(Ask({{"Cmd", "90"}}), "-4", UnknownError);
    EXPECT_EQ(Device::Calls("handleCCM"), 1U);
    EXPECT_THAT(JobLines(), testing::Contains("E handleScript: handleCCM returns an error"));
    Expect(Ask({{"Cmd", "90"}, {"CcmScriptData", ""}}), "-4", UnknownError);
}

TEST_F(CcmJob, RefusesWhatTheLibraryCannotConvert) {
    Expect(Ask({{"Cmd", "90"}, {"CcmScriptData", "0102"}}), "-4", UnknownError);
    Expect(Ask({{"Cmd", "90"}, {"CcmScriptData", "not hexadecimal"}}), "-4", UnknownError);
    EXPECT_EQ(Device::Calls("nfc_se_open_secure_element"), 0U);
}

TEST_F(CcmJob, RefusesAScriptLongerThanItsBuffer) {
    Expect(Ask({{"Cmd", "90"}, {"CcmScriptData", std::string(2 * 92161, 'A')}}), "-4", UnknownError);
    EXPECT_EQ(Device::Calls("handleCCM"), 0U);
    EXPECT_THAT(
        JobLines(), testing::Contains("E handleScript: Script of 92161 bytes is longer than its buffer"));
}

TEST_F(CcmJob, PlaysAScriptThatFillsItsBuffer) {
    world.Configure("[card]\nanswer 80*=9000\n");
    Bytes list;
    std::size_t commands = 0;
    for (; list.size() + 250 <= 92158; ++commands) {
        Device::Append(list, Vendor::PackApdus({Bytes(247, 0x80)}));
    }
    Device::Append(list, Vendor::PackApdus({Bytes(92158 - list.size() - 3, 0x80)}));
    ASSERT_EQ(Vendor::MakeScript(list).size(), 92160U);
    Expect(Play(list), "0", Done);
    EXPECT_EQ(Device::ExchangeCount(), commands + 1);
}

TEST_F(CcmJob, TakesAnImpossibleConvertedLengthForAFailure) {
    for (const char* length : {"0", "-1", "-2147483648", "92161", "2147483647"}) {
        world.Configure(std::string("[secure-spi]\nconverted-length=") + length + "\n");
        Expect(PlayApdus({"8050"}), "-4", UnknownError);
        EXPECT_THAT(JobLines(), testing::Contains("E handleScript: handleCCM returns an error"));
    }
}

TEST_F(CcmJob, ReadsZerosWhereALibraryReportsMoreThanItConverted) {
    world.Configure("[secure-spi]\nconverted-length=6\n[card]\nanswer 80500000=9000\n");
    Expect(Play({0x00, 0x04, 0x80, 0x50}), "0", Done);
    EXPECT_THAT(Device::Exchanges(), ElementsAre(Exchange{"80500000", "9000"}));
}

TEST_F(CcmJob, ReadsZerosWhereALibraryReportsLessThanItConverted) {
    world.Configure("[secure-spi]\nconverted-length=3\n[card]\nanswer 80000000=9000\n");
    Expect(Play({0x00, 0x04, 0x80, 0x50, 0x77, 0x77}), "0", Done);
    EXPECT_THAT(Device::Exchanges(), ElementsAre(Exchange{"80000000", "9000"}));
}

TEST_F(CcmJob, SaysWhenTheLibraryIsMissing) {
    std::filesystem::remove(Locations::SecureSpiLibrary);
    Expect(PlayApdus({"8050"}), "-2", UnknownError);
    EXPECT_THAT(
        JobLines(),
        ElementsAre(
            "D Lccm: Lccm object creation.", "D loadLibrary: Loading sem library",
            AllOf(
                StartsWith("E loadLibrary: Dlopen fails. "),
                HasSubstr("cannot open shared object file: No such file or directory")),
            std::string("E Lccm: Can not load sem library. Check path: ") + Locations::SecureSpiLibrary,
            "E isAvaliable: Lccm functionality was not loaded properly",
            "D ~Lccm: Lccm object destruction."));
}

TEST_F(CcmJob, SaysWhenTheDeviceLacksTheLibrary) {
    world.Configure("[secure-spi]\nmissing=library\n");
    Expect(PlayApdus({"8050"}), "-2", UnknownError);
    EXPECT_THAT(
        JobLines(),
        testing::Contains(
            AllOf(StartsWith("E loadLibrary: Dlopen fails. "), HasSubstr("cannot open shared object"))));
}

TEST_F(CcmJob, SaysWhenTheLibraryIsNoLibrary) {
    std::filesystem::remove(Locations::SecureSpiLibrary);
    std::ofstream(Locations::SecureSpiLibrary) << "no library";
    Expect(PlayApdus({"8050"}), "-2", UnknownError);
}

TEST_F(CcmJob, SaysWhenTheLibraryLacksAnEntryPoint) {
    for (const char* name : {"openSecureSpi", "closeSecureSpi", "handleCCM"}) {
        world.Configure(std::string("[secure-spi]\nmissing=") + name + "\n");
        Expect(PlayApdus({"8050"}), "-2", UnknownError);
        EXPECT_EQ(Device::Calls("openSecureSpi"), 0U);
    }
}

TEST_F(CcmJob, SaysWhenTheSecureChannelDoesNotOpen) {
    for (const char* result : {"0", "-1", "2"}) {
        world.Configure(std::string("[fault openSecureSpi]\nresult=") + result + "\n");
        EXPECT_THAT(
            PlayApdus({"8050"}), ElementsAre(Pair("LccmReturnCode", "-3"), Pair("ReturnCode", UnknownError)));
        EXPECT_EQ(Device::Calls("handleCCM"), 0U);
        EXPECT_EQ(Device::Calls("closeSecureSpi"), 0U);
        EXPECT_FALSE(IsLoaded(SecureSpiName));
        EXPECT_THAT(JobLines(), testing::Contains("E openChannel: Can not open secure SPI"));
    }
}

TEST_F(CcmJob, ClosesTheSecureChannelOfAScriptThatWasNotConverted) {
    world.Configure("[fault handleCCM]\nresult=1\n");
    Expect(PlayApdus({"8050"}), "-4", UnknownError);
    EXPECT_EQ(Device::Calls("closeSecureSpi"), 1U);
}

TEST_F(CcmJob, PlaysTheScriptThoughTheSecureChannelDidNotClose) {
    world.Configure("[card]\nanswer 8050=9000\n[fault closeSecureSpi]\nresult=0\n");
    Expect(PlayApdus({"8050"}), "0", Done);
    EXPECT_THAT(JobLines(), testing::Contains("E closeChannel: closeSecureSpi returns error"));
}

TEST_F(CcmJob, SaysWhenTheSecureElementDoesNotOpen) {
    world.Configure("[card]\npresent=false\n");
    EXPECT_THAT(PlayApdus({"8050"}), testing::Contains(Pair("LccmReturnCode", "-3")));
    EXPECT_THAT(JobLines(), testing::Contains("E handleCcmScript: Can't establish connection with eSE"));
    ExpectEverythingClosed();
    world.Configure("[fault nfc_se_open_secure_element]\nresult=NFC_ERROR_PERMISSION_DENIED\n");
    Expect(PlayApdus({"8050"}), "-3", ElementRefused);
}

TEST_F(CcmJob, NeverHasBothChannelsOpen) {
    // The secure element opens after the secure channel has closed: its failure finds that channel closed.
    world.Configure("[card]\npresent=false\n");
    PlayApdus({"8050"});
    EXPECT_EQ(Device::Calls("closeSecureSpi"), 1U);
    const std::vector<std::string> lines = JobLines();
    const auto closed =
        std::find(lines.begin(), lines.end(), "D closeChannel: SPI channel was closed correctly");
    const auto opened = std::find(lines.begin(), lines.end(), "D Open: Opening SE");
    EXPECT_LT(closed, opened);
}

TEST_F(CcmJob, ReportsThatTheSecureElementDidNotClose) {
    world.Configure(
        "[card]\nanswer 8050=9000\n[fault nfc_se_close_secure_element]\nresult=-1\nfrom=2\ntimes=1\n");
    EXPECT_THAT(PlayApdus({"8050"}), testing::Contains(Pair("LccmReturnCode", "0")));
    EXPECT_EQ(Na::GetResultCode(), Na::ResultCode::ElementNotClosed);
}

TEST_F(CcmJob, LoadsTheLibraryAfreshForEveryScript) {
    world.Configure("[card]\nanswer 8050=9000\n");
    for (int i = 0; i < 3; ++i) {
        Expect(PlayApdus({"8050"}), "0", Done);
        EXPECT_THAT(JobLines(), testing::Contains("D loadLibrary: Library loaded successfully"));
        EXPECT_THAT(JobLines(), testing::Contains("D unloadLibrary: Unloading sem library"));
    }
}
