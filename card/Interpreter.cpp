// SPDX-License-Identifier: Apache-2.0
#include "card/Interpreter.h"

#include <algorithm>

#include "card/Commands.h"
#include "globalplatform/Instruction.h"

namespace Card {

namespace {

constexpr std::uint8_t ChannelMask = 0x03;
constexpr std::size_t HeaderLength = 4;

// How a command stands to class byte and secure channel.
enum class Protection {
    Selection,       // interindustry, never protected
    Opening,         // proprietary, unprotected: it begins a channel
    Authentication,  // proprietary, with the channel's first code
    Reading,         // either class; protected when a channel is open
    Management,      // proprietary; needs an open channel
};

// In which states of a card other than the working ones it is carried out; 5.1.1 and table 11-1.
enum class Availability { Working, Locked, Always };

struct Rule {
    std::uint8_t instruction;
    Answer (*carryOut)(Runtime&, const CommandApdu&);
    Protection protection;
    Availability availability;
};

constexpr Rule Rules[] = {
    {Instruction::Select, Select, Protection::Selection, Availability::Locked},
    {Instruction::GetData, GetData, Protection::Reading, Availability::Always},
    {Instruction::InitializeUpdate, InitializeUpdate, Protection::Opening, Availability::Locked},
    {Instruction::ExternalAuthenticate, ExternalAuthenticate, Protection::Authentication,
     Availability::Locked},
    {Instruction::GetStatus, GetStatus, Protection::Management, Availability::Locked},
    {Instruction::SetStatus, SetStatus, Protection::Management, Availability::Locked},
    {Instruction::Install, Install, Protection::Management, Availability::Working},
    {Instruction::Load, Load, Protection::Management, Availability::Working},
    {Instruction::Delete, Delete, Protection::Management, Availability::Working},
    {Instruction::StoreData, StoreData, Protection::Management, Availability::Working},
    {Instruction::PutKey, PutKey, Protection::Management, Availability::Working},
};

const Rule* FindRule(std::uint8_t instruction) {
    const auto* found = std::find_if(std::begin(Rules), std::end(Rules), [&](const Rule& each) {
        return each.instruction == instruction;
    });
    return found == std::end(Rules) ? nullptr : found;
}

// ISO 7816-4, 5.1.1, and GlobalPlatform, 11.1.4: classes 00 and 80, each with secure messaging, on channel 0.
void CheckClass(std::uint8_t cla) {
    if ((cla & ~(ProprietaryClassBit | SecureMessagingClassBit | ChannelMask)) != 0) {
        Refuse(StatusWord::ClassNotSupported);
    }
    if ((cla & ChannelMask) != 0) {
        Refuse(StatusWord::ChannelNotSupported);
    }
}

void CheckClassUnder(const Rule& rule, std::uint8_t cla) {
    const bool proprietary = (cla & ProprietaryClassBit) != 0;
    const bool isProtected = (cla & SecureMessagingClassBit) != 0;
    bool right = proprietary;
    switch (rule.protection) {
        case Protection::Selection:
            right = !proprietary;
            break;
        case Protection::Opening:
            right = proprietary && !isProtected;
            break;
        case Protection::Authentication:
            right = proprietary && isProtected;
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
    if (rule.protection == Protection::Selection && isProtected) {
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

// Each command under an open channel is protected at its level, or ends it; 10.6 and Amendment D, 6.2.4.
CommandApdu Unprotected(Runtime& card, const CommandApdu& command) {
    Channel& channel = *card.session.channel;
    const bool marked = (command.cla & SecureMessagingClassBit) != 0;
    std::optional<CommandApdu> plain;
    if (marked == (channel.level != SecurityLevel::None)) {
        plain = channel.messaging.Unwrap(command, channel.level);
    }
    if (!plain) {
        card.EndChannel();
        Refuse(StatusWord::SecurityNotSatisfied);
    }
    return *plain;
}

CommandApdu WithoutProtection(Runtime& card, const Rule& rule, const CommandApdu& command) {
    const bool needsChannel = rule.protection == Protection::Management;
    if (!needsChannel && rule.protection != Protection::Reading) {
        return command;
    }
    if (card.session.channel) {
        return Unprotected(card, command);
    }
    if (needsChannel || (command.cla & SecureMessagingClassBit) != 0) {
        Refuse(StatusWord::SecurityNotSatisfied);
    }
    return command;
}

// What goes over several commands is given up by a command that does not belong to it.
void GiveUpOthers(Session& session, const Rule& rule) {
    if (rule.instruction != Instruction::ExternalAuthenticate) {
        session.challenge.reset();
    }
    if (rule.instruction != Instruction::Load) {
        session.loading.reset();
    }
    if (rule.instruction != Instruction::GetStatus) {
        session.listing.reset();
    }
    if (rule.instruction != Instruction::StoreData && rule.protection != Protection::Reading) {
        session.storing.reset();
    }
}

}  // namespace

CommandApdu ReadCommand(const Bytes& bytes) {
    if (bytes.size() < HeaderLength) {
        Refuse(StatusWord::WrongLength);
    }
    CheckClass(bytes[0]);
    if (FindRule(bytes[1]) == nullptr) {
        Refuse(StatusWord::InstructionNotSupported);
    }
    std::optional<CommandApdu> command = ParseCommand(bytes);
    if (!command) {
        Refuse(StatusWord::WrongLength);
    }
    return std::move(*command);
}

Answer Interpret(Runtime& card, const CommandApdu& command) {
    const Rule* rule = FindRule(command.ins);
    GiveUpOthers(card.session, *rule);
    CheckClassUnder(*rule, command.cla);
    const bool everybodys =
        rule->protection == Protection::Selection || rule->protection == Protection::Reading;
    if (!everybodys && !card.IssuerSelected()) {
        Refuse(StatusWord::InstructionNotSupported);
    }
    if (!IsAvailable(rule->availability, card.Content().issuerDomain.state)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return rule->carryOut(card, WithoutProtection(card, *rule, command));
}

}  // namespace Card
