// SPDX-License-Identifier: Apache-2.0
// One session of a card service: opens the channel when an action needs it, sends the commands of the actions
// in sets of a few, and ends the session at the first status word that is not expected.
#include <algorithm>

#include "globalplatform/StatusMeaning.h"
#include "keyserver/provisioning/CardChannel.h"

namespace KeyServer {

namespace {

using GlobalPlatform::EncodeCommand;
using GlobalPlatform::FromHexText;
using GlobalPlatform::HexText;
using GlobalPlatform::StatusMeaning;

struct SentCommand {
    PlainCommand plain;
    std::string text;  // as the agent got it
    bool ofAction = true;
    ResponseOpener opener;
};

std::string Joined(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts) {
        joined += (joined.empty() ? "" : " or ") + text;
    }
    return joined;
}

Turn EndingTurn(const std::string& code, const std::string& reason) {
    Turn turn;
    turn.resultCode = code;
    turn.description = reason;
    return turn;
}

bool IsExpected(const PlainCommand& command, const std::string& statusWord) {
    return std::any_of(command.expected.begin(), command.expected.end(), [&](const std::string& pattern) {
        return MatchesStatusWord(pattern, statusWord);
    });
}

CardResponse ParseResponse(const std::string& text) {
    const std::optional<Bytes> data = FromHexText(text.substr(0, text.size() - 4));
    if (!data) {
        throw CardProblem(ResultCode::WrongCardData, "a response has half a byte");
    }
    return {*data, StatusWord(text)};
}

class CardDialogue final : public Dialogue {
public:
    explicit CardDialogue(const CardService& carriedOut) : service(carriedOut) {}

    Turn Begin() override {
        position = 0;
        plan = service.channel;
        keyRing = service.keyRing;
        course.reset();
        channel.reset();
        planned.clear();
        sent.clear();
        return Guarded([this] { return NextTurn(); });
    }

    Turn Continue(const ResponseSet& responses) override {
        Turn turn;
        std::vector<Verdict> verdicts;
        if (!responses.Relayed()) {
            turn = EndingTurn(
                ResultCode::RelayFailed, "the agent relayed nothing (" + responses.relayFailure + ")");
        } else {
            verdicts = Verdicts(responses.responses);
            turn = Guarded([&] { return AfterResponses(responses.responses, verdicts); });
        }
        turn.verdicts = std::move(verdicts);
        return turn;
    }

private:
    template <typename Move>
    Turn Guarded(Move move) {
        notes.clear();
        Turn turn;
        try {
            turn = move();
        } catch (const CardProblem& problem) {
            turn = EndingTurn(problem.Code(), Place() + problem.what());
        }
        turn.notes = std::move(notes);
        return turn;
    }

    // The action of which a person reads, with its number.
    std::string Place() const {
        if (position >= service.actions.size()) {
            return {};
        }
        return "action " + std::to_string(position + 1) + " of " + std::to_string(service.actions.size()) +
               ", " + service.actions[position]->name + ": ";
    }

    std::vector<Verdict> Verdicts(const std::vector<std::string>& responses) const {
        std::vector<Verdict> verdicts;
        for (std::size_t i = 0; i < std::min(responses.size(), sent.size()); ++i) {
            const PlainCommand& plain = sent[i].plain;
            const std::string statusWord = StatusWord(responses[i]);
            verdicts.push_back(
                {sent[i].text, responses[i], statusWord, Joined(plain.expected),
                 IsExpected(plain, statusWord), plain.title});
        }
        return verdicts;
    }

    Turn AfterResponses(const std::vector<std::string>& responses, const std::vector<Verdict>& verdicts) {
        if (responses.size() != sent.size()) {
            return EndingTurn(
                ResultCode::WrongNumberOfResponses, Place() + std::to_string(sent.size()) +
                                                        " responses were expected, " +
                                                        std::to_string(responses.size()) + " came");
        }
        for (std::size_t i = 0; i < verdicts.size(); ++i) {
            if (!verdicts[i].accepted) {
                return Refuse(sent[i].plain, verdicts[i]);
            }
        }
        std::vector<CardResponse> taken;
        for (std::size_t i = 0; i < responses.size(); ++i) {
            if (sent[i].ofAction) {
                taken.push_back(sent[i].opener.Open(ParseResponse(responses[i])));
            }
        }
        Take(taken);
        return NextTurn();
    }

    Turn Refuse(const PlainCommand& command, const Verdict& verdict) const {
        const bool absent = command.codeWhenAbsent != nullptr && verdict.statusWord == "6A88";
        return EndingTurn(
            absent ? command.codeWhenAbsent : ResultCode::UnexpectedStatusWord,
            Place() + command.title + " was answered with " + verdict.statusWord + ", " +
                std::string(StatusMeaning(verdict.statusWord)) + "; expected was " + verdict.expected);
    }

    void Take(const std::vector<CardResponse>& responses) {
        sent.clear();
        if (channel && !channel->IsOpen()) {
            const PlainCommand command = channel->Authenticate(responses);
            Send(command, command.apdu, false);
            notes.push_back("channel opened with keys of version " + HexText({channel->Keys().version}));
            return;
        }
        // A course is asked for more only when all that it has planned is done.
        answered.insert(answered.end(), responses.begin(), responses.end());
        if (planned.empty() && course) {
            course->Take(answered);
            answered.clear();
        }
    }

    void Send(const PlainCommand& plain, const CommandApdu& apdu, bool ofAction, ResponseOpener opener = {}) {
        sent.push_back({plain, HexText(EncodeCommand(apdu)), ofAction, std::move(opener)});
    }

    // The next commands, after EXTERNAL AUTHENTICATE if that is due: a card that refuses it refuses them too.
    Turn NextTurn() {
        while (planned.empty()) {
            if (position == service.actions.size()) {
                Turn turn = EndingTurn(service.finalCode, "all actions are done");
                turn.completed = true;
                return turn;
            }
            if (!course && service.actions[position]->needsChannel && !channel) {
                return OpenChannel();
            }
            Plan();
        }
        const std::size_t count = std::min(planned.size(), service.commandsPerTurn);
        for (std::size_t i = 0; i < count; ++i) {
            const PlainCommand& plain = planned[i];
            if (channel) {
                const CommandApdu wrapped = channel->Wrap(plain.apdu);
                Send(plain, wrapped, true, channel->Opener());
            } else {
                Send(plain, plain.apdu, true);
            }
        }
        planned.erase(planned.begin(), planned.begin() + static_cast<std::ptrdiff_t>(count));
        return SentTurn();
    }

    // Lets the action go on; one that has nothing more to do makes room for the next.
    void Plan() {
        const Action& action = *service.actions[position];
        if (!course) {
            course = action.Begin(channel ? channel->Keys() : ChannelKeys());
        }
        planned = course->Next();
        if (planned.empty()) {
            for (std::string& finding : course->Findings()) {
                notes.push_back(std::move(finding));
            }
            course.reset();
            plan.keyVersion = action.newKeyVersion.value_or(plan.keyVersion);
            Enter(action);
            ++position;
            return;
        }
        if (action.endsChannel) {
            channel.reset();
        }
    }

    // The next channel is another domain's.
    void Enter(const Action& action) {
        if (action.enters) {
            plan.domain = action.enters->aid;
            plan.keyVersion = 0;
            keyRing = action.enters->keyRing;
            channel.reset();
        }
    }

    Turn OpenChannel() {
        channel.emplace(plan, *keyRing);
        for (const PlainCommand& command : channel->OpeningCommands()) {
            Send(command, command.apdu, true);
        }
        return SentTurn();
    }

    Turn SentTurn() const {
        Turn turn;
        turn.resultCode = ResultCode::CommandsExist;
        std::vector<std::string> commands;
        commands.reserve(sent.size());
        for (const SentCommand& command : sent) {
            commands.push_back(command.text);
        }
        turn.commandSet = JoinCommandSet(commands);
        const std::size_t others = sent.size() - 1;
        turn.description = Place() + sent.front().plain.title +
                           (others > 0 ? " and " + std::to_string(others) + " more" : "");
        return turn;
    }

    const CardService& service;
    std::size_t position = 0;
    ChannelPlan plan;  // with the domain and the key version that it has come to
    std::shared_ptr<const KeyRing> keyRing;
    std::unique_ptr<ActionCourse> course;  // of the action at the position, once it has begun
    std::optional<CardChannel> channel;    // opening until it is open
    std::vector<PlainCommand> planned;     // by the course, and not sent yet
    std::vector<SentCommand> sent;
    std::vector<CardResponse> answered;  // of what the course has planned
    std::vector<std::string> notes;      // for the turn that is being made
};

}  // namespace

bool MatchesSeId(const std::string& pattern, const std::string& seId) {
    const bool open = !pattern.empty() && pattern.back() == '*';
    const std::string begin = open ? pattern.substr(0, pattern.size() - 1) : pattern;
    if (open ? seId.size() < begin.size() : seId.size() != begin.size()) {
        return false;
    }
    return MatchesStatusWord(begin, seId.substr(0, begin.size()));
}

std::unique_ptr<Dialogue> CardService::Open(const Message& opening) const {
    const std::string& seId = opening.Field("seId");
    const bool served =
        seIdPatterns.empty() || std::any_of(
                                    seIdPatterns.begin(), seIdPatterns.end(),
                                    [&](const std::string& pattern) { return MatchesSeId(pattern, seId); });
    if (!served) {
        throw WrongMessage(
            ResultCode::ForeignDevice, "the service \"" + name + "\" does not serve the card " + seId);
    }
    return std::make_unique<CardDialogue>(*this);
}

}  // namespace KeyServer
