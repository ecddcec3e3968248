// SPDX-License-Identifier: Apache-2.0
// The shipped catalogue, and others, with the software card in one process.
#include <gmock/gmock.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "card/SoftwareCard.h"
#include "keyserver/service/ApduText.h"
#include "keyserver/service/KeyService.h"
#include "tests/support/keyserver/CatalogueSamples.h"
#include "tests/support/keyserver/Samples.h"
#include "tests/unit/keyserver/PlayedCard.h"

using namespace KeyServer;
using GlobalPlatform::FromHexText;
using GlobalPlatform::HexText;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char ShippedCatalogue[] = CATALOGUE_FOLDER "/wallet.json";

struct Course {
    Turn last;
    std::vector<std::string> notes;
    std::size_t sets = 0;
};

// The agent's part: every command of a set goes to the card, whatever the status words are.
std::string Relay(Card::SoftwareCard& card, const std::string& commandSet) {
    std::string responses;
    for (const std::string& command : ParseResponseSet(commandSet).responses) {
        responses += "/01" + HexText(card.Transmit(FromHexText(command).value()));
    }
    return responses;
}

Course Provision(Card::SoftwareCard& card, const Service& service) {
    card.Reset();
    const auto dialogue = service.Open(AnyOpening());
    Course course;
    course.last = dialogue->Begin();
    while (!course.last.Ends() && course.sets < 1000) {
        ++course.sets;
        course.last = dialogue->Continue(ParseResponseSet(Relay(card, course.last.commandSet)));
        course.notes.insert(course.notes.end(), course.last.notes.begin(), course.last.notes.end());
    }
    return course;
}

class CardProvisioning : public testing::Test {
protected:
    // The shipped service with a member of its own.
    std::shared_ptr<const CardService> Shipped(
        const std::string& member = {}, const nlohmann::json& value = {}) {
        nlohmann::json whole = nlohmann::json::parse(std::ifstream(ShippedCatalogue));
        if (!member.empty()) {
            whole["services"][0][member] = value;
        }
        return ParseCatalogue(whole.dump(), "shipped", CATALOGUE_FOLDER).front();
    }

    Card::SoftwareCard card{Card::Options()};
};

}  // namespace

TEST_F(CardProvisioning, OfTheShippedCatalogueWorksAndWorksAgain) {
    const auto service = Shipped();
    const Course first = Provision(card, *service);
    EXPECT_EQ(first.last.resultCode, ResultCode::Success) << first.last.description;
    EXPECT_THAT(first.notes, Contains("keys of version 31 are new"));
    const Course second = Provision(card, *service);
    EXPECT_EQ(second.last.resultCode, ResultCode::Success) << second.last.description;
    EXPECT_THAT(second.notes, Contains("keys of version 31 replace those of version 31"));
    EXPECT_THAT(second.notes, Contains(StartsWith("application A00000084100010101: ")));
}

TEST_F(CardProvisioning, WorksAtEachSecurityLevelAndSetSize) {
    for (const char* security : {"none", "mac", "mac+encryption"}) {
        EXPECT_EQ(Provision(card, *Shipped("security", security)).last.resultCode, ResultCode::Success)
            << security;
    }
    const Course small = Provision(card, *Shipped("commandsPerTurn", 1));
    const Course large = Provision(card, *Shipped("commandsPerTurn", 64));
    EXPECT_EQ(small.last.resultCode, ResultCode::Success);
    EXPECT_EQ(large.last.resultCode, ResultCode::Success);
    EXPECT_LT(large.sets, small.sets);
}

// Of every option that the level needs, with keys of every length.
TEST_F(CardProvisioning, WorksWithProtectedResponsesAndKeysOfEachLength) {
    struct Row {
        const char* security;
        std::uint8_t option;
        std::size_t keyLength;
    };
    for (const Row& row :
         {Row{"mac+r-mac", 0x20, 16}, Row{"mac+encryption+r-mac", 0x30, 24},
          Row{"mac+encryption+r-mac+r-encryption", 0x60, 32},
          Row{"mac+encryption+r-mac+r-encryption", 0x70, 16}}) {
        Card::Options options;
        options.channelOption = row.option;
        const GlobalPlatform::Bytes key(row.keyLength, 0x5A);
        options.keys = {key, key, key};
        Card::SoftwareCard own(options);
        nlohmann::json whole = nlohmann::json::parse(std::ifstream(ShippedCatalogue));
        whole["services"][0]["security"] = row.security;
        for (const char* name : {"enc", "mac", "dek"}) {
            whole["cardKeys"][0][name] = HexText(key);
        }
        const auto service = ParseCatalogue(whole.dump(), "shipped", CATALOGUE_FOLDER).front();
        const Course course = Provision(own, *service);
        EXPECT_EQ(course.last.resultCode, ResultCode::Success) << row.security << course.last.description;
        EXPECT_THAT(course.notes, Contains(HasSubstr("A00000084100010101")));
    }
}

TEST_F(CardProvisioning, EndsWhenTheCardCannotProtectItsResponses) {
    const Course course = Provision(card, *Shipped("security", "mac+r-mac"));
    EXPECT_EQ(course.last.resultCode, ResultCode::UnknownAlgorithm);
    EXPECT_THAT(course.last.description, HasSubstr("i=10 has no security level 11"));
}

// A response that was changed on its way.
TEST_F(CardProvisioning, EndsWithAResponseThatIsNotTheCards) {
    Card::Options options;
    options.channelOption = 0x70;
    Card::SoftwareCard own(options);
    const auto service = Shipped("security", "mac+encryption+r-mac+r-encryption");
    own.Reset();
    const auto dialogue = service->Open(AnyOpening());
    Turn turn = dialogue->Begin();
    for (int set = 0; set < 2; ++set) {
        turn = dialogue->Continue(ParseResponseSet(Relay(own, turn.commandSet)));
    }
    std::string responses = Relay(own, turn.commandSet);
    while (responses.size() < 20) {  // errors, which nothing protects
        turn = dialogue->Continue(ParseResponseSet(responses));
        responses = Relay(own, turn.commandSet);
    }
    responses[responses.size() - 5] = responses[responses.size() - 5] == '0' ? '1' : '0';
    turn = dialogue->Continue(ParseResponseSet(responses));
    EXPECT_EQ(turn.resultCode, ResultCode::WrongCryptogram) << turn.description;
}

TEST_F(CardProvisioning, IsTheSameToTheByteWithAFixedHostChallenge) {
    const auto service = Shipped("hostChallenge", "0102030405060708");
    std::string sets[2];
    for (std::string& each : sets) {
        Card::SoftwareCard fresh{Card::Options()};
        fresh.Reset();
        const auto dialogue = service->Open(AnyOpening());
        Turn turn = dialogue->Begin();
        while (!turn.Ends()) {
            each += turn.commandSet;
            turn = dialogue->Continue(ParseResponseSet(Relay(fresh, turn.commandSet)));
        }
        EXPECT_EQ(turn.resultCode, ResultCode::Success);
    }
    EXPECT_EQ(sets[0], sets[1]);
}

TEST_F(CardProvisioning, EndsWhenTheCardIsFull) {
    Card::Options options;
    options.memory = 1000;
    Card::SoftwareCard small(options);
    const Course course = Provision(small, *Shipped());
    EXPECT_EQ(course.last.resultCode, ResultCode::UnexpectedStatusWord);
    EXPECT_THAT(course.last.description, HasSubstr("6A84, not enough memory space"));
}

TEST_F(CardProvisioning, OfManyCardsAtOnceByOneServiceIsAsManySessions) {
    const auto service = Shipped();
    std::vector<std::string> codes(6);
    std::vector<std::thread> threads;
    for (std::string& code : codes) {
        threads.emplace_back([&code, &service] {
            Card::SoftwareCard own{Card::Options()};
            Provision(own, *service);
            code = Provision(own, *service).last.resultCode;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(codes, Each(ResultCode::Success));
}

namespace {

// The shipped service behind the server's messages.
class CardSession : public CardProvisioning {
protected:
    KeyService& Serving(std::shared_ptr<const CardService> service) {
        Catalogue catalogue;
        catalogue.services.push_back(std::move(service));
        keyService.emplace(std::move(catalogue), SessionLimits(), journal);
        card.Reset();
        return *keyService;
    }

    static std::string MemberOf(const Reply& reply, const char* name) {
        const JsonValue object = ParseJson(reply.body);
        const JsonValue* member = object.Find(name);
        return member == nullptr ? std::string() : member->text;
    }

    // The agent's next message after an answer that carries commands.
    std::string MessageAfter(const Reply& reply) {
        return Responding("A", Relay(card, MemberOf(reply, "cApduSet")));
    }

    Journal journal{{}, ""};
    std::optional<KeyService> keyService;
};

}  // namespace

TEST_F(CardSession, GivesALostAnswerAgainAndGoesOn) {
    KeyService& server = Serving(Shipped());
    Reply reply = server.Answer(Opening("A", "demo.wallet"), 1);
    std::size_t messages = 0;
    while (MemberOf(reply, "resultCode") == ResultCode::CommandsExist) {
        const std::string message = MessageAfter(reply);
        const Reply lost = server.Answer(message, 1);
        lost.undelivered();
        reply = server.Answer(message, 2);
        ASSERT_EQ(reply.body, lost.body) << "message " << messages;
        ++messages;
    }
    EXPECT_EQ(MemberOf(reply, "resultCode"), ResultCode::Success);
    EXPECT_GT(messages, 10U);
}

TEST_F(CardSession, OfAnEndlessServiceBeginsAgainOverAnotherChannel) {
    KeyService& server = Serving(Shipped("misbehaviours", {{{"kind", "endless"}}}));
    Reply reply = server.Answer(Opening("A", "demo.wallet"), 1);
    const std::string first = MemberOf(reply, "cApduSet").substr(0, 24);
    int begun = 0;
    for (int i = 0; i < 1000 && begun < 3; ++i) {
        reply = server.Answer(MessageAfter(reply), 1);
        ASSERT_EQ(MemberOf(reply, "resultCode"), ResultCode::CommandsExist);
        begun += MemberOf(reply, "cApduSet").substr(0, 24) == first ? 1 : 0;
    }
    EXPECT_EQ(begun, 3);
}

TEST_F(CardSession, OfAForeignCardEndsAtItsOpening) {
    KeyService& server = Serving(Shipped("seId", "00*"));
    EXPECT_EQ(
        MemberOf(server.Answer(Opening("A", "demo.wallet"), 1), "resultCode"), ResultCode::ForeignDevice);
    EXPECT_EQ(server.Sessions(), 0U);
}
