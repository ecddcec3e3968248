// SPDX-License-Identifier: Apache-2.0
// Load files that domains verify and read. Clauses are those of GlobalPlatform Card 2.3.1; signature and
// encrypted code were worked out from its annex C with another library.
#include "tests/unit/card/DomainDesk.h"

namespace {

constexpr char Hash[] = "5DFBABEEDF318BF33C0927C43D7630F51B82F351740301354FA3D7FC51F0132E";
constexpr char ShortHash[] = "2CC429832452134629F1F6D296EC8AEFB4E4D8A9";
constexpr char Plain[] = "C4100102030405060708090A0B0C0D0E0F10";
constexpr char Signature[] = "5B69B1DDC36FDFBF337CE2A9596C0B0C";
constexpr char SignatureKey[] = "505152535455565758595A5B5C5D5E5F";
constexpr char CipherKey[] = "707172737475767778797A7B7C7D7E7F";
constexpr char Ciphered[] = "D4203E5698A00E410F26138154D774FCDCD50FD9235A77BC51A97DAC657490DA97C7";
constexpr char CipheredWithVector[] =
    "D310101112131415161718191A1B1C1D1E1F"
    "D420B9D5A8CC3DD8960F98F8917EB68D8764025D59FD30B762E49717B1183AA3525E";

// Made with the command openssl.
constexpr char RsaModulus[] =
    "EFE355883CFE84801A3D6B64B37E162E18B753431DA8F1F027B14E9B3BEB00B433375D8D76390AE5559EA99E87F8F106"
    "8A1F47CA4925939DECD4DB79B85D8DFD1B713CBF22E4A094AEB31F42ACFE1CB19C3A683BE8C70115F175D2196A8E7966"
    "8D5DFCBCE1F82FD417AA0F991548949A256AB07EA9805C912436916BED7C194F";
constexpr char RsaSignature[] =
    "532D8DE1C855E71B0F805906AC88F89579FBBB0476AD8C15AB48E02A60B55498F6B28851FBA5CD8ED25066FAA853F5BB"
    "0AD811DD2B14B5EE3B4FB548C49D32B4010D77EAF5D6F8089FD84F7B145BAB4055BCB637327B2386EFA6149ED0F665E5"
    "AE048EBD3806A0DDC034DA7C02646BEFED99C1F2A347C4882FE86447C5FD3ABA";

class LoadVerification : public DomainDesk {
protected:
    static constexpr char Verifier[] = "A0000001510001";
    static constexpr char LoadedFile[] = "A000000151C001";

    // A domain with a key of this version that verifies or reads load files.
    void MakeDomainWith(
        const std::string& privileges, const std::string& version, const std::string& key,
        const std::string& aid = Verifier) {
        MakeDomain(aid, privileges);
        EnterDomain(aid);
        ASSERT_EQ(StatusIn(SendWith("80D80001", version + KeyField(key))), "9000");
        EnterIssuer();
    }

    std::string LoadInto(const std::string& domain, const std::string& file, const std::string& hash = Hash) {
        const std::string begun =
            SendWith("80E60200", Field(LoadedFile) + Field(domain) + Field(hash) + "0000");
        EXPECT_EQ(begun, "009000");
        return SendWith("80E88000", file);
    }

    static std::string Block(const std::string& domain, const std::string& signature = Signature) {
        return "E2" + Field("4F" + Field(domain) + "C3" + Field(signature));
    }
};

}  // namespace

// 9.2.1 and C.3: the domain that gets a file has signed its hash.
TEST_F(LoadVerification, IsByTheDomainThatGetsTheFile) {
    MakeDomainWith("C0", "73", SignatureKey);
    EXPECT_EQ(LoadInto(Verifier, Plain), "6985");
    EXPECT_EQ(LoadInto(Verifier, Block(Verifier, std::string(32, '0')) + Plain), "6982");
    EXPECT_EQ(LoadInto(Verifier, Block(Issuer) + Plain), "6985");
    EXPECT_EQ(LoadInto(Verifier, Block(Domain) + Plain), "6985");
    EXPECT_EQ(LoadInto(Verifier, Block(Verifier) + Plain, ShortHash), "6985");  // table C-3
    EXPECT_EQ(LoadInto(Verifier, Block(Verifier) + Plain, ""), "6985");
    EXPECT_EQ(LoadInto(Verifier, Block(Verifier) + Plain), "009000");
    EXPECT_EQ(DomainOf(LoadedFile, "20"), Verifier);
    EXPECT_EQ(Delete(LoadedFile), "009000");
    EXPECT_EQ(LoadInto("", Plain), "009000");
    EXPECT_EQ(Extradite(LoadedFile, Verifier), "6985");  // 9.4.1
}

// 9.2.1: a block that nobody asked for is verified too, by a domain that is not locked; 5.3.2.4.
TEST_F(LoadVerification, IsOfEachBlock) {
    MakeDomainWith("C0", "73", SignatureKey);
    EXPECT_EQ(LoadInto("", Block(Verifier, std::string(32, '0')) + Plain), "6982");
    EXPECT_EQ(SendWith("80F0408F", Verifier), "9000");
    EXPECT_EQ(LoadInto("", Block(Verifier) + Plain), "6985");
    EXPECT_EQ(SendWith("80F0400F", Verifier), "9000");
    EXPECT_EQ(LoadInto("", Block(Verifier) + Plain), "009000");
}

// 9.3.5: with mandated verification, each file carries a signature, once the domain is personalized.
TEST_F(LoadVerification, MayBeMandated) {
    ASSERT_EQ(InstallDomain(Verifier, "C1"), "009000");
    EXPECT_EQ(LoadInto("", Plain), "009000");
    EXPECT_EQ(Delete(LoadedFile), "009000");
    Personalize(Verifier);
    EXPECT_EQ(LoadInto("", Plain), "6985");
    EXPECT_EQ(LoadInto("", Block(Verifier) + Plain), "6985");  // C.1.1: no key
    EnterDomain(Verifier);
    ASSERT_EQ(StatusIn(SendWith("80D80001", "73" + KeyField(SignatureKey))), "9000");
    EnterIssuer();
    EXPECT_EQ(LoadInto("", Block(Verifier) + Plain), "009000");
}

// 9.1.3.7, 11.6.2.3 and C.6: code that its domain alone can read, and no other code for that domain.
TEST_F(LoadVerification, ReadsEncryptedCode) {
    MakeDomainWith("808040", "75", CipherKey);
    EXPECT_EQ(LoadInto(Verifier, Plain), "6985");
    EXPECT_EQ(LoadInto("", Ciphered), "6985");
    EXPECT_EQ(LoadInto(Verifier, Ciphered, ShortHash), "6985");
    EXPECT_EQ(LoadInto(Verifier, Ciphered, ""), "6985");
    EXPECT_EQ(LoadInto(Verifier, std::string("D30111") + Ciphered), "6985");
    EXPECT_EQ(LoadInto(Verifier, "D4" + Field(std::string(62, '0'))), "6985");
    EXPECT_EQ(LoadInto(Verifier, "D4" + Field(std::string(64, '0'))), "6985");
    for (const char* file : {Ciphered, CipheredWithVector}) {
        const unsigned long before = FreeMemory();
        EXPECT_EQ(LoadInto(Verifier, file), "009000");
        EXPECT_EQ(FreeMemory(), before - 64 - 16);
        EXPECT_EQ(Delete(LoadedFile), "009000");
    }
}

// C.3 and B.3: a signature of RSA, as openssl makes it.
TEST_F(LoadVerification, IsWithKeysOfRsaToo) {
    MakeDomain(Verifier, "C0");
    EnterDomain(Verifier);
    ASSERT_EQ(SendWith("80D80001", std::string("73A180") + RsaModulus + "A00301000100"), "739000");
    EnterIssuer();
    const std::string block = "4F" + Field(Verifier) + "C38180" + RsaSignature;
    const std::string file =
        "E2"
        "818C" +
        block + Plain;
    EXPECT_EQ(LoadInto(Verifier, file), "009000");
}
