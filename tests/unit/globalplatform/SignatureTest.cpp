// SPDX-License-Identifier: Apache-2.0
// Signatures of tokens, receipts and load files. Keys of RSA and ECC and what they signed were made with the
// command openssl; clauses are those of GlobalPlatform Card 2.3.1.
#include "globalplatform/Signature.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "globalplatform/Aes.h"
#include "globalplatform/Des.h"
#include "globalplatform/Token.h"

using namespace GlobalPlatform;

namespace {

constexpr char RsaModulus[] =
    "EFE355883CFE84801A3D6B64B37E162E18B753431DA8F1F027B14E9B3BEB00B433375D8D76390AE5559EA99E87F8F106"
    "8A1F47CA4925939DECD4DB79B85D8DFD1B713CBF22E4A094AEB31F42ACFE1CB19C3A683BE8C70115F175D2196A8E7966"
    "8D5DFCBCE1F82FD417AA0F991548949A256AB07EA9805C912436916BED7C194F";
constexpr char RsaExponent[] =
    "2CEB74E8BE032AEC91FD4E4EDD0D8F39B28721A03FBD9310555E6E49C33E8E333023FDF0AF629F17B2A0B3426C53C14E"
    "682ED3529DBFDB9486F494E486117EB4B9CE72E709F2540E5809A1D71A33DDE741E1E24325AE31AAE08312445A81C7DC"
    "040758D2F6C87040E002FD6ED698478083EDDBA49B2CE323031CC691729DE701";
constexpr char RsaFirstPrime[] =
    "FA6120B8F2CFEB97FD5A390C1F680AB5B3DE7EEF1C7A3D8DB6D746F3C0F55A3B555A278EBDD3909FFBAB3E33CAF224D5"
    "7D32B87054E42A69ED48E39F6EB61319";
constexpr char RsaSecondPrime[] =
    "F545EA2DA35E82E86A169B6F0ADAA84802DEA97203AD6739149CD115600A8DB12540FA58DF2624D9A71892467FED0170"
    "FA06948AAF07B453243DEA3F741B44A7";
constexpr char RsaInverse[] =
    "7E6FA5F4B4EC0C83A39540577703F77097D8F31E9C6B29F02B20777353B5F01F5FDBE5A678218442333820A3845A75B5"
    "DA15B0BD33BE2F8D7B75CAE9DD1EFCDF";
constexpr char RsaFirstExponent[] =
    "979F0FD8D039B71AC072CD8F18C9C18A8D55149B2A2CA06FDC247BB40ACAC98C9AC050AA312C182DB992D6C53885F066"
    "543DCDD140A73744144C8A8336E10DA9";
constexpr char RsaSecondExponent[] =
    "64FED700D7E690ECF6D23C4AAB23826BB492CF1F1D98878A9F8C3B241C19FC62573EBC575FFBAAECDCBB677014391980"
    "D5D363D2FF63A2C32187452FBFB582BD";
constexpr char RsaSignature[] =
    "098209A8C0B237BE7663E37DD3DEBF2FC084E4142863BC1508643F9C3D72BA7023FF30BA5EC0CC6EB9AADD78BA3681F0"
    "2B2D68EEAA71F8ECC72C46F6D37EB59203073DC565A2A876849018ADCDC329708310E9C1257516252C39D5C344D68981"
    "09A4459EFB40A55EFC2E2FBA359FDA050909CEC0FB81B31982982C860C14D2C4";
constexpr char LongRsaModulus[] =
    "E9A067C93EC62DECECC21FC27EAB0710A7B33975F2ADA908784AE9854B48ABD97F948159AEFA025D6FBA7EE9F744E9FC"
    "0A4B5B5F02CD97E0D1FDEC0443A62597F8697780B1DC7FBB2BEF33F4A1620559D783FA3DA4A34A8811093C2E878DCCC5"
    "C5B3874D7D32683F4B37F970E1635F582E3F612A791FAB54218BE1EDC6093648FF0C15861CAD2FB841DC70963CB454E2"
    "9041C28A1D1676206CCB5DDC2C738B1EBB463E367CB8D4B29E8DEB4A301F68251CA0F1EF7C069F55A329F09B4E8998DC"
    "066B434A6F04C3BA25A95BDE9F4377ACF4BB19437D92BCF36AD9FF893F74C5506F3AA0D73E0229EF02E42ADE4E5AFE1D"
    "37891B71C18CF46C542284B3314ACDDB";
constexpr char LongRsaSignature[] =
    "07D87B2722152738C3EE8A02AECF11FB1D22A1DD96E54CC7D81642FFE9B8582265C3AFAF44B75E18ADF482C57F2DE91A"
    "BA0B5B6690C8A0F4B66BC83B691EF808D281374A8445B612602FF58532F40613C3F101A2A31C68CEF4A5A24616868B40"
    "466232E3FDCA09CA16990A6DBBBB9E4E476C176C958257479DBF81381A44C3FE4871CDE4B63A4B44AB9EA8740D733C96"
    "B2F525825821F0A3AE3B326712F35C0241BBC60795E9593A597D66CEF74134B23F4B4136789931E3FA45EAC8B6C53512"
    "55F9DB6DEEF71E922511F03F2919B29378F10861A8B68D0839F5487405327799A0E60C233EF0F5AE5B24EB46BF39EB20"
    "DE196D5702B2339B5CEA183B7117A99E";
constexpr char Point256[] =
    "04935B8667C70DA5AD8397034D3BD9C452B1C9F6B0AB07AF653998C7C21956F681D3A73A29456B7938EB0F0F824B4244"
    "56F497D345DEBC3FB66237D8175697CB6A";
constexpr char Secret256[] = "009AF5450A453D4924E6B4F66815A8F4B03CFE1F55C6124F55F9F9CFB246CC66";
constexpr char Signature256[] =
    "4854612C111658383A2306AB9A537EA16AEF34061790548B0D7759EE34D7E9F6B932DE5C6D42B7FBF31BB6C582491A48"
    "CCFACBD5CDEDD0382332D938CF8CAE5E";
constexpr char Point521[] =
    "040022120724476F8E1EE3DC5E5C24DCACB64409DD8AF53EF00CA51DE707DD28E4D8915268A39E1AC3EC6A20E616CC3D"
    "0F1C9652EBFC478927CFF10FEF9C16FB69B63D01024AA6561553D3913A52B99CDEA5276DBF32F784B72B0E75BCFBB66C"
    "260E8DE8D54B1149A7AD73B3E7F4D15680DC6E2A281A3312CE15D3C6C8AA83F5ECB53E6AC3";
constexpr char Signature521[] =
    "00C8F6858E7D023A20CE182C73D552430D59D2D260D312953C49EF333450BA9FBA28C5E24EA87191C441775AB5DACC05"
    "D5E827D2B9083254C40F7548CDAFF8D7AD24009FC019E50E0D6F59BD3BC68C190F1ADB8277CFA30BCB36165CDFAF9005"
    "CC90E0CC3419BD6B6DB24619987EB95C72C016B2BBEC045F9896B492A223FDD935CE1664";
constexpr char PointBrainpool[] =
    "0441D7E6C34A996371DC3A36BE59B032334AE81B6D11C249038BD45E1C772EB76703E8065285DA858EBE5B01A5E6ECAB"
    "D331F7B796E4383CA0663D47D23AE494CB778091C29B2A6D438DF5CEF88E33E4F3816C6A1ECCE95B05538D1DCA462C0B"
    "8C";
constexpr char SecretBrainpool[] =
    "5591B0F5DF44C5FD31D41E74D72D106CF9691298517F3BCCF5ECAD63E9B389C861A427686DCECE41B6E01DFFDE9698C8";
constexpr char SignatureBrainpool[] =
    "5B9E35A3D97FEEEB3311A049A13F48F2E07CF4ED45B89AADFC30180794FB55D4220820C961568B6D7E03B2F2AE22A233"
    "4A6852B248F774CB4A85DD5FA98F03FB0956F5BB6B4022144449249FA045EBE5869AC022E63EAD70828087708D901C6D";

Bytes FromHex(const std::string& text) {
    return FromHexText(text).value();
}

// Components as type and value in hexadecimal text.
KeyComponents Key(const std::vector<std::pair<std::uint8_t, std::string>>& components) {
    KeyComponents key;
    for (const auto& [type, value] : components) {
        key.push_back({type, FromHex(value)});
    }
    return key;
}

const Bytes Message = {'a', 'b', 'c'};

// Right for the message, and for nothing else.
void ExpectVerified(const KeyComponents& key, const std::string& signature) {
    ASSERT_TRUE(IsVerificationKey(key));
    Bytes wrong = FromHex(signature);
    EXPECT_TRUE(VerifySignature(key, Message, wrong));
    EXPECT_FALSE(VerifySignature(key, {'a', 'b'}, wrong));
    wrong.back() ^= 1;
    EXPECT_FALSE(VerifySignature(key, Message, wrong));
    wrong.pop_back();
    EXPECT_FALSE(VerifySignature(key, Message, wrong));
}

}  // namespace

// B.1.2.2: the example of ISO/IEC 9797-1 for MAC algorithm 3 with padding method 2.
TEST(Signature, IsAMacOfTripleDes) {
    const KeyComponents key = Key({{0x80, "0123456789ABCDEFFEDCBA9876543210"}});
    const std::string text = "Now is the time for all ";
    EXPECT_EQ(HexText(Sign(key, Bytes(text.begin(), text.end()))), "E9086230CA3BE796");
    EXPECT_EQ(Sign(key, {}).size(), 8U);
    EXPECT_FALSE(IsSigningKey(Key({{0x80, std::string(48, '0')}})));
    EXPECT_EQ(LeastDigestLength(key), 20U);
}

// NIST SP 800-38B, D.1, example 1.
TEST(Signature, IsACmacOfAes) {
    const KeyComponents key = Key({{0x88, "2B7E151628AED2A6ABF7158809CF4F3C"}});
    EXPECT_EQ(HexText(Sign(key, {})), "BB1D6929E95937287FA37D129B756746");
    EXPECT_TRUE(VerifySignature(key, {}, FromHex("BB1D6929E95937287FA37D129B756746")));
    EXPECT_EQ(LeastDigestLength(key), 32U);
    EXPECT_EQ(LeastDigestLength(Key({{0x88, std::string(64, '0')}})), 64U);
}

// B.3: SHA-1 with 1024 bits, PSS with SHA-256 beyond; the private key in both forms.
TEST(Signature, IsOfRsa) {
    ExpectVerified(Key({{0xA1, RsaModulus}, {0xA0, "010001"}}), RsaSignature);
    const KeyComponents plain = Key({{0xA1, RsaModulus}, {0xA3, RsaExponent}});
    const KeyComponents chinese = Key(
        {{0xA4, RsaFirstPrime},
         {0xA5, RsaSecondPrime},
         {0xA6, RsaInverse},
         {0xA7, RsaFirstExponent},
         {0xA8, RsaSecondExponent}});
    for (const KeyComponents& key : {plain, chinese}) {
        EXPECT_EQ(HexText(Sign(key, Message)), RsaSignature);
        EXPECT_FALSE(VerifySignature(key, Message, FromHex(RsaSignature)));
        EXPECT_EQ(LeastDigestLength(key), 20U);
    }
    const KeyComponents longKey = Key({{0xA1, LongRsaModulus}, {0xA0, "010001"}});
    ExpectVerified(longKey, LongRsaSignature);
    EXPECT_EQ(LeastDigestLength(longKey), 32U);
    EXPECT_FALSE(IsVerificationKey(Key({{0xA1, "0102"}, {0xA0, "03"}})));
}

// B.4 and table B-2: r and s behind each other, each as long as the curve.
TEST(Signature, IsOfEcc) {
    ExpectVerified(Key({{0xB0, Point256}, {0xF0, "00"}}), Signature256);
    ExpectVerified(Key({{0xB0, Point521}, {0xF0, "02"}}), Signature521);
    ExpectVerified(Key({{0xB0, PointBrainpool}, {0xF0, "05"}}), SignatureBrainpool);
    EXPECT_TRUE(VerifySignature(
        Key({{0xB0, Point256}, {0xF0, "00"}}), Message,
        Sign(Key({{0xB1, Secret256}, {0xF0, "0000"}}), Message)));
    const KeyComponents secret = Key({{0xB1, SecretBrainpool}, {0xF0, "05"}});
    EXPECT_TRUE(VerifySignature(Key({{0xB0, PointBrainpool}, {0xF0, "05"}}), Message, Sign(secret, Message)));
    EXPECT_EQ(LeastDigestLength(secret), 48U);
    EXPECT_EQ(LeastDigestLength(Key({{0xB0, Point521}, {0xF0, "02"}})), 64U);
}

TEST(Signature, IsNoneOfAKeyThatIsNone) {
    for (const KeyComponents& key :
         {Key({{0xB0, Point256}, {0xF0, "09"}}), Key({{0xB0, Point256}}), Key({{0x85, "00"}}),
          Key({{0xB2, "00"}, {0xF0, "00"}}), Key({{0xB0, "04"}, {0xB2, "01"}})}) {
        EXPECT_FALSE(IsVerificationKey(key));
        EXPECT_FALSE(IsSigningKey(key));
        EXPECT_FALSE(VerifySignature(key, Message, FromHex(Signature256)));
        EXPECT_THROW(static_cast<void>(Sign(key, Message)), std::invalid_argument);
    }
    std::string off = Point256;
    off.back() = off.back() == '0' ? '1' : '0';  // not on the curve
    EXPECT_FALSE(VerifySignature(Key({{0xB0, off}, {0xF0, "00"}}), Message, FromHex(Signature256)));
    EXPECT_THROW(
        static_cast<void>(Sign(Key({{0xA1, RsaModulus}, {0xA3, RsaModulus}}), Message)), std::runtime_error);
}

TEST(TripleDes, EncryptsWholeBlocksAndBack) {
    const Bytes key = FromHex("0123456789ABCDEFFEDCBA9876543210");
    const Bytes vector(8);
    const Bytes plain = FromHex("00112233445566778899AABBCCDDEEFF");
    EXPECT_EQ(DesDecryptCbc(key, vector, DesEncryptCbc(key, vector, plain)), plain);
    EXPECT_THROW(static_cast<void>(DesEncryptCbc(key, vector, {1})), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(DesDecryptCbc(First(key, 8), vector, plain)), std::invalid_argument);
    EXPECT_THROW(static_cast<void>(DesDecryptCbc(key, {}, plain)), std::invalid_argument);
}

// C.4: the length before the fields has one byte, or three.
TEST(Token, IsOverACommandWithoutItsClass) {
    EXPECT_EQ(HexText(TokenText(0x02, 0x00, {0xAA})), "020001AA");
    EXPECT_EQ(HexText(First(TokenText(0x0C, 0x00, Bytes(256)), 6)), "0C0000010000");
}

// 11.1.6 and C.5.
TEST(Confirmation, IsReadWithEveryLengthChecked) {
    const auto read = ParseConfirmation(FromHex("0A 02AABB 020003 03010203"));
    ASSERT_TRUE(read);
    EXPECT_EQ(HexText(read->receipt), "AABB");
    EXPECT_EQ(HexText(read->data), "02000303010203");
    EXPECT_EQ(read->counter, 3U);
    EXPECT_EQ(HexText(ReceiptText(read->data, {{1, 2}, {}})), "0200030301020302010200");
    EXPECT_TRUE(ParseConfirmation(FromHex("810B 8102AABB 020003 03010203")));
    for (const char* wrong :
         {"", "00", "09 02AABB 020003 03010203", "0100", "0401AA0100", "0402AABB00", "0502AABB0200",
          "0602AABB020003", "83000001", "8205"}) {
        EXPECT_FALSE(ParseConfirmation(FromHex(wrong))) << wrong;
    }
}
