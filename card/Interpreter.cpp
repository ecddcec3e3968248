// SPDX-License-Identifier: Apache-2.0
#include "card/Interpreter.h"

#include <algorithm>
#include <utility>

#include "card/Commands.h"
#include "card/ProgramAnswers.h"
#include "globalplatform/CommandApdu.h"
#include "globalplatform/Instruction.h"

namespace Card {

namespace {

// What the parts of one command may carry together.
constexpr std::size_t LongestChain = 4096;

// How a command stands to class byte and secure channel.
enum class Protection {
    Selection,       // interindustry, never protected, also of logical channels
    Opening,         // proprietary, unprotected: it begins a channel
    Authentication,  // proprietary, with the channel's first code
    Reading,         // either class; protected when a channel is open
    Management,      // proprietary; needs an open channel
};

// In which states of a card other than the working ones it is carried out; 5.1.1 and table 11-1.
enum class Availability { Working, Locked, Always };

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): a table is read by its first column
struct Rule {
    std::uint8_t instruction;
    Answer (*carryOut)(Runtime&, const CommandApdu&);
    Protection protection;
    Availability availability;
    bool chains = false;  // may come in parts, 11.1.5.1
};

constexpr Rule Rules[] = {
    {Instruction::Select, Select, Protection::Selection, Availability::Locked},
    {Instruction::ManageChannel, ManageChannel, Protection::Selection, Availability::Always},
    {Instruction::GetData, GetData, Protection::Reading, Availability::Always},
    {Instruction::GetListedData, GetListedData, Protection::Reading, Availability::Always},
    {Instruction::InitializeUpdate, InitializeUpdate, Protection::Opening, Availability::Locked},
    {Instruction::ExternalAuthenticate, ExternalAuthenticate, Protection::Authentication,
     Availability::Locked},
    {Instruction::BeginResponseMac, BeginResponseMac, Protection::Management, Availability::Locked},
    {Instruction::EndResponseMac, EndResponseMac, Protection::Management, Availability::Locked},
    {Instruction::GetStatus, GetStatus, Protection::Management, Availability::Locked},
    {Instruction::SetStatus, SetStatus, Protection::Management, Availability::Locked},
    {Instruction::Install, Install, Protection::Management, Availability::Working, true},
    {Instruction::Load, Load, Protection::Management, Availability::Working},
    {Instruction::Delete, Delete, Protection::Management, Availability::Working, true},
    {Instruction::StoreData, StoreData, Protection::Management, Availability::Working},
    {Instruction::PutKey, PutKey, Protection::Management, Availability::Working, true},
};

const Rule* FindRule(std::uint8_t instruction) {
    const auto* found = std::find_if(std::begin(Rules), std::end(Rules), [&](const Rule& each) {
        return each.instruction == instruction;
    });
    return found == std::end(Rules) ? nullptr : found;
}

bool IsMarked(const CommandApdu& command) {
    return (command.cla & SecureMessagingClassBit) != 0;
}

// ISO 7816-4, 5.1.1, and GlobalPlatform, 11.1.4: classes 00 and 80 with the first four logical channels, each
// with secure messaging. Those of the others, from 40 and C0 on, are known, and not open.
void CheckClass(std::uint8_t cla) {
    constexpr std::uint8_t ManyChannelsBit = 0x40;
    constexpr std::uint8_t CommandChainingBit = 0x10;
    constexpr std::uint8_t KnownBits = ProprietaryClassBit | SecureMessagingClassBit | LogicalChannelMask;
    if ((cla & ManyChannelsBit) != 0 && (cla & CommandChainingBit) == 0) {
        Refuse(StatusWord::ChannelNotSupported);
    }
    if ((cla & ~KnownBits) != 0) {
        Refuse(StatusWord::ClassNotSupported);
    }
}

void CheckClassUnder(const Rule& rule, const CommandApdu& command) {
    const bool proprietary = (command.cla & ProprietaryClassBit) != 0;
    bool right = proprietary;
    switch (rule.protection) {
        case Protection::Selection:
            right = !proprietary;
            break;
        case Protection::Opening:
            right = proprietary && !IsMarked(command);
            break;
        case Protection::Authentication:
            right = proprietary && IsMarked(command);
            break;
        case Protection::Reading:
            right = true;
            break;
        case Protection::Management:
            break;
    }
    if (!right) {
        Refuse(StatusWord::ClassNotSupported);
    }
    if (rule.protection == Protection::Selection && IsMarked(command)) {
        Refuse(StatusWord::SecureMessagingNotSupported);
    }
}

bool IsAvailable(Availability availability, std::uint8_t cardState) {
    switch (cardState) {
        case LifeCycle::CardTerminated:
            return availability == Availability::Always;
        case LifeCycle::CardLocked:
            return availability != Availability::Working;
        default:
            return true;
    }
}

// The ways out of a channel, which it does not protect: a selection and the beginning of another.
bool LeavesChannel(const Rule* rule, const CommandApdu& command) {
    return rule != nullptr && !IsMarked(command) &&
           (rule->protection == Protection::Selection || rule->protection == Protection::Opening);
}

// Each command under an open channel is protected at its level, or aborts it; Amendment D, 5.6 and 6.2.4.
CommandApdu Unprotected(Runtime& card, const CommandApdu& command) {
    Channel& channel = *card.session.channel;
    std::optional<CommandApdu> plain;
    if (IsMarked(command) == (channel.level != SecurityLevel::None)) {
        plain = channel.messaging.Unwrap(command, channel.level);
    }
    if (!plain) {
        card.AbortChannel();
        Refuse(StatusWord::SecurityNotSatisfied);
    }
    return std::move(*plain);
}

// What goes over several commands is given up by a command that does not belong to it. A listing goes on
// within the selection, and data is stored until its last block, whatever comes between.
void GiveUpOthers(Session& session, std::uint8_t instruction) {
    if (instruction != Instruction::ExternalAuthenticate) {
        session.challenge.reset();
    }
    if (instruction != Instruction::Load) {
        session.loading.reset();
    }
}

bool IsPart(const Rule* rule, const CommandApdu& command) {
    return rule != nullptr && rule->chains && (command.p1 & MoreCommandsFlag) != 0;
}

bool GoesOn(const Chain& chain, const CommandApdu& command) {
    return command.cla == chain.beginning.cla && command.ins == chain.beginning.ins &&
           (command.p1 & ~MoreCommandsFlag) == (chain.beginning.p1 & ~MoreCommandsFlag) &&
           command.p2 == chain.beginning.p2;
}

// A part has no code of its own: that of the whole comes with the last one; Amendment D, 6.2.4.
Answer TakePart(Runtime& card, const CommandApdu& part) {
    const std::optional<Channel>& channel = card.session.channel;
    if (!channel) {
        Refuse(StatusWord::SecurityNotSatisfied);
    }
    if (IsMarked(part) != (channel->level != SecurityLevel::None)) {
        card.AbortChannel();
        Refuse(StatusWord::SecurityNotSatisfied);
    }
    std::optional<Chain> chain = std::move(card.session.chain);
    card.session.chain.reset();
    if (chain && !GoesOn(*chain, part)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    if (!chain) {
        chain = Chain{part, {}};
    }
    Append(chain->data, part.data);
    if (chain->data.size() > LongestChain) {
        Refuse(StatusWord::WrongParameters);
    }
    card.session.chain = std::move(chain);
    return {};
}

// The command that all parts make.
CommandApdu Joined(const Chain& chain, const CommandApdu& last) {
    CommandApdu whole = last;
    whole.data = chain.data;
    Append(whole.data, last.data);
    whole.extended = false;
    return whole;
}

// The plain command. What the channel protects is unwrapped whatever becomes of it, so that both ends go on
// with the same chaining value. A command that breaks into another's parts is refused, 11.1.5.1.
CommandApdu Received(Runtime& card, const Rule* rule, const CommandApdu& command) {
    const std::optional<Chain> chain = std::move(card.session.chain);
    card.session.chain.reset();
    const bool last = chain && GoesOn(*chain, command);
    CommandApdu plain = last ? Joined(*chain, command) : command;
    if (card.session.channel) {
        plain = Unprotected(card, plain);
    }
    if (chain && !last) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    if (rule == nullptr) {
        Refuse(StatusWord::InstructionNotSupported);
    }
    return plain;
}

void CheckAccess(const Runtime& card, const Rule& rule, const CommandApdu& command) {
    CheckClassUnder(rule, command);
    const bool everybodys =
        rule.protection == Protection::Selection || rule.protection == Protection::Reading;
    const Application* domain = card.SelectedDomain();
    if (!everybodys && domain == nullptr) {
        Refuse(StatusWord::InstructionNotSupported);
    }
    // A supplementary domain that is locked while it is selected does nothing more, 5.3.2.4.
    const bool leaves = rule.protection == Protection::Selection;
    if (domain != nullptr && !leaves && !card.Content().IsIssuer(*domain) && domain->IsLocked()) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    if (!IsAvailable(rule.availability, card.Content().issuerDomain.state)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    const bool protectedInVain = rule.protection == Protection::Reading && IsMarked(command);
    if (!card.session.channel && (rule.protection == Protection::Management || protectedInVain)) {
        Refuse(StatusWord::SecurityNotSatisfied);
    }
}

}  // namespace

CommandApdu ReadCommand(const Bytes& bytes) {
    if (bytes.size() < CommandHeaderLength) {
        Refuse(StatusWord::WrongLength);
    }
    CheckClass(bytes[0]);
    std::optional<CommandApdu> command = ParseCommand(bytes);
    if (!command) {
        const bool known = FindRule(bytes[1]) != nullptr;
        Refuse(known ? StatusWord::WrongLength : StatusWord::InstructionNotSupported);
    }
    return std::move(*command);
}

Answer Interpret(Runtime& card, const CommandApdu& command) {
    const Rule* rule = FindRule(command.ins);
    GiveUpOthers(card.session, command.ins);
    if (std::optional<Answer> answer = AnswerByProgram(card, command)) {
        return std::move(*answer);
    }
    if (LeavesChannel(rule, command)) {
        card.session.chain.reset();
        CheckAccess(card, *rule, command);
        return rule->carryOut(card, command);
    }
    if (card.session.aborted) {
        Refuse(StatusWord::SecurityNotSatisfied);
    }
    if (IsPart(rule, command)) {
        CheckClassUnder(*rule, command);
        return TakePart(card, command);
    }
    const CommandApdu plain = Received(card, rule, command);
    CheckAccess(card, *rule, command);
    // The answer that begins a channel is not protected by it, and the last one that it protects is.
    const std::optional<Channel>& channel = card.session.channel;
    const SecurityLevel level = channel ? channel->level : SecurityLevel::None;
    Answer answer = rule->carryOut(card, plain);
    if (channel && ProtectsResponses(level)) {
        answer.data =
            channel->messaging.WrapResponse(answer.data, static_cast<std::uint16_t>(answer.status), level);
    }
    return answer;
}

}  // namespace Card
