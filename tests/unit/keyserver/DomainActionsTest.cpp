// SPDX-License-Identifier: Apache-2.0
// Actions for security domains: their commands, byte for byte, and a whole course with the software card. The
// signatures were worked out from annex C of GlobalPlatform Card 2.3.1 with another library.
#include <gmock/gmock.h>

#include "card/SoftwareCard.h"
#include "globalplatform/Sha256.h"
#include "keyserver/provisioning/CardCommands.h"
#include "keyserver/provisioning/DomainCommands.h"
#include "keyserver/provisioning/LoadFile.h"
#include "keyserver/provisioning/Signing.h"
#include "keyserver/service/ApduText.h"
#include "tests/support/keyserver/CatalogueSamples.h"
#include "tests/support/keyserver/Samples.h"
#include "tests/unit/keyserver/PlayedCard.h"

using namespace KeyServer;
using GlobalPlatform::FromHexText;
using GlobalPlatform::HexText;
using testing::Contains;
using testing::HasSubstr;

namespace {

constexpr char Code[] = "0102030405060708090A0B0C0D0E0F10";
constexpr char Hash[] = "5DFBABEEDF318BF33C0927C43D7630F51B82F351740301354FA3D7FC51F0132E";
constexpr char LoadReceipt[] = "823A5E01CF4566B27178177DEBACF0BF0200000D99990100010102030405060708";

Bytes Hex(const std::string& text) {
    return FromHexText(text).value();
}

KeyComponents AesKey(const std::string& value) {
    return {{GlobalPlatform::KeyType::Aes, Hex(value)}};
}

std::string Text(const Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

LoadOrder SampleOrder() {
    LoadOrder order;
    order.package = Hex("A000000151C001");
    order.domain = order.receiver = Hex("A0000001510001");
    order.hash = Hex(Hash);
    order.fileData = Hex(std::string("C410") + Code);
    order.blockLength = 100;
    return order;
}

constexpr char Keys[] = R"(
  "cardKeys": [{"version": "01", "enc": "404142434445464748494A4B4C4D4E4F",
                "mac": "404142434445464748494A4B4C4D4E4F", "dek": "404142434445464748494A4B4C4D4E4F"}],
  "issuerDomain": "A000000151000000",
  "domains": [{"aid": "A0000001510001", "keys": [
    {"version": "30", "enc": "505152535455565758595A5B5C5D5E5F",
     "mac": "505152535455565758595A5B5C5D5E5F", "dek": "505152535455565758595A5B5C5D5E5F"}]}],
  "signatureKeys": [{"name": "token", "aes": "606162636465666768696A6B6C6D6E6F"},
                    {"name": "receipt", "aes": "303132333435363738393A3B3C3D3E3F"},
                    {"name": "dap", "des": "505152535455565758595A5B5C5D5E5F"}])";

// The domain with delegated management and DAP verification comes to be, and then it manages.
constexpr char Services[] = R"([
  {"serviceId": "found", "actions": [
    {"do": "storeKey", "key": "token", "version": "70"},
    {"do": "storeKey", "key": "receipt", "version": "71"},
    {"do": "installDomain", "aid": "A0000001510001", "privileges": "E08000"},
    {"do": "enter", "domain": "A0000001510001"},
    {"do": "putKey", "version": "30"},
    {"do": "storeKey", "key": "dap", "version": "73"},
    {"do": "setStatus", "aid": "A0000001510001", "state": "0F"},
    {"do": "enter", "domain": "A000000151000000"},
    {"do": "list", "of": "applications"}]},
  {"serviceId": "manage", "securityDomain": "A0000001510001", "tokenKey": "token", "receiptKey": "receipt",
   "actions": [
    {"do": "load", "file": "code", "package": "A000000151C001",
     "signedBy": {"domain": "A0000001510001", "key": "dap"}},
    {"do": "install", "package": "A000000151C001", "module": "A000000151C00101"},
    {"do": "updateRegistry", "aid": "A000000151C00101", "privileges": "10"},
    {"do": "personalise", "instance": "A000000151C00101", "data": "010102AABB"},
    {"do": "extradite", "aid": "A000000151C00101", "to": "A000000151000000"},
    {"do": "extradite", "aid": "A000000151C001", "to": "A000000151000000"},
    {"do": "list", "of": "applications"}]}])";

class DomainActions : public testing::Test {
protected:
    std::vector<std::shared_ptr<const CardService>> Read(
        const std::string& services = Services, const std::string& keys = Keys) {
        return ParseCatalogue("{" + keys + ", \"services\": " + services + "}", "sample", folder.Path());
    }

    // The last turn; what was found on the way goes to the notes.
    Turn Run(const CardService& service) {
        card.Reset();
        const auto dialogue = service.Open(AnyOpening());
        Turn turn = dialogue->Begin();
        for (int sets = 0; !turn.Ends() && sets < 100; ++sets) {
            std::string responses;
            for (const std::string& command : ParseResponseSet(turn.commandSet).responses) {
                responses += "/01" + HexText(card.Transmit(Hex(command)));
            }
            turn = dialogue->Continue(ParseResponseSet(responses));
            notes.insert(notes.end(), turn.notes.begin(), turn.notes.end());
        }
        return turn;
    }

    std::string Complaint(const std::string& action, const std::string& keys = Keys) {
        try {
            Read(R"([{"serviceId": "s", "actions": [)" + action + "]}]", keys);
        } catch (const ScriptError& error) {
            return error.what();
        }
        return "";
    }

    const TemporaryFolder folder;
    Card::SoftwareCard card{Card::Options()};
    std::vector<std::string> notes;
};

}  // namespace

// C.4.
TEST(Signing, PutsTokensIntoCommands) {
    std::vector<PlainCommand> commands = LoadCommands(SampleOrder());
    AddToken(commands.front(), AesKey("606162636465666768696A6B6C6D6E6F"));
    EXPECT_EQ(
        HexText(commands.front().apdu.data),
        std::string("07A000000151C00107A000000151000120") + Hash + "0010623CFCD7C956EAABCC37203EF656DE55");
    const Bytes load = commands.back().apdu.data;
    AddToken(commands.back(), AesKey("606162636465666768696A6B6C6D6E6F"));
    EXPECT_EQ(commands.back().apdu.data, load);
    PlainCommand deletion = DeleteCommand(Hex("A000000151C001"), false, false);
    AddToken(deletion, AesKey("606162636465666768696A6B6C6D6E6F"));
    EXPECT_EQ(HexText(deletion.apdu.data), "4F07A000000151C0019E1013B2016D8B309A0E4D124131A2FE76F0");
}

// C.5 and 11.1.6.
TEST(Signing, ChecksReceipts) {
    const PlainCommand command = LoadCommands(SampleOrder()).back();
    const KeyComponents key = AesKey("303132333435363738393A3B3C3D3E3F");
    EXPECT_EQ(CheckReceipt(command, {Hex(std::string("2210") + LoadReceipt), "9000"}, key), 0U);
    for (const char* wrong : {"00", "", "2210"}) {
        EXPECT_THROW(static_cast<void>(CheckReceipt(command, {Hex(wrong), "9000"}, key)), CardProblem);
    }
    Bytes forged = Hex(std::string("2210") + LoadReceipt);
    forged[5] ^= 1;
    try {
        static_cast<void>(CheckReceipt(command, {forged, "9000"}, key));
        ADD_FAILURE() << "a forged receipt is right";
    } catch (const CardProblem& problem) {
        EXPECT_EQ(problem.Code(), ResultCode::WrongCryptogram);
    }
}

// C.3 and 11.6.2.3.
TEST(Signing, AuthenticatesLoadFiles) {
    const Signer signer{Hex("A0000001510001"), AesKey("505152535455565758595A5B5C5D5E5F")};
    const LoadFile file = MakeLoadFile(Text(Hex(Code)), {signer});
    EXPECT_EQ(HexText(file.hash), Hash);
    EXPECT_EQ(
        HexText(file.data),
        std::string("E21B4F07A0000001510001C3105B69B1DDC36FDFBF337CE2A9596C0B0CC410") + Code);
}

// 11.8.2.3 and Amendment D, 7.2.1, as it was worked out; ECC with its point in the clear.
TEST(DomainCommands, PutKeysOfEveryKind) {
    const Bytes transport = Hex("404142434445464748494A4B4C4D4E4F");
    KeyOrder order;
    order.version = 0x70;
    order.key = AesKey("505152535455565758595A5B5C5D5E5F");
    EXPECT_EQ(
        HexText(StoreKeyCommand(order, transport).apdu.data),
        "70881110C62E5212589B9EAF19AE940D03C3B7C203F2A8DF");
    EXPECT_EQ(HexText(StoreKeyConfirmation(order)), "70F2A8DF");
    order.key = {{0xB0, Hex("04" + std::string(128, 'A'))}, {0xF0, {0x00}}};
    EXPECT_EQ(
        HexText(StoreKeyCommand(order, transport).apdu.data),
        "70B04104" + std::string(128, 'A') + "F0010000");
    EXPECT_EQ(HexText(StoreKeyConfirmation(order)), "70");
}

// Tables 11-45 and 11-46.
TEST(DomainCommands, FollowTheirTables) {
    const ExtraditionOrder move{{}, Hex("A000000151C001"), Hex("A0000001510001")};
    EXPECT_EQ(HexText(ExtraditionCommand(move).apdu.data), "07A00000015100010007A000000151C001000000");
    const PlainCommand update = RegistryUpdateCommand({{{}, move.object, {}}, Hex("10"), Hex("EF00")});
    EXPECT_EQ(update.apdu.p1, 0x40);
    EXPECT_EQ(HexText(update.apdu.data), "000007A000000151C001011002EF0000");
}

TEST_F(DomainActions, FoundADomainThatManagesUnderDelegation) {
    folder.Write("code", Text(Hex(Code)));
    const auto services = Read();
    const Turn founded = Run(*services.front());
    EXPECT_EQ(founded.resultCode, ResultCode::Success) << founded.description;
    EXPECT_THAT(notes, Contains(HasSubstr("A0000001510001: personalised, privileges E08000")));
    notes.clear();
    const Turn managed = Run(*services.back());
    EXPECT_EQ(managed.resultCode, ResultCode::Success) << managed.description;
    for (const char* receipt : {"receipt 0 of LOAD", "receipt 1 of INSTALL [for install", "receipt 4 of"}) {
        EXPECT_THAT(notes, Contains(HasSubstr(receipt)));
    }
    EXPECT_THAT(notes, Contains("channel opened with keys of version 30"));
}

TEST_F(DomainActions, EndWithAReceiptOfAnotherKey) {
    folder.Write("code", Text(Hex(Code)));
    ASSERT_EQ(Run(*Read().front()).resultCode, ResultCode::Success);
    std::string services = Services;
    const std::string right = R"("receiptKey": "receipt")";
    services.replace(services.find(right), right.size(), R"("receiptKey": "dap")");
    const Turn turn = Run(*Read(services).back());
    EXPECT_EQ(turn.resultCode, ResultCode::WrongCryptogram);
    EXPECT_THAT(turn.description, HasSubstr("the receipt of LOAD"));
}

TEST_F(DomainActions, AreCheckedWhenTheCatalogueIsRead) {
    EXPECT_THAT(Complaint(R"({"do": "enter", "domain": "A0000001510002"})"), HasSubstr("\"domains\" has no"));
    EXPECT_THAT(
        Complaint(R"({"do": "storeKey", "key": "none", "version": "70"})"),
        HasSubstr("\"signatureKeys\" has no key \"none\""));
    EXPECT_THAT(
        Complaint(R"({"do": "installDomain", "aid": "A0000001510002", "privileges": "8000"})"),
        HasSubstr("must have 1 or 3 bytes"));
    EXPECT_THAT(Complaint(R"({"do": "extradite", "aid": "A0000001510002"})"), HasSubstr("to"));
    EXPECT_THAT(Complaint(R"({"do": "updateRegistry", "more": 1})"), HasSubstr("more"));
    const auto complaint = [this](const std::string& from, const std::string& to) {
        std::string keys = Keys;
        keys.replace(keys.find(from), from.size(), to);
        return Complaint(R"({"do": "list"})", keys);
    };
    EXPECT_THAT(complaint("\"dap\", \"des\"", "\"token\", \"des\""), HasSubstr("already"));
    EXPECT_THAT(complaint("\"aes\": \"60", "\"aes\": \"6060"), HasSubstr("no key can be so"));
    EXPECT_THAT(
        complaint(R"("des": "505152535455565758595A5B5C5D5E5F")", R"("ecc": {"curve": "00"})"),
        HasSubstr("either"));
    EXPECT_THAT(
        complaint(
            R"("des": "505152535455565758595A5B5C5D5E5F")", R"("ecc": {"curve": "09", "private": "01"})"),
        HasSubstr("no key can be so"));
    EXPECT_EQ(
        complaint(
            R"("des": "505152535455565758595A5B5C5D5E5F")", R"("ecc": {"curve": "00", "private": "01"})"),
        "");
}
