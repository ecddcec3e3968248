// SPDX-License-Identifier: Apache-2.0
// Sessions of card services with a card that answers what the test wants.
#include <gmock/gmock.h>

#include <thread>

#include "globalplatform/Aes.h"
#include "globalplatform/Tlv.h"
#include "tests/support/keyserver/CatalogueSamples.h"
#include "tests/support/keyserver/Samples.h"
#include "tests/unit/keyserver/PlayedCard.h"

using namespace KeyServer;
using GlobalPlatform::FromHexText;
using GlobalPlatform::HexText;
using GlobalPlatform::MakeTlv;
using GlobalPlatform::SecurityLevel;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

using Apdu = GlobalPlatform::CommandApdu;

constexpr char List[] = R"({"do": "list", "of": "applications"})";
constexpr char Delete[] = R"({"do": "delete", "aid": "A000000001"})";
constexpr char PutKey[] = R"({"do": "putKey", "version": "31"})";
constexpr char Personalise[] =
    R"({"do": "personalise", "instance": "A000000001", "data": ["0101", "0202", "0303", "0404"]})";

// One entry of GET STATUS.
std::string Entry(const std::string& aid) {
    return HexText(MakeTlv(
        0xE3,
        *FromHexText("4F" + HexText({static_cast<std::uint8_t>(aid.size() / 2)}) + aid + "9F700107C50100")));
}

Turn PlayService(PlayedCard& card, const std::string& actions, const std::string& more = "") {
    const auto service = ServiceOf(actions, more);
    const auto dialogue = service->Open(AnyOpening());
    return card.Play(*dialogue);
}

std::string Success(const Apdu&) {
    return "9000";
}

std::vector<std::string> Headers(const PlayedCard& card) {
    std::vector<std::string> headers;
    for (const Apdu& command : card.commands) {
        headers.push_back(HexText({command.cla, command.ins, command.p1, command.p2}));
    }
    return headers;
}

class CardDialogue : public testing::Test {
protected:
    PlayedCard card{Success};
};

}  // namespace

TEST_F(CardDialogue, OpensAChannelWithEncryptionAndManagesTheCard) {
    const Turn last = PlayService(card, Delete);
    EXPECT_EQ(last.resultCode, ResultCode::Success);
    EXPECT_TRUE(last.completed);
    EXPECT_EQ(card.channels, 1U);
    EXPECT_EQ(card.level, SecurityLevel::CommandMacAndDecryption);
    ASSERT_EQ(card.commands.size(), 1U);
    EXPECT_EQ(HexText(EncodeCommand(card.commands[0])), "80E40000074F05A00000000100");
    EXPECT_THAT(card.setSizes, ElementsAre(2U, 2U)) << "SELECT and INITIALIZE UPDATE, then the rest";
    EXPECT_THAT(card.notes, Contains("channel opened with keys of version 01"));
}

TEST_F(CardDialogue, OpensTheChannelAtTheLevelAndWithTheChallengeOfTheService) {
    EXPECT_EQ(PlayService(card, Delete, R"("security": "none")").resultCode, ResultCode::Success);
    EXPECT_EQ(card.level, SecurityLevel::None);
    EXPECT_EQ(
        PlayService(card, Delete, R"("security": "mac", "hostChallenge": "0102030405060708")").resultCode,
        "00000001");
    EXPECT_EQ(card.level, SecurityLevel::CommandMac);
    EXPECT_EQ(HexText(card.hostChallenge), "0102030405060708");
}

TEST_F(CardDialogue, TakesAnotherRandomChallengeForEachSession) {
    PlayService(card, Delete);
    const auto first = card.hostChallenge;
    PlayService(card, Delete);
    EXPECT_NE(card.hostChallenge, first);
}

TEST_F(CardDialogue, TakesACardWithoutASequenceCounterToo) {
    card.counter.clear();
    EXPECT_EQ(PlayService(card, Delete).resultCode, ResultCode::Success);
}

TEST_F(CardDialogue, EndsWhenTheCryptogramIsNotThatOfTheKeys) {
    card.keys.mac[0] ^= 1U;
    const Turn last = PlayService(card, Delete);
    EXPECT_EQ(last.resultCode, ResultCode::WrongCryptogram);
    EXPECT_THAT(last.description, HasSubstr("cryptogram is not that of the keys of version 01"));
    EXPECT_EQ(card.channels, 0U);
    EXPECT_THAT(card.commands, IsEmpty());
}

TEST_F(CardDialogue, EndsWhenItHasNoKeysOfTheCardsVersion) {
    card.keyVersion = 0x30;
    const Turn last = PlayService(card, Delete);
    EXPECT_EQ(last.resultCode, ResultCode::UnknownKeys);
    EXPECT_THAT(last.description, HasSubstr("keys of version 30"));
}

TEST_F(CardDialogue, EndsWhenTheCardHasNoKeysOfTheWantedVersion) {
    card.identification = "6A88";
    const Turn last = PlayService(card, Delete, R"("keyVersion": "31")");
    EXPECT_EQ(last.resultCode, ResultCode::UnknownKeys);
    EXPECT_THAT(last.description, HasSubstr("INITIALIZE UPDATE was answered with 6A88"));
}

TEST_F(CardDialogue, EndsWhenTheCardSpeaksAnotherProtocol) {
    for (const char* information : {"010200", "010301"}) {
        card.identification = std::string(20, '0') + information + std::string(38, '0') + "9000";
        EXPECT_EQ(PlayService(card, Delete).resultCode, ResultCode::UnknownAlgorithm) << information;
    }
}

TEST_F(CardDialogue, EndsAtEachTruncatedIdentification) {
    const std::string whole = std::string(20, '0') + "010310" + std::string(38, '0');
    for (std::size_t bytes = 0; bytes < 32; ++bytes) {
        if (bytes == 29) {
            continue;
        }
        card.identification = whole.substr(0, 2 * bytes) + "9000";
        EXPECT_EQ(PlayService(card, Delete).resultCode, ResultCode::WrongCardData) << bytes;
    }
    card.identification = whole + "009000";
    EXPECT_EQ(PlayService(card, Delete).resultCode, ResultCode::WrongCardData);
}

TEST_F(CardDialogue, EndsWhenTheCardRefusesTheHost) {
    card.authenticationStatus = "6300";
    const Turn last = PlayService(card, Delete);
    EXPECT_EQ(last.resultCode, ResultCode::UnexpectedStatusWord);
    EXPECT_THAT(
        last.description,
        AllOf(HasSubstr("EXTERNAL AUTHENTICATE was answered with 6300"), HasSubstr("failed")));
}

TEST_F(CardDialogue, SaysWhichCommandOfWhichActionFailedAndWhatThatMeans) {
    PlayedCard full([](const Apdu& apdu) { return apdu.ins == 0xE8 && apdu.p2 == 1 ? "6A84" : "9000"; });
    const TemporaryFolder folder;
    folder.Write("f", std::string(600, 'x'));
    const auto service = ServiceOf(
        std::string(Delete) +
            R"(, {"do": "load", "comment": "wallet", "package": "A000000001", "file": "f"})",
        "", folder.Path());
    const auto dialogue = service->Open(AnyOpening());
    const Turn last = full.Play(*dialogue);
    EXPECT_EQ(last.resultCode, ResultCode::UnexpectedStatusWord);
    EXPECT_EQ(
        last.description,
        "action 2 of 2, load (wallet): LOAD block 2 of 3 was answered with 6A84, not enough memory space; "
        "expected was 9000");
}

TEST_F(CardDialogue, TakesWhatIsNotThereForDeletedUnlessItMustExist) {
    PlayedCard empty([](const Apdu&) { return "6A88"; });
    EXPECT_EQ(PlayService(empty, Delete).resultCode, ResultCode::Success);
    EXPECT_EQ(
        PlayService(empty, R"({"do": "delete", "aid": "A000000001", "mustExist": true})").resultCode,
        ResultCode::UnexpectedStatusWord);
}

TEST_F(CardDialogue, SendsNothingAfterACommandThatDecidesUntilItsAnswerIsKnown) {
    EXPECT_EQ(PlayService(card, Personalise).resultCode, ResultCode::Success);
    EXPECT_THAT(card.setSizes, ElementsAre(2U, 2U, 3U, 1U));

    PlayedCard refusing([](const Apdu& apdu) { return apdu.ins == 0xE6 ? "6985" : "9000"; });
    EXPECT_EQ(PlayService(refusing, Personalise).resultCode, ResultCode::UnexpectedStatusWord);
    EXPECT_THAT(Headers(refusing), ElementsAre("80E62000")) << "the data must not reach the issuer domain";

    PlayedCard forgetful([](const Apdu& apdu) { return apdu.ins == 0xE2 && apdu.p2 == 1 ? "6A80" : "9000"; });
    EXPECT_EQ(PlayService(forgetful, Personalise).resultCode, ResultCode::UnexpectedStatusWord);
    EXPECT_THAT(Headers(forgetful), Not(Contains("80E28803")))
        << "the last block finishes the personalisation";
}

TEST_F(CardDialogue, DeletesNothingMoreAfterADeletionThatFailed) {
    PlayedCard refusing([](const Apdu&) { return "6985"; });
    const std::string both = R"({"do": "delete", "aid": ["A000000001", "A000000002"]})";
    EXPECT_EQ(PlayService(refusing, both).resultCode, ResultCode::UnexpectedStatusWord);
    EXPECT_EQ(refusing.commands.size(), 1U);
    EXPECT_EQ(PlayService(card, both).resultCode, ResultCode::Success);
    EXPECT_EQ(card.commands.size(), 2U);
}

TEST_F(CardDialogue, SendsAsManyCommandsInOneSetAsTheServiceSays) {
    EXPECT_EQ(PlayService(card, Personalise, R"("commandsPerTurn": 2)").resultCode, ResultCode::Success);
    EXPECT_THAT(card.setSizes, ElementsAre(2U, 2U, 2U, 1U, 1U));
}

TEST_F(CardDialogue, ListsAsLongAsTheCardHasMore) {
    PlayedCard listing([pages = 0](const Apdu& apdu) mutable {
        EXPECT_EQ(apdu.p2, pages == 0 ? 0x02 : 0x03);
        ++pages;
        return Entry("A00000000" + std::to_string(pages)) + (pages < 3 ? "6310" : "9000");
    });
    EXPECT_EQ(PlayService(listing, List).resultCode, ResultCode::Success);
    EXPECT_THAT(listing.notes, Contains("application A000000003: selectable, privileges 00"));
    EXPECT_EQ(listing.notes.size(), 4U);
}

TEST_F(CardDialogue, EndsWhenTheCardHasEverMoreToList) {
    PlayedCard endless([](const Apdu&) { return Entry("A000000001") + "6310"; });
    EXPECT_EQ(PlayService(endless, List).resultCode, ResultCode::WrongCardData);
    EXPECT_LE(endless.commands.size(), 256U);
    PlayedCard silent([](const Apdu&) { return "6310"; });
    EXPECT_EQ(PlayService(silent, List).resultCode, ResultCode::WrongCardData);
    EXPECT_EQ(silent.commands.size(), 1U);
}

TEST_F(CardDialogue, TakesAHugeList) {
    std::string entries;
    for (int i = 0; i < 2000; ++i) {
        entries += Entry("A00000" + HexText(GlobalPlatform::BigEndian(static_cast<std::uint64_t>(i), 2)));
    }
    PlayedCard crowded([&](const Apdu&) { return entries + "9000"; });
    EXPECT_EQ(PlayService(crowded, List).resultCode, ResultCode::Success);
    EXPECT_EQ(crowded.notes.size(), 2001U);
}

TEST_F(CardDialogue, EndsAtAListThatMakesNoSense) {
    const std::string good = Entry("A000000001");
    for (std::size_t digits = 2; digits < good.size(); digits += 2) {
        PlayedCard broken([&](const Apdu&) { return good.substr(0, digits) + "9000"; });
        EXPECT_EQ(PlayService(broken, List).resultCode, ResultCode::WrongCardData) << digits;
    }
    for (const std::string other : {"6F00", "E300", "E3074F05A000000001"}) {
        PlayedCard broken([&](const Apdu&) { return other + "9000"; });
        EXPECT_EQ(PlayService(broken, List).resultCode, ResultCode::WrongCardData) << other;
    }
}

namespace {

// A card with the given key information that puts keys.
std::string PutKeys(const Apdu& apdu, const std::string& information) {
    if (apdu.ins == 0xCA) {
        return information + "9000";
    }
    std::string values;
    for (const char* key : {"41", "42", "43"}) {
        std::string hex;
        for (int i = 0; i < 16; ++i) {
            hex += key;
        }
        values += HexText(GlobalPlatform::AesKeyCheckValue(*FromHexText(hex)));
    }
    return "31" + values + "9000";
}

}  // namespace

TEST_F(CardDialogue, PutsNewKeysEncryptedUnderThoseOfTheChannel) {
    PlayedCard putting([](const Apdu& apdu) { return PutKeys(apdu, "E006C00401018810"); });
    EXPECT_EQ(PlayService(putting, PutKey).resultCode, ResultCode::Success);
    ASSERT_THAT(Headers(putting), ElementsAre("80CA00E0", "80D80081"));
    const auto& data = putting.commands[1].data;
    ASSERT_EQ(data.size(), 1U + 3U * 23U);
    EXPECT_EQ(HexText({data[0], data[1], data[2], data[3]}), "31881110");
    const GlobalPlatform::Bytes encrypted(data.begin() + 4, data.begin() + 20);
    EXPECT_EQ(
        GlobalPlatform::AesDecryptCbc(
            GlobalPlatform::Bytes(16, 0x33), GlobalPlatform::Bytes(16, 0), encrypted),
        GlobalPlatform::Bytes(16, 0x41));
    EXPECT_THAT(putting.notes, Contains("keys of version 31 are new"));
}

TEST_F(CardDialogue, OpensItsNextChannelWithTheKeysThatItHasPut) {
    PlayedCard putting([](const Apdu& apdu) {
        return apdu.ins == 0xCA || apdu.ins == 0xD8 ? PutKeys(apdu, "E006C00401018810") : "9000";
    });
    const std::string select = R"({"do": "select", "aid": "A000000001"})";
    PlayService(putting, std::string(PutKey) + "," + select + "," + Delete);
    EXPECT_EQ(putting.wantedVersions, (std::vector<std::uint8_t>{0x00, 0x31}));
}

TEST_F(CardDialogue, ReplacesTheKeysThatTheCardHasAlready) {
    PlayedCard putting([](const Apdu& apdu) { return PutKeys(apdu, "E00CC00401018810C00401318810"); });
    EXPECT_EQ(PlayService(putting, PutKey).resultCode, ResultCode::Success);
    EXPECT_THAT(Headers(putting), ElementsAre("80CA00E0", "80D83181"));
    PlayedCard told([](const Apdu& apdu) { return PutKeys(apdu, ""); });
    EXPECT_EQ(
        PlayService(told, R"({"do": "putKey", "version": "31", "replace": "01"})").resultCode,
        ResultCode::Success);
    EXPECT_THAT(Headers(told), ElementsAre("80D80181"));
}

TEST_F(CardDialogue, EndsWhenTheCardConfirmsOtherKeys) {
    for (const std::string confirmation : {"", "31", "31000000000000000000"}) {
        PlayedCard wrong([&](const Apdu& apdu) {
            return apdu.ins == 0xCA ? std::string("E006C004010188109000") : confirmation + "9000";
        });
        EXPECT_EQ(PlayService(wrong, PutKey).resultCode, ResultCode::KeyManagement) << confirmation;
    }
    for (const std::string information : {"", "00", "E00001", "E003C00501"}) {
        PlayedCard wrong([&](const Apdu& apdu) { return PutKeys(apdu, information); });
        EXPECT_EQ(PlayService(wrong, PutKey).resultCode, ResultCode::WrongCardData) << information;
    }
}

TEST_F(CardDialogue, SelectsInTheClearAndOpensAnotherChannelForWhatFollows) {
    const std::string select = R"({"do": "select", "aid": "A000000001"})";
    const std::string setStatus = R"({"do": "setStatus", "aid": "A000000001", "state": "80"})";
    EXPECT_EQ(
        PlayService(card, std::string(Delete) + "," + select + "," + setStatus).resultCode,
        ResultCode::Success);
    EXPECT_EQ(card.channels, 2U);
    EXPECT_THAT(Headers(card), ElementsAre("80E40000", "00A40400", "80F04080"));
    PlayedCard other(Success);
    EXPECT_EQ(PlayService(other, select).resultCode, ResultCode::Success);
    EXPECT_EQ(other.channels, 0U);
}

TEST_F(CardDialogue, ReadsWithoutAChannelAndShowsWhatItRead) {
    PlayedCard readable([](const Apdu& apdu) { return apdu.p2 == 0x7F ? "9F7F01AA9000" : "6A88"; });
    EXPECT_EQ(
        PlayService(readable, R"({"do": "read", "tag": ["9F7F", "66"]})").resultCode, ResultCode::Success);
    EXPECT_EQ(readable.channels, 0U);
    EXPECT_THAT(readable.notes, ElementsAre("GET DATA 9F7F: 9F7F01AA", "GET DATA 0066: 6A88"));
}

TEST_F(CardDialogue, EndsWhenTheAgentRelayedNothingOrSomethingElse) {
    const auto service = ServiceOf(Delete);
    const auto dialogue = service->Open(AnyOpening());
    static_cast<void>(dialogue->Begin());
    EXPECT_EQ(dialogue->Continue(ParseResponseSet("21_SDAPIException.")).resultCode, ResultCode::RelayFailed);
    static_cast<void>(dialogue->Begin());
    EXPECT_EQ(dialogue->Continue(ParseResponseSet("/019000")).resultCode, ResultCode::WrongNumberOfResponses);
    for (const std::string response : {"9", "90", "900", "19000", "009", "6F"}) {
        static_cast<void>(dialogue->Begin());
        const Turn turn = dialogue->Continue(ParseResponseSet("/019000/01" + response));
        EXPECT_TRUE(turn.Ends()) << response;
        EXPECT_NE(turn.resultCode, ResultCode::Success) << response;
    }
}

TEST_F(CardDialogue, BeginsAgainFromTheStart) {
    const auto service = ServiceOf(std::string(Delete) + "," + List);
    const auto dialogue = service->Open(AnyOpening());
    card.Play(*dialogue);
    EXPECT_EQ(card.Play(*dialogue).resultCode, ResultCode::Success);
    EXPECT_EQ(card.channels, 2U);
    EXPECT_THAT(Headers(card), ElementsAre("80E40000", "80F24002", "80E40000", "80F24002"));
}

TEST_F(CardDialogue, IsRefusedToAForeignCard) {
    const auto service = ServiceOf(Delete, R"("seId": ["9F7F2A47*", "00*"])");
    EXPECT_NO_THROW(static_cast<void>(service->Open(AnyOpening())));
    const auto strict = ServiceOf(Delete, R"("seId": "9F7F2A48*")");
    try {
        strict->Open(AnyOpening());
        FAIL() << "the card was served";
    } catch (const WrongMessage& refusal) {
        EXPECT_EQ(refusal.Code(), ResultCode::ForeignDevice);
    }
}

TEST_F(CardDialogue, RunsManySessionsOfOneServiceAtOnce) {
    const auto service = ServiceOf(std::string(Personalise) + "," + List + "," + Delete);
    std::vector<std::thread> threads;
    std::vector<std::string> codes(8);
    for (std::string& code : codes) {
        threads.emplace_back([&code, &service] {
            for (int i = 0; i < 20; ++i) {
                PlayedCard own(Success);
                code = own.Play(*service->Open(AnyOpening())).resultCode;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(codes, Each(ResultCode::Success));
}
