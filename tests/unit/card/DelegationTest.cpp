// SPDX-License-Identifier: Apache-2.0
// Delegated management: tokens and receipts. Clauses are those of GlobalPlatform Card 2.3.1; the signatures
// with AES were worked out from its annex C with another library.
#include "globalplatform/Signature.h"
#include "tests/unit/card/DomainDesk.h"

namespace {

constexpr char Hash[] = "5DFBABEEDF318BF33C0927C43D7630F51B82F351740301354FA3D7FC51F0132E";
constexpr char Code[] = "0102030405060708090A0B0C0D0E0F10";
constexpr char TokenKey[] = "606162636465666768696A6B6C6D6E6F";
constexpr char ReceiptKey[] = "303132333435363738393A3B3C3D3E3F";
constexpr char LoadToken[] = "623CFCD7C956EAABCC37203EF656DE55";
constexpr char DeleteToken[] = "13B2016D8B309A0E4D124131A2FE76F0";
constexpr char LoadReceipt[] = "823A5E01CF4566B27178177DEBACF0BF";
constexpr char ConfirmationData[] = "0200000D99990100010102030405060708";

// Made with the command openssl.
constexpr char TokenPoint[] =
    "04935B8667C70DA5AD8397034D3BD9C452B1C9F6B0AB07AF653998C7C21956F681D3A73A29456B7938EB0F0F824B4244"
    "56F497D345DEBC3FB66237D8175697CB6A";
constexpr char TokenSecret[] = "009AF5450A453D4924E6B4F66815A8F4B03CFE1F55C6124F55F9F9CFB246CC66";
constexpr char EllipticLoadToken[] =
    "EB3B08BC27A3C8DBD25D17BDD4DC8C0EE19F710D3B434AB0812D7A5C6E021917E34CD59A713C4A7120BE835F30457AC0"
    "4C1D95620819AF9ADAF902AE0433C734";

class Delegation : public DomainDesk {
protected:
    Delegation() {
        EXPECT_EQ(Send("80E29000 0A 4508 0102030405060708"), "9000");
        PutKeyOfVersion("70", TokenKey);
        PutKeyOfVersion("71", ReceiptKey);
        MakeDomain(Delegate, "A08000");
        EnterDomain(Delegate);
    }

    void PutKeyOfVersion(const std::string& version, const std::string& key) {
        EXPECT_EQ(StatusIn(SendWith("80D80001", version + KeyField(key))), "9000");
    }

    static std::string Signed(const std::string& text) {
        return GlobalPlatform::HexText(GlobalPlatform::AesCmac(FromHex(TokenKey), FromHex(text)));
    }

    // A form of INSTALL with the token over P1, P2 and its fields, C.4.
    std::string InstallWithToken(const std::string& parameters, const std::string& fields) {
        const std::string token = Signed(parameters + Length(fields) + fields);
        return SendWith("80E6" + parameters, fields + Field(token));
    }

    std::string LoadFields() const { return Field(LoadedFile) + Field(Delegate) + Field(Hash) + "00"; }

    std::string Load(const std::string& token = LoadToken) {
        const std::string begun = SendWith("80E60200", LoadFields() + Field(token));
        return begun == "009000" ? Send(std::string("80E88000 12 C410") + Code) : begun;
    }

    // What confirms a command by the counter and the fields that its receipt is over, C.5.
    static std::string Confirmed(
        unsigned counter, const std::string& fields, const std::string& number = "") {
        const std::string data = "02" + GlobalPlatform::HexText(GlobalPlatform::BigEndian(counter, 2)) +
                                 std::string(ConfirmationData).substr(6) + number;
        const std::string receipt =
            GlobalPlatform::HexText(GlobalPlatform::AesCmac(FromHex(ReceiptKey), FromHex(data + fields)));
        return Field(Field(receipt) + data) + "9000";
    }

    static constexpr char Delegate[] = "A0000001510001";
    static constexpr char LoadedFile[] = "A000000151C001";
    static constexpr char LoadedModule[] = "A000000151C00101";
    static constexpr char Loaded[] = "A000000151C00102";
};

}  // namespace

// C.4, C.5 and 11.1.6: as it was worked out.
TEST_F(Delegation, LoadsWithATokenAndGetsAReceipt) {
    EXPECT_EQ(Load(), std::string("2210") + LoadReceipt + ConfirmationData + "9000");
    EXPECT_EQ(DomainOf(LoadedFile, "20"), Delegate);
    EXPECT_EQ(
        SendWith("80E40000", "4F" + Field(LoadedFile) + "9E" + Field(DeleteToken)),
        Confirmed(1, Field(LoadedFile)));
    EXPECT_EQ(Send("80CA00C200"), "6A88");
    EnterIssuer();
    EXPECT_EQ(Send("80CA00C200"), "C20200029000");
}

// 9.1.3.3 and 11.5.2.3.1: with delegated management a token has to be there, and to be right.
TEST_F(Delegation, RefusesWhatItHasNoTokenFor) {
    EXPECT_EQ(Load(""), "6985");
    EXPECT_EQ(Load(std::string(LoadToken).replace(0, 1, "7")), "6982");
    EXPECT_EQ(Load(LoadToken), "2210" + std::string(LoadReceipt) + ConfirmationData + "9000");
    EXPECT_EQ(Delete(LoadedFile), "6985");
    EXPECT_EQ(SendWith("80E40000", "4F" + Field(LoadedFile) + "9E" + Field(LoadToken)), "6982");
    EXPECT_EQ(InstallDomain(Domain), "6985");
}

// 11.5.2.3.1 and table C-3: with a token there is a hash, which is as strong as the token.
TEST_F(Delegation, WantsAHashThatIsStrongEnough) {
    for (const std::string hash : {"", "2CC429832452134629F1F6D296EC8AEFB4E4D8A9"}) {
        EXPECT_EQ(InstallWithToken("0200", Field(LoadedFile) + Field(Delegate) + Field(hash) + "00"), "6A80");
    }
}

// C.1.1: without a key that verifies or signs, nothing is delegated; 9.1.3.6.
TEST_F(Delegation, FailsWithoutTheKeys) {
    EnterIssuer();
    EXPECT_EQ(Send("80E40000 03 D20171"), "009000");
    EnterDomain(Delegate);
    EXPECT_EQ(Load(), "6985");
    EXPECT_EQ(Entry(LoadedFile, "4F", "20"), "");
    EnterIssuer();
    PutKeyOfVersion("71", ReceiptKey);
    EXPECT_EQ(Send("80E40000 03 D20170"), "009000");
    EnterDomain(Delegate);
    EXPECT_EQ(Load(), "6985");
}

// Tables C-5, C-6, C-12: install, then make selectable.
TEST_F(Delegation, InstallsAndMakesSelectable) {
    Load();
    const std::string names = Field(LoadedFile) + Field(LoadedModule) + Field(Loaded);
    EXPECT_EQ(
        InstallWithToken("0400", names + "010002C900"), Confirmed(1, Field(LoadedFile) + Field(Loaded)));
    EXPECT_EQ(
        InstallWithToken("0800", "0000" + Field(Loaded) + "010000"),
        Confirmed(2, Field(LoadedFile) + Field(Loaded)));
    EXPECT_EQ(StateOf(Loaded), "07");
    EXPECT_EQ(DomainOf(Loaded), Delegate);
    const std::string next = Field(LoadedFile) + Field(LoadedModule) + Field("A000000151C00103");
    EXPECT_EQ(
        InstallWithToken("0C00", next + "010002C900"),
        Confirmed(3, Field(LoadedFile) + Field("A000000151C00103")));
}

// Tables C-7, C-8, C-13 and C-14.
TEST_F(Delegation, ExtraditesAndUpdates) {
    Load();
    const std::string names = Field(LoadedFile) + Field(LoadedModule) + Field(Loaded);
    EXPECT_EQ(StatusIn(InstallWithToken("0C00", names + "010002C900")), "9000");
    EXPECT_EQ(
        InstallWithToken("4000", "0000" + Field(Loaded) + "011000"),
        Confirmed(2, Field(Delegate) + Field(Loaded) + "00011000"));
    EXPECT_EQ(PrivilegesOf(Loaded), "100000");
    EXPECT_EQ(
        InstallWithToken("1000", Field(Issuer) + "00" + Field(Loaded) + "0000"),
        Confirmed(3, Field(Delegate) + Field(Loaded) + Field(Issuer)));
    EXPECT_EQ(StateOf(Loaded), "");
}

// Tables C-10 and C-16: one token over both commands, in the last one.
TEST_F(Delegation, CombinesLoadingAndInstallation) {
    const std::string first = LoadFields();
    const std::string last = "00" + Field(LoadedModule) + Field(Loaded) + "010002C900";
    const std::string text = "0E01" + Length(first) + first + "0E03" + Length(last) + last;
    EXPECT_EQ(SendWith("80E60E01", first + Field(LoadToken)), "6A80");
    for (const bool right : {false, true}) {
        EXPECT_EQ(SendWith("80E60E01", first + "00"), "009000");
        EXPECT_EQ(Send(std::string("80E88000 12 C410") + Code), "009000");
        const std::string token = right ? Signed(text) : LoadToken;
        EXPECT_EQ(
            SendWith("80E60E03", last + Field(token)),
            right ? Confirmed(0, Field(LoadedFile) + Field(Loaded) + Field(Delegate)) : "6982");
    }
    EXPECT_EQ(DomainOf(LoadedFile, "20") + StateOf(Loaded), std::string(Delegate) + "07");
}

// C.4 and 11.1.6: the control reference names who verifies, and the token's number, which the receipt
// repeats.
TEST_F(Delegation, FollowsTheControlReference) {
    Load();
    const auto deletion = [this](const std::string& reference) {
        const std::string objects = "4F" + Field(LoadedFile) + "B6" + Field(reference);
        return SendWith("80E40000", objects + "9E" + Field(Signed("0000" + Length(objects) + objects)));
    };
    EXPECT_EQ(deletion("42059999010002"), "6985");
    EXPECT_EQ(deletion("45080102030405060709"), "6985");
    EXPECT_EQ(deletion("42"), "6A80");
    EXPECT_EQ(
        deletion("42059999010001450801020304050607085F2001AA9302ABCD"),
        Confirmed(1, Field(LoadedFile), "02ABCD"));
}

// 9.1.3.3: there is a delegation only below a domain that manages by its own authority.
TEST_F(Delegation, EndsWithTheHierarchy) {
    EnterIssuer();
    ASSERT_EQ(Extradite(Delegate, Delegate), "009000");
    EnterDomain(Delegate);
    EXPECT_EQ(Load(), "6985");
}

// 9.1.3.1 and 9.1.3.6: the nearest domains above that may; the receipts of each are counted by itself.
TEST_F(Delegation, IsVerifiedAndConfirmedByTheNearestAbove) {
    EnterIssuer();
    MakeDomain(Domain, "80E080");
    EnterDomain(Domain);
    ASSERT_EQ(Send("80E29000 03 420155"), "9000");
    ASSERT_EQ(StatusIn(SendWith("80D80001", "70" + KeyField(DomainKey))), "9000");
    EnterIssuer();
    ASSERT_EQ(Extradite(Delegate, Domain), "009000");
    EnterDomain(Delegate);
    EXPECT_EQ(Load(), "6982");
    EnterDomain(Domain);
    ASSERT_EQ(Send("80E40000 03 D20170"), "009000");
    ASSERT_EQ(StatusIn(SendWith("80D80001", "70" + KeyField(TokenKey))), "9000");
    ASSERT_EQ(StatusIn(SendWith("80D80001", "71" + KeyField(ReceiptKey))), "9000");
    EnterDomain(Delegate);
    const std::string answer = Load();
    EXPECT_EQ(
        answer.substr(36),
        "0200000155"
        "9000");
    EnterDomain(Domain);
    EXPECT_EQ(Send("80CA00C200"), "C20200019000");
    EnterIssuer();
    EXPECT_EQ(Send("80CA00C200"), "C20200009000");
}

// 6.6.2: what manages by a token has neither its own authority nor that of tokens and receipts.
TEST_F(Delegation, ExcludesAuthority) {
    EnterIssuer();
    for (const char* privileges : {"A0C000", "A0A000", "A08080", "818000"}) {
        EXPECT_EQ(InstallDomain(Domain, privileges), "6A80") << privileges;
    }
    EXPECT_EQ(InstallDomain(Domain, "E10000"), "009000");
}

// C.4 and B.4: with ECDSA, the token as openssl signs it; a receipt comes out as C.5 has it, and never twice
// the same.
TEST_F(Delegation, TakesTokensAndGivesReceiptsOfEllipticCurves) {
    EnterIssuer();
    EXPECT_EQ(Send("80E40000 03 D20170"), "009000");
    EXPECT_EQ(Send("80E40000 03 D20171"), "009000");
    EXPECT_EQ(SendWith("80D80001", "70B0" + Field(TokenPoint) + "F0010000"), "709000");
    const std::string secret = GlobalPlatform::HexText(
        GlobalPlatform::AesEncryptCbc(FromHex(IssuerKey), Bytes(16), FromHex(TokenSecret)));
    EXPECT_EQ(SendWith("80D80001", "71B1" + Field("20" + secret) + "F0010000"), "719000");
    EnterDomain(Delegate);
    EXPECT_EQ(Load(), "6982");
    const std::string answer = Load(EllipticLoadToken);
    EXPECT_EQ(answer.substr(0, 4) + answer.substr(132), std::string("5240") + ConfirmationData + "9000");
    const GlobalPlatform::KeyComponents key = {{0xB0, FromHex(TokenPoint)}, {0xF0, {0x00}}};
    EXPECT_TRUE(GlobalPlatform::VerifySignature(
        key, FromHex(ConfirmationData + Field(LoadedFile) + Field(Delegate)),
        FromHex(answer.substr(4, 128))));
}
