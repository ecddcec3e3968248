// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "keyserver/provisioning/CardCommands.h"
#include "keyserver/provisioning/LoadFile.h"
#include "tests/support/keyserver/CatalogueSamples.h"

using namespace KeyServer;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class CatalogueReader : public testing::Test {
protected:
    std::string MistakeIn(const std::string& text) const {
        try {
            ParseCatalogue(text, "file.json", folder.Path());
        } catch (const ScriptError& error) {
            return error.what();
        }
        return {};
    }
    std::string ActionMistake(const std::string& action) const { return MistakeIn(CatalogueText(action)); }
    std::string ServiceMistake(const std::string& member) const {
        return MistakeIn(CatalogueText(R"({"do": "list"})", member));
    }
    static std::string WithKeys(const std::string& keys) {
        return R"({"cardKeys": [)" + keys +
               R"(], "services": [{"serviceId": "s", "actions": [{"do": "list"}]}]})";
    }

    TemporaryFolder folder;
};

constexpr char Key[] = "000102030405060708090A0B0C0D0E0F";
constexpr char Load[] = R"({"do": "load", "package": "A000000001", "file": "f")";

std::string Keys(const std::string& version) {
    return R"({"version": ")" + version + R"(", "enc": ")" + Key + R"(", "mac": ")" + Key + R"(", "dek": ")" +
           Key + "\"}";
}

}  // namespace

TEST_F(CatalogueReader, LeavesOutWhatChangesACardInADryRun) {
    const std::string text = R"({"dryRun": true, "cardKeys": [)" + Keys("01") +
                             R"(], "services": [{"serviceId": "s", "actions": [
        {"do": "list"}, {"do": "delete", "aid": "A000000841"}, {"do": "read", "tag": "66"}]}]})";
    const auto services = ParseCatalogue(text, "file.json", folder.Path());
    ASSERT_EQ(services.size(), 1U);
    EXPECT_EQ(services[0]->actions.size(), 2U);
    EXPECT_EQ(services[0]->Name(), "s (dry run, 1 action left out)");
}

TEST_F(CatalogueReader, NeedsSomethingThatADryRunMayDo) {
    const std::string text = R"({"dryRun": true, "cardKeys": [)" + Keys("01") +
                             R"(], "services": [{"serviceId": "s", "actions": [
        {"do": "delete", "aid": "A000000841"}]}]})";
    EXPECT_THAT(MistakeIn(text), StartsWith("file.json:1: /services/0/actions: a dry run leaves nothing"));
    EXPECT_THAT(
        MistakeIn(R"({"dryRun": "yes", "cardKeys": [)" + Keys("01") + R"(], "services": []})"),
        HasSubstr("/dryRun: must be true or false, not a text"));
}

TEST_F(CatalogueReader, NamesTheMistakesOfAllActionsAndServices) {
    const std::string text = R"({"cardKeys": [)" + Keys("01") + R"(], "services": [
{"serviceId": "a", "actions": [{"do": "fly"},
{"do": "delete"}]},
{"serviceId": "b", "actions": [{"do": "list"}], "colour": 1,
"security": "much"}]})";
    const std::string mistakes = MistakeIn(text);
    EXPECT_THAT(mistakes, HasSubstr("file.json:2: /services/0/actions/0"));
    EXPECT_THAT(mistakes, HasSubstr("file.json:3: /services/0/actions/1: the member \"aid\" is missing"));
    EXPECT_THAT(mistakes, HasSubstr("file.json:4: /services/1/colour: there is no such member"));
    EXPECT_THAT(mistakes, HasSubstr("file.json:5: /services/1/security: must be one of"));
}

TEST_F(CatalogueReader, SaysFilePlaceAndWhatWouldBeRight) {
    EXPECT_THAT(MistakeIn("{"), StartsWith("file.json: parse error at line 1"));
    EXPECT_EQ(MistakeIn("[]"), "file.json:1: the whole text: must be an object, not a list");
    EXPECT_EQ(MistakeIn("{}"), "file.json:1: the whole text: the member \"cardKeys\" is missing");
    EXPECT_THAT(
        MistakeIn(R"({"keys": 1})"), AllOf(StartsWith("file.json:1: /keys: "), HasSubstr("cardKeys")));
    EXPECT_EQ(MistakeIn(CatalogueText(R"({"do": "list"})")), "");
}

TEST_F(CatalogueReader, ChecksTheCardKeys) {
    EXPECT_EQ(MistakeIn(WithKeys("")), "file.json:1: /cardKeys: must hold at least one member");
    EXPECT_EQ(
        MistakeIn(WithKeys(R"({"version": "0102"})")),
        "file.json:1: /cardKeys/0/version: has 2 bytes; it must have 1");
    EXPECT_EQ(
        MistakeIn(WithKeys(R"({"version": 1})")),
        "file.json:1: /cardKeys/0/version: must be a text, not a number");
    EXPECT_THAT(MistakeIn(WithKeys(Keys("00"))), StartsWith("file.json:1: /cardKeys/0/version: version 00"));
    EXPECT_EQ(
        MistakeIn(WithKeys(Keys("01") + "," + Keys("01"))),
        "file.json:1: /cardKeys/1/version: there are keys of version 01 already");
    EXPECT_EQ(
        MistakeIn(WithKeys(R"({"version": "01", "enc": "00"})")),
        "file.json:1: /cardKeys/0/enc: has 1 bytes; it must have 16 to 32");
    const std::string key16(32, '0');
    const std::string key24(48, '0');
    EXPECT_EQ(
        MistakeIn(WithKeys(
            R"({"version": "01", "enc": ")" + key16 + R"(", "mac": ")" + key16 + R"(", "dek": ")" + key24 +
            R"("})")),
        "file.json:1: /cardKeys/0: the keys must have 16, 24 or 32 bytes, all the same");
    EXPECT_EQ(
        MistakeIn(WithKeys(R"({"version": "01", "enc": "0G"})")),
        "file.json:1: /cardKeys/0/enc: must be bytes in hexadecimal digits, two for each");
    EXPECT_EQ(
        MistakeIn(WithKeys(R"({"version": "01"})")),
        "file.json:1: /cardKeys/0: the member \"enc\" is missing");
}

TEST_F(CatalogueReader, ChecksWhatAServiceSaysOfItself) {
    EXPECT_THAT(
        ServiceMistake(R"("security": "high")"),
        AllOf(StartsWith("file.json:5: /services/0/security: "), HasSubstr("\"mac+encryption\"")));
    EXPECT_EQ(
        ServiceMistake(R"("keyVersion": "02")"),
        "file.json:5: /services/0/keyVersion: \"cardKeys\" has no keys of version 02");
    EXPECT_EQ(
        ServiceMistake(R"("hostChallenge": "01")"),
        "file.json:5: /services/0/hostChallenge: has 1 bytes; it must have 8");
    EXPECT_THAT(
        ServiceMistake(R"("seId": ["9Fxx*", "9F*7"])"), StartsWith("file.json:5: /services/0/seId/1: "));
    EXPECT_THAT(
        ServiceMistake(R"("commandsPerTurn": 0)"), StartsWith("file.json:5: /services/0/commandsPerTurn: "));
    EXPECT_THAT(
        ServiceMistake(R"("finalCode": "00000000")"), StartsWith("file.json:5: /services/0/finalCode: "));
    EXPECT_THAT(
        ServiceMistake(R"("misbehaviours": [{"kind": "naughty"}])"),
        StartsWith("file.json:5: /services/0/misbehaviours/0: "));
    EXPECT_THAT(ServiceMistake(R"("colour": "red")"), StartsWith("file.json:5: /services/0/colour: "));
    EXPECT_EQ(ServiceMistake(R"("seId": "9F7Fxx*")"), "");
}

TEST_F(CatalogueReader, WantsEachServiceOnce) {
    const std::string service = R"({"serviceId": ["a", "b"], "actions": [{"do": "list"}]})";
    EXPECT_EQ(
        MistakeIn(
            std::string(R"({"cardKeys": )") + SampleKeys + R"(, "services": [)" + service + "," + service +
            "]}"),
        "file.json:5: /services/1/serviceId: \"a\" is served already");
    const std::string file = folder.Write("one.json", CatalogueText(R"({"do": "list"})"));
    Catalogue catalogue;
    AddCatalogueFile(file, catalogue);
    EXPECT_NE(catalogue.Find("s"), nullptr);
    EXPECT_THROW(AddCatalogueFile(file, catalogue), ScriptError);
}

TEST_F(CatalogueReader, ChecksTheActions) {
    const std::string place = "file.json:5: /services/0/actions/0";
    EXPECT_EQ(
        MistakeIn(CatalogueText("")), "file.json:5: /services/0/actions: must hold at least one member");
    EXPECT_THAT(
        ActionMistake(R"({"do": "dance"})"), AllOf(StartsWith(place + "/do: "), HasSubstr("list, delete")));
    EXPECT_THAT(ActionMistake(R"({"do": "list", "of": "keys"})"), StartsWith(place + "/of: must be "));
    EXPECT_THAT(
        ActionMistake(R"({"do": "list", "aid": "00"})"), StartsWith(place + "/aid: there is no such"));
    EXPECT_EQ(ActionMistake(R"({"do": "delete"})"), place + ": the member \"aid\" is missing");
    EXPECT_EQ(
        ActionMistake(R"({"do": "delete", "aid": "A0000000"})"),
        place + "/aid: has 4 bytes; it must have 5 to 16");
    EXPECT_EQ(
        ActionMistake(R"({"do": "delete", "aid": "A000000001", "dependents": 1})"),
        place + "/dependents: must be true or false, not a number");
    EXPECT_EQ(
        ActionMistake(R"({"do": "putKey", "version": "02"})"),
        place + "/version: \"cardKeys\" has no keys of version 02");
    EXPECT_THAT(
        ActionMistake(R"({"do": "setStatus", "aid": "A000000001", "state": "80", "of": "x"})"),
        StartsWith(place + "/of: must be "));
    EXPECT_EQ(
        ActionMistake(R"({"do": "read", "tag": "9F7F01"})"),
        place + "/tag: has 3 bytes; it must have 1 to 2");
    EXPECT_THAT(
        ActionMistake(
            R"({"do": "install", "package": "A000000001", "module": "A000000001", "privileges": "0000"})"),
        StartsWith(place + "/privileges: "));
    EXPECT_THAT(
        ActionMistake(R"({"do": "personalise", "instance": "A000000001", "format": "x", "data": "00"})"),
        StartsWith(place + "/format: must be "));
}

TEST_F(CatalogueReader, RefusesDataThatHasNoRoomUnderTheSecurityLevel) {
    const auto personalise = [](std::size_t bytes) {
        return R"({"do": "personalise", "instance": "A000000001", "data": ")" + std::string(2 * bytes, '0') +
               "\"}";
    };
    EXPECT_EQ(ActionMistake(personalise(239)), "");
    EXPECT_EQ(
        ActionMistake(personalise(240)),
        "file.json:5: /services/0/actions/0/data: has 240 bytes; it must have 1 to 239");
    EXPECT_EQ(MistakeIn(CatalogueText(personalise(247), R"("security": "mac")")), "");
    EXPECT_NE(MistakeIn(CatalogueText(personalise(248), R"("security": "mac")")), "");
    EXPECT_EQ(MistakeIn(CatalogueText(personalise(255), R"("security": "none")")), "");
    EXPECT_NE(MistakeIn(CatalogueText(personalise(256), R"("security": "none")")), "");
}

TEST_F(CatalogueReader, ChecksTheLoadFile) {
    const std::string place = "file.json:5: /services/0/actions/0/file: ";
    EXPECT_THAT(ActionMistake(std::string(Load) + "}"), AllOf(StartsWith(place), EndsWith("cannot be read")));
    folder.Write("f", "");
    EXPECT_THAT(ActionMistake(std::string(Load) + "}"), StartsWith(place + "has 0 bytes"));
    folder.Write("f", "PK\x03\x04");
    EXPECT_THAT(ActionMistake(std::string(Load) + "}"), StartsWith(place + "is an archive"));
    folder.Write("f", "\xC4\x05only");
    EXPECT_THAT(ActionMistake(std::string(Load) + "}"), StartsWith(place + "begins like a load file"));
    folder.Write("f", std::string(300, 'x'));
    EXPECT_THAT(
        ActionMistake(std::string(Load) + R"(, "blockLength": 1})"),
        HasSubstr("takes 304 blocks of 1 bytes"));
    EXPECT_THAT(
        ActionMistake(std::string(Load) + R"(, "blockLength": 240})"),
        StartsWith("file.json:5: /services/0/actions/0/blockLength: "));
    EXPECT_EQ(ActionMistake(std::string(Load) + "}"), "");
}

TEST(LoadFile, IsWrappedUnlessItIsWholeAlready) {
    const LoadFile wrapped = MakeLoadFile("abc");
    EXPECT_EQ(GlobalPlatform::HexText(wrapped.data), "C403616263");
    EXPECT_EQ(  // FIPS 180-4's own example
        GlobalPlatform::HexText(wrapped.hash),
        "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD");
    const LoadFile whole = MakeLoadFile(
        "\xC4\x03"
        "abc");
    EXPECT_EQ(whole.data, wrapped.data);
    EXPECT_EQ(whole.hash, wrapped.hash);
    const auto authenticated = GlobalPlatform::FromHexText("E20A4F05A000000999C30101C403616263").value();
    const std::string text(authenticated.begin(), authenticated.end());
    EXPECT_EQ(MakeLoadFile(text).data, authenticated);
    EXPECT_EQ(MakeLoadFile(text).hash, wrapped.hash);
}

TEST(CardCommands, FollowTheirTables) {
    const GlobalPlatform::Bytes aid{0xA0, 0x00, 0x00, 0x00, 0x01};
    const auto text = [](const PlainCommand& command) {
        return GlobalPlatform::HexText(GlobalPlatform::EncodeCommand(command.apdu));
    };
    EXPECT_EQ(text(SelectCommand({})), "00A4040000");
    EXPECT_EQ(text(SelectCommand(aid)), "00A4040005A00000000100");
    EXPECT_EQ(text(DeleteCommand(aid, true, true)), "80E40080074F05A00000000100");
    EXPECT_EQ(text(GetDataCommand(0x9F7F, true)), "80CA9F7F00");
    EXPECT_EQ(text(GetStatusCommand(0x40, false)), "80F24002024F0000");
    EXPECT_EQ(text(GetStatusCommand(0x40, true)), "80F24003024F0000");
    EXPECT_EQ(text(SetStatusCommand(0x40, 0x80, aid)), "80F0408005A000000001");
    const auto load = LoadCommands({aid, {}, {}, {0xC4, 0x02, 0x01, 0x02}, {0x99}, 3});
    ASSERT_EQ(load.size(), 3U);
    EXPECT_EQ(text(load[0]), "80E602000B05A000000001000199000000");
    EXPECT_EQ(text(load[1]), "80E8000003C4020100");
    EXPECT_EQ(text(load[2]), "80E88001010200");
    EXPECT_EQ(
        text(InstallCommand({aid, aid, aid, {0x00}, {0xC9, 0x00}, true})),
        "80E60C001805A00000000105A00000000105A000000001010002C9000000");
    const auto personalise = PersonalisationCommands(aid, DataFormat::Dgi, {{0x01}, {0x02}});
    EXPECT_EQ(text(personalise[0]), "80E620000B000005A00000000100000000");
    EXPECT_EQ(text(personalise[1]), "80E208000101");
    EXPECT_EQ(text(personalise[2]), "80E288010102");
}

TEST(SeIdPattern, StandsForDigitsAndForARest) {
    EXPECT_TRUE(MatchesSeId("9f7f", "9F7F"));
    EXPECT_TRUE(MatchesSeId("9Fxx*", "9F7F2A47"));
    EXPECT_TRUE(MatchesSeId("*", ""));
    EXPECT_FALSE(MatchesSeId("9F7F", "9F7F2A"));
    EXPECT_FALSE(MatchesSeId("9F7F2A*", "9F7F"));
    EXPECT_FALSE(MatchesSeId("9F7E*", "9F7F"));
}
