// SPDX-License-Identifier: Apache-2.0
// Every mistake in a configuration is named with its line and key and with what would be right.
#include <gmock/gmock.h>

#include "device/configuration/Configuration.h"

using Device::Configuration;
using Device::ReadConfiguration;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

struct Wrong {
    const char* text;
    unsigned line;
    const char* place;
    const char* advice;  // part of what would be right
};

void PrintTo(const Wrong& wrong, std::ostream* stream) {
    *stream << wrong.text;
}

class Mistake : public testing::TestWithParam<Wrong> {};

constexpr char WholeFingerprint[] =
    "[visibility]\nplatform=00112233445566778899AABBCCDDEEFF00112233445566778899AABBCCDDEEFF\n"
    "public=00:11:22:33:44:55:66:77:88:99:aa:bb:cc:dd:ee:ff:00:11:22:33:44:55:66:77:88:99:aa:bb:cc:dd:ee:"
    "ff\n";

}  // namespace

TEST_P(Mistake, IsNamedWithItsPlaceAndWhatWouldBeRight) {
    const Configuration configuration = ReadConfiguration("/tmp/x/device.conf", GetParam().text);
    ASSERT_THAT(configuration.mistakes, SizeIs(1));
    EXPECT_TRUE(configuration.Broken());
    EXPECT_EQ(configuration.mistakes[0].line, GetParam().line);
    EXPECT_EQ(configuration.mistakes[0].place, GetParam().place);
    EXPECT_THAT(configuration.mistakes[0].problem, HasSubstr(GetParam().advice));
}

INSTANTIATE_TEST_SUITE_P(
    InSections, Mistake,
    testing::Values(
        Wrong{"\n[netwrok]\ntype=wifi\n", 2, "[netwrok]", "there are card, device, fault, "},
        Wrong{"[device of mine]\n", 1, "[device of mine]", "write [device]"},
        Wrong{"[sim 1]\n", 1, "[sim 1]", "write [sim 0]"}, Wrong{"[sim]\n", 1, "[sim]", "write [sim 0]"},
        Wrong{"[card ese]\n", 1, "[card ese]", "[card uicc]"},
        Wrong{"[package]\nversion=1\n", 1, "[package]", "[package com.example.wallet]"},
        Wrong{"[fault nfc_se_send]\nresult=1\n", 1, "[fault nfc_se_send]", "no platform function"},
        Wrong{"[fault vconf_get_str]\nfrom=2\n", 1, "[fault vconf_get_str]", "result=-1"},
        Wrong{
            "[fault nfc_se_get_atr]\nresult=1\n[fault nfc_se_get_atr_internal]\nresult=1\n", 3,
            "[fault nfc_se_get_atr_internal]", "keep one"}));

INSTANTIATE_TEST_SUITE_P(
    InKeys, Mistake,
    testing::Values(
        Wrong{"[device]\nmodel=x\n", 2, "[device] model", "the section has model-name, build-string"},
        Wrong{"[network]\nwifi=1\n", 2, "[network] wifi", "wifi-state"},
        Wrong{"[vconf]\nsalescode=NAV\n", 2, "[vconf] salescode", "db/csc/salescode"},
        Wrong{"[card]\nanswer 80C=9000\n", 2, "[card] answer 80C", "hexadecimal"},
        Wrong{"[card]\nanswer=9000\n", 2, "[card] answer", "answer COMMAND"},
        Wrong{"[visibility]\nplattform=\n", 2, "[visibility] plattform", "platform"},
        Wrong{"[trust]\nca-path=/etc\n", 2, "[trust] ca-path", "ca-file"}));

INSTANTIATE_TEST_SUITE_P(
    InValues, Mistake,
    testing::Values(
        Wrong{"[network]\n\ntype=wlan\n", 3, "[network] type", "wifi, cellular"},
        Wrong{"[network]\ntype=8\n", 2, "[network] type", "from 0 to 7"},
        Wrong{"[network]\nwifi-state=-1\n", 2, "[network] wifi-state", "from 0 to 3"},
        Wrong{"[network]\nwifi-state=on\n", 2, "[network] wifi-state", "disconnected, connected"},
        Wrong{"[network]\ncellular-state=\n", 2, "[network] cellular-state", "roaming-off"},
        Wrong{"[sim 0]\nmcc=26\n", 2, "[sim 0] mcc", "3 decimal digits"},
        Wrong{"[sim 0]\nmnc=1\n", 2, "[sim 0] mnc", "2 to 3 decimal digits"},
        Wrong{"[sim 0]\nimei=35000000000000X\n", 2, "[sim 0] imei", "decimal digits"},
        Wrong{"[sim 0]\nroaming=yes\n", 2, "[sim 0] roaming", "true nor false"},
        Wrong{"[nfc]\nsupported=1\n", 2, "[nfc] supported", "true nor false"},
        Wrong{"[card]\nback-end=pcsd\n", 2, "[card] back-end", "write software"},
        Wrong{
            "[card]\nback-end=pcsc\natr=3B\n", 3, "[card] atr",
            "the back-end pcsc has no such key; take the line away, or write back-end=software"},
        Wrong{"[card]\nreader=A\n", 2, "[card] reader", "write back-end=pcsc"},
        Wrong{"[card]\nrecording=a\n", 2, "[card] recording", "write back-end=replay"},
        Wrong{"[card]\nback-end=replay\n", 1, "[card]", "add a line such as recording="},
        Wrong{
            "[card]\nback-end=replay\nrecording=/nowhere/a\n", 3, "[card] recording",
            "/nowhere/a: the recording cannot be opened"},
        Wrong{
            "[card]\nback-end=replay\nrecording=/dev/null\n", 3, "[card] recording",
            "the recording is empty"},
        Wrong{"[card]\nback-end=pcsc\nshare=both\n", 3, "[card] share", "write exclusive or shared"},
        Wrong{"[card]\nback-end=pcsc\nprotocol=T=2\n", 3, "[card] protocol", "write T=0, T=1 or any"},
        Wrong{"[card]\nprotocol=any\n", 2, "[card] protocol", "write T=0 or T=1"},
        Wrong{"[card]\nkeys=00;00\n", 2, "[card] keys", "ENC,MAC,DEK"},
        Wrong{"[card]\nkeys=00;00;00\n", 2, "[card] keys", "16 to 32 bytes"},
        Wrong{
            "[card]\nkeys=000102030405060708090A0B0C0D0E0F;000102030405060708090A0B0C0D0E0F;"
            "000102030405060708090A0B0C0D0E0F1011121314151617\n",
            2, "[card] keys", "the same 16, 24 or 32 bytes"},
        Wrong{"[card]\nchannel-option=40\n", 2, "[card] channel-option", "00, 10, 20, 30, 60 or 70"},
        Wrong{"[card]\nkey-version=128\n", 2, "[card] key-version", "from 1 to 127"},
        Wrong{
            "[card]\nlife-cycle=0F\n", 2, "[card] life-cycle",
            "op-ready, initialized, secured, locked or terminated"},
        Wrong{"[card]\nauthentication-attempts=0\n", 2, "[card] authentication-attempts", "from 1"},
        Wrong{"[card]\nissuer-aid=A0\n", 2, "[card] issuer-aid", "5 to 16 bytes"},
        Wrong{"[card]\nsecure-channel=3\n", 2, "[card] secure-channel", "not known"},
        Wrong{"[card]\natr=3B0\n", 2, "[card] atr", "two hexadecimal digits"},
        Wrong{"[card]\ncplc=00\n", 2, "[card] cplc", "42 bytes"},
        Wrong{"[card]\nfree-memory=4294967296\n", 2, "[card] free-memory", "from 0 to 4294967295"},
        Wrong{"[card]\nanswer 00A4=\n", 2, "[card] answer 00A4", "\"empty\""},
        Wrong{"[card]\nanswer 00A4=9000*0\n", 2, "[card] answer 00A4", "from 1"},
        Wrong{"[card]\nanswer 00A4={4}9000\n", 2, "[card] answer 00A4", "00{300}"},
        Wrong{"[card]\nanswer 00A4=00{99999999}\n", 2, "[card] answer 00A4", "00{300}"},
        Wrong{"[card]\nanswer 00A4=00{1048576}9000\n", 2, "[card] answer 00A4", "1048576 bytes"},
        Wrong{"[visibility]\nplatform=0011\n", 2, "[visibility] platform", "openssl x509"},
        Wrong{WholeFingerprint, 3, "[visibility] public", "one visibility"},
        Wrong{
            "[package a.b]\ndistributor-root=nowhere.pem\n", 2, "[package a.b] distributor-root",
            "/tmp/x/nowhere.pem cannot be read"},
        Wrong{
            "[package a.b]\ndistributor-root=/dev/null\n", 2, "[package a.b] distributor-root",
            "no certificate"},
        Wrong{"[package a.b]\napplications=a;;b\n", 2, "[package a.b] applications", "one semicolon"},
        Wrong{"[packages]\ntrust-environment=maybe\n", 2, "[packages] trust-environment", "true nor false"},
        Wrong{"[trust]\nca-file=\n", 2, "[trust] ca-file", "no file is named"},
        Wrong{"[trust]\nca-file=/nowhere/ca.pem\n", 2, "[trust] ca-file", "cannot be read"},
        Wrong{
            "[fault vconf_get_str]\nresult=NFC_ERROR_FUNNY\n", 2, "[fault vconf_get_str] result",
            "NFC_ERROR_OPERATION_FAILED"},
        Wrong{"[fault vconf_get_str]\nresult=-1\nfrom=0\n", 3, "[fault vconf_get_str] from", "from 1"},
        Wrong{"[fault vconf_get_str]\nresult=-1\ntimes=x\n", 3, "[fault vconf_get_str] times", "from 1"}));

TEST(Mistakes, AreAllFoundInOneReading) {
    const Configuration configuration =
        ReadConfiguration("device.conf", "[network]\ntype=wlan\nspeed=5\n[sim 0]\nmcc=x\n[what]\n");
    std::vector<unsigned> lines;
    for (const Device::Mistake& mistake : configuration.mistakes) {
        lines.push_back(mistake.line);
    }
    EXPECT_THAT(lines, testing::ElementsAre(2, 3, 5, 6));
}

TEST(Mistakes, AreDescribedWithFileLineAndKey) {
    const Configuration configuration = ReadConfiguration("/etc/navo-device.conf", "[sim 0]\nmcc=x\n");
    ASSERT_THAT(configuration.mistakes, SizeIs(1));
    EXPECT_EQ(
        Describe(configuration, configuration.mistakes[0]),
        "/etc/navo-device.conf:2: [sim 0] mcc: \"x\" is not right; write 3 decimal digits, or nothing");
}
