// SPDX-License-Identifier: Apache-2.0
// The table as clients and servers know it, typed in a second time.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "app/ResultCode.h"
#include "tests/support/service/ResultCodePrinter.h"

namespace {

using Na::ResultCodeEntry;
using Na::ResultCodeTable;

constexpr int Sentinel = 999999999;

// First and last key of each run of keys without a gap, in the table's order.
const std::vector<std::pair<int, int>> Runs = {
    {0, 9},
    {10000000, 10000005},
    {10100000, 10100021},
    {10200000, 10200005},
    {10300000, 10300014},
    {10400000, 10400009},
    {10500000, 10500006},
    {10600001, 10600003},
    {20000000, 20000003},
    {20100000, 20100036},
    {20200000, 20200028},
    {20300000, 20300025},
    {90202000, 90202012},
    {100000000, 100000010},
};

const std::set<int> KeysWithoutText = {3,        4,        5,        6,        7,        8,       10300001,
                                       10300002, 10300003, 10400000, 10500000, 10600001, 90202000};

// In the blocks from 20100000 to 20300025 only these have a text.
const std::set<int> BlockKeysWithText = {20100000, 20100001, 20100002, 20100005, 20100008, 20100011, 20100014,
                                         20100018, 20100021, 20100024, 20100028, 20100033, 20100036, 20200000,
                                         20200001, 20200002, 20200003, 20200007, 20200011, 20200014, 20200020,
                                         20200024, 20200028, 20300000, 20300001, 20300002, 20300003, 20300007,
                                         20300010, 20300013, 20300016, 20300020, 20300022, 20300025};

const std::map<int, std::string> IrregularTexts = {
    {10600002, "10600001"}, {10600003, "10600002"}, {20000000, "20000001"}, {20000001, "20000002"},
    {20000002, "20000003"}, {20000003, "20000004"}, {100000000, "EA"},      {100000001, "CA"},
    {100000002, "F2"},      {100000003, "E6"},      {100000004, "E8"},      {100000005, "D8"},
    {100000006, "A4"},      {100000007, "F0"},      {100000008, "E2"},      {100000009, "50"},
    {100000010, "82"}};

const char ProtocolError[] = "There is an error in the underlying protocol, such as a TCP error";
const char WalletRetry[] = "It needs wallet to retry due to disconnected network while communication";
const char NotAvailable[] = "This device is not available";
const char JobError[] = "An error occurred during the execution of a job between NAVO and eSE";

const std::map<int, std::string> Descriptions = {
    {0, "C-APDU exists"},
    {1, "The job has done successfully"},
    {2, "The job has done successfully. But, a timeout has occurred on NFC off"},
    {9, "Retry the request of Job from the beginning"},
    {10000000, "An unknown Error has occurred"},
    {10000001, "Invalid Cmd parameter is being used"},
    {10000002, "APDU is not available"},
    {10000003, "ATR is null"},
    {10000004, "CPLC is null"},
    {10000005, "SEID is null"},
    {10100000, "Network is unavailable"},
    {10100001, "An error occurred while attempting to bind a socket to a local address and port"},
    {10100002, "A connection is refused to the remote host for a remote method call"},
    {10100003,
     "A HTTP request needs to be retried but cannot be retried automatically, due to streaming mode being "
     "enabled"},
    {10100004, "A malformed URL has occurred"},
    {10100005,
     "The remote host cannot be reached because of an intervening firewall, or if an intermediate router is "
     "down"},
    {10100006, "An ICMP Port Unreachable message has been received on a connected datagram"},
    {10100007, ProtocolError},
    {10100008, ProtocolError},
    {10100009, "A timeout has occurred on a socket read or accept"},
    {10100010, "The IP address of a host could not be determined"},
    {10100011, "An unknown service exception has occurred"},
    {10100012, "A string could not be parsed as a URI reference"},
    {10100013, "The Character Encoding is not supported"},
    {10100014, "An error in the HTTP protocol has occurred"},
    {10100015, "An I/O exception of some sort has occurred"},
    {10100016, "An error has been reached unexpectedly while parsing"},
    {10100017, "A method has been invoked at an illegal or inappropriate time"},
    {10100018,
     "A timeout while connecting to an HTTP server or waiting for an available connection from an "
     "HttpConnectionManager"},
    {10100019, "No response has been received from a Server system"},
    {10100020, WalletRetry},
    {10100021, WalletRetry},
    {10200000, "SSL-related operations have failed"},
    {10200001, "An exception for all operations dealing with key management"},
    {10200002, "An exception if a key in the keystore cannot be recovered"},
    {10200003,
     "An exception when a particular cryptographic algorithm is requested but is not available in the "
     "environment"},
    {10200004, "The generic KeyStore exception"},
    {10200005, "One of a variety of certificate problems"},
    {10300000, "NAVOData is null"},
    {10300004, "NAVOData is invalid"},
    {10300005, "CMD is null"},
    {10300006, "SEID is null"},
    {10300007, "CPLC is null"},
    {10300008, "ServiceID is null"},
    {10300009, "SEID length is wrong"},
    {10300010, "CPLC length is wrong"},
    {10300011, "ServiceID length is wrong"},
    {10300012, "CPLC is different from eSE"},
    {10300013, "FCID is null"},
    {10300014, "A previous job is being executed"},
    {10400001, "eSE interface channel is opened"},
    {10400002, "eSE interface channel is closed"},
    {10400003, "Not found eSE. This device isn't a target device"},
    {10400004, "A job is being executed"},
    {10400005, "eSE interface channel is not closed"},
    {10400006, "No permission to access eSE"},
    {10400007, "No permission to use eSE"},
    {10400008, "A timeout has occurred on eSE open"},
    {10400009, "turn On or Off NFC for NAVOAgent"},
    {10500001, NotAvailable},
    {10500002, NotAvailable},
    {10500003, NotAvailable},
    {10500004, NotAvailable},
    {10500005, NotAvailable},
    {10500006, "Eligibility All mode is working. Please wait"},
    {10600002, "IP/Port is Successfully Changed"},
    {10600003, "IP/Port is Fail Changed"},
    {90202001, JobError},
    {90202002, JobError},
    {90202003, JobError},
    {90202004, JobError},
    {90202005, JobError},
    {90202007, JobError},
    {90202008, "The version of NAVO Agent isn't the latest version"},
    {90202009, "Invalid Authorization Code, The authorization code inserted is a wrong value"},
    {90202010, JobError},
    {90202011, JobError},
    {90202012, JobError},
    {100000000, "Deletion"},
    {100000001, "Research"},
    {100000002, "Status Inquiry"},
    {100000003, "Services Installation"},
    {100000004, "Service loading"},
    {100000005, "Key Changes"},
    {100000006, "Select Service"},
    {100000007, "Change of state"},
    {100000008, "Change Info"},
    {100000009, "Authentication request"},
    {100000010, "Authentication response"},
};

bool IsInBlock(int key) {
    return key >= 20100000 && key <= 20300025;
}

std::string ExpectedText(int key) {
    const auto irregular = IrregularTexts.find(key);
    if (irregular != IrregularTexts.end()) {
        return irregular->second;
    }
    if (KeysWithoutText.count(key) != 0 || (IsInBlock(key) && BlockKeysWithText.count(key) == 0)) {
        return "";
    }
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08d", key);
    return digits;
}

std::string ExpectedDescription(int key) {
    const auto description = Descriptions.find(key);
    return description != Descriptions.end() ? description->second : "";
}

}  // namespace

TEST(ResultCodeTable, HoldsEveryKeyInItsOrderAndEndsWithTheSentinel) {
    const ResultCodeEntry* row = ResultCodeTable;
    for (const auto& run : Runs) {
        for (int key = run.first; key <= run.second; ++key, ++row) {
            ASSERT_EQ(row->code, key);
        }
    }
    EXPECT_EQ(row->code, Sentinel);
    EXPECT_STREQ(row->codeText, "");
    EXPECT_STREQ(row->description, "");
    EXPECT_EQ(row - ResultCodeTable + 1, 200);
}

TEST(ResultCodeTable, GivesEveryKeyItsText) {
    for (const ResultCodeEntry* row = ResultCodeTable; row->code != Sentinel; ++row) {
        EXPECT_EQ(row->codeText, ExpectedText(row->code)) << row->code;
    }
}

TEST(ResultCodeTable, GivesEveryKeyItsDescription) {
    for (const ResultCodeEntry* row = ResultCodeTable; row->code != Sentinel; ++row) {
        EXPECT_EQ(row->description, ExpectedDescription(row->code)) << row->code;
    }
}

TEST(ResultCodeTable, FindsTheTextOfEveryKey) {
    for (const auto& run : Runs) {
        for (int key = run.first; key <= run.second; ++key) {
            EXPECT_EQ(ExpectedText(key), Na::FindCodeText(Na::ResultCode(key))) << key;
        }
    }
}

TEST(ResultCodeTable, HasNoTextForAnUnknownKey) {
    for (const int key : {-1, 10, 9999999, 10000006, 10600000, 12345, 100000011, Sentinel}) {
        EXPECT_STREQ(Na::FindCodeText(Na::ResultCode(key)), "") << key;
    }
}

TEST(ResultCodeTable, FindsTheKeyOfATextByTheFirstRowThatHasIt) {
    EXPECT_EQ(Na::FindCode("00000000"), Na::ResultCode::CommandSetToRun);
    EXPECT_EQ(Na::FindCode("00000001"), Na::ResultCode::Done);
    EXPECT_EQ(Na::FindCode(""), Na::ResultCode(3)) << "the first row without a text";
    EXPECT_EQ(Na::FindCode("10600001"), Na::ResultCode(10600002));
    EXPECT_EQ(Na::FindCode("10600002"), Na::ResultCode(10600003));
    EXPECT_EQ(Na::FindCode("20000001"), Na::ResultCode(20000000));
    EXPECT_EQ(Na::FindCode("20000004"), Na::ResultCode(20000003));
    EXPECT_EQ(Na::FindCode("20300025"), Na::ResultCode(20300025));
    EXPECT_EQ(Na::FindCode("82"), Na::ResultCode(100000010));
}

TEST(ResultCodeTable, ComparesTextsExactly) {
    for (const std::string text :
         {"0000000", "00000001 ", " 00000001", "a4", "77777777", "20000000", "999999999", "10600003"}) {
        EXPECT_EQ(Na::FindCode(text), Na::ResultCode::Unknown) << text;
    }
    EXPECT_EQ(Na::FindCode(std::string("00000001\0", 9)), Na::ResultCode::Unknown);
}

TEST(ResultCodeTable, TellsAnEmptyDescriptionFromAnUnknownText) {
    EXPECT_STREQ(Na::FindDescription("20100000"), "");
    EXPECT_STREQ(Na::FindDescription("90202006"), "");
    EXPECT_STREQ(Na::FindDescription(""), "");
    EXPECT_EQ(Na::FindDescription("77777777"), nullptr);
    EXPECT_EQ(Na::FindDescription("C0"), nullptr);
    EXPECT_STREQ(Na::FindDescription("E6"), "Services Installation");
}

TEST(ResultCodeTable, KnowsEveryCodeThatTheServiceSets) {
    const std::map<Na::ResultCode, std::string> texts = {
        {Na::ResultCode::CommandSetToRun, "00000000"},
        {Na::ResultCode::Done, "00000001"},
        {Na::ResultCode::UnknownError, "10000000"},
        {Na::ResultCode::WrongCommand, "10000001"},
        {Na::ResultCode::NoApdu, "10000002"},
        {Na::ResultCode::NetworkUnavailable, "10100000"},
        {Na::ResultCode::ConnectionRefused, "10100002"},
        {Na::ResultCode::TemporarilyUnavailable, "10100003"},
        {Na::ResultCode::MalformedUrl, "10100004"},
        {Na::ResultCode::HostUnreachable, "10100005"},
        {Na::ResultCode::ProtocolError, "10100007"},
        {Na::ResultCode::TimedOut, "10100009"},
        {Na::ResultCode::BadContentEncoding, "10100013"},
        {Na::ResultCode::UnsupportedRequest, "10100014"},
        {Na::ResultCode::MalformedCommandSet, "10100016"},
        {Na::ResultCode::NoResponseFromServer, "10100019"},
        {Na::ResultCode::RequestEmpty, "10300000"},
        {Na::ResultCode::CommandUnreadable, "10300004"},
        {Na::ResultCode::CommandMissing, "10300005"},
        {Na::ResultCode::ElementOpened, "10400001"},
        {Na::ResultCode::ElementNotClosed, "10400005"},
        {Na::ResultCode::ElementRefused, "10400006"},
        {Na::ResultCode::PleaseWait, "10500006"},
    };
    for (const auto& each : texts) {
        EXPECT_EQ(Na::FindCodeText(each.first), each.second);
    }
}
