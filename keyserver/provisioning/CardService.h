// SPDX-License-Identifier: Apache-2.0
// A service that manages a card's content: an ordered list of actions, carried out over a secure channel that
// the server opens to the card through the agent. The terms are those of GlobalPlatform
// Card 2.3.1; clauses named here are its own.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "globalplatform/CommandApdu.h"
#include "globalplatform/Scp03.h"
#include "keyserver/service/Dialogue.h"

namespace KeyServer {

using GlobalPlatform::Bytes;
using GlobalPlatform::CommandApdu;

// A command before the channel wraps it, with what is wanted of its status word.
struct PlainCommand {
    CommandApdu apdu;
    std::string title;                  // "LOAD block 2 of 5"
    std::vector<std::string> expected;  // status word patterns

    // Nothing else is sent until its status word is known. The agent relays a whole command set whatever the
    // status words are, so a command whose failure would give the next one another meaning stands alone.
    bool decides = false;

    // What a receipt is over that answers it, beside the confirmation's own data; GlobalPlatform Card 2.3.1,
    // C.5.
    std::vector<Bytes> receiptFields{};

    // Ends the session with this code at 6A88, referenced data not found.
    const char* codeWhenAbsent = nullptr;
};

struct CardResponse {
    Bytes data;
    std::string statusWord;  // one of those expected
};

// Ends the session: the card's data makes no sense, or is not what it must be.
class CardProblem : public std::runtime_error {
public:
    CardProblem(std::string resultCode, const std::string& reason)
        : std::runtime_error(reason), code(std::move(resultCode)) {}
    const std::string& Code() const { return code; }

private:
    std::string code;
};

// What an action needs to know of the open channel.
struct ChannelKeys {
    std::uint8_t version = 0;
    GlobalPlatform::StaticKeys keys;
};

// One action of one session. Each command of Next is answered in Take before Next is called again.
class ActionCourse {
public:
    virtual ~ActionCourse() = default;

    // The commands that may go out together now; none when the action is done.
    [[nodiscard]] virtual std::vector<PlainCommand> Next() = 0;

    // Throws CardProblem.
    virtual void Take(const std::vector<CardResponse>& responses) = 0;

    // For the log, once the action is done.
    virtual std::vector<std::string> Findings() const { return {}; }
};

using KeyRing = std::map<std::uint8_t, GlobalPlatform::StaticKeys>;  // by key version number

// A security domain that channels are opened to, and its keys.
struct DomainAccess {
    Bytes aid;
    std::shared_ptr<const KeyRing> keyRing;
};

// Part of a service and never changed.
class Action {
public:
    virtual ~Action() = default;

    [[nodiscard]] virtual std::unique_ptr<ActionCourse> Begin(const ChannelKeys& channel) const = 0;

    std::string name;
    bool needsChannel = true;
    bool endsChannel = false;  // the card forgets the channel, because another application is selected
    std::optional<std::uint8_t>
        newKeyVersion;                   // of the keys that the session's next channels are opened with
    std::optional<DomainAccess> enters;  // the domain of those channels
};

struct ChannelPlan {
    Bytes domain;                 // AID; empty selects the card's issuer domain
    std::uint8_t keyVersion = 0;  // 0 leaves the choice to the card
    GlobalPlatform::SecurityLevel level = GlobalPlatform::SecurityLevel::CommandMacAndDecryption;
    std::optional<Bytes> hostChallenge;  // random when absent
};

class CardService final : public Service {
public:
    std::string name;
    std::vector<std::string> serviceIds;
    std::vector<std::string> seIdPatterns;  // empty serves every card
    std::string finalCode = ResultCode::Success;
    std::vector<Misbehaviour> misbehaviours;
    std::shared_ptr<const KeyRing> keyRing;
    ChannelPlan channel;
    std::size_t commandsPerTurn = 8;
    std::vector<std::unique_ptr<const Action>> actions;

    const std::string& Name() const override { return name; }
    const std::vector<std::string>& ServiceIds() const override { return serviceIds; }
    const std::vector<Misbehaviour>& Misbehaviours() const override { return misbehaviours; }

    // The dialogue refers to this service. Throws WrongMessage for a card that it does not serve.
    std::unique_ptr<Dialogue> Open(const Message& opening) const override;
};

// A pattern is a card's "seId" with x for any digit; "*" at its end leaves the rest open.
[[nodiscard]] bool MatchesSeId(const std::string& pattern, const std::string& seId);

}  // namespace KeyServer
