#include "card/Interpreter.h"

#include <algorithm>

#include "card/Commands.h"

namespace Card {

namespace {

constexpr std::uint8_t ProprietaryFlag = 0x80;
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

struct Instruction {
    std::uint8_t code;
    Answer (*carryOut)(Runtime&, const CommandApdu&);
    Protection protection;
    Availability availability;
};

constexpr std::uint8_t LoadCode = 0xE8;
constexpr std::uint8_t GetStatusCode = 0xF2;
constexpr std::uint8_t StoreDataCode = 0xE2;
constexpr std::uint8_t ExternalAuthenticateCode = 0x82;

constexpr Instruction Instructions[] = {
    {0xA4, Select, Protection::Selection, Availability::Locked},
    {0xCA, GetData, Protection::Reading, Availability::Always},
    {0x50, InitializeUpdate, Protection::Opening, Availability::Locked},
    {ExternalAuthenticateCode, ExternalAuthenticate, Protection::Authentication, Availability::Locked},
    {GetStatusCode, GetStatus, Protection::Management, Availability::Locked},
    {0xF0, SetStatus, Protection::Management, Availability::Locked},
    {0xE6, Install, Protection::Management, Availability::Working},
    {LoadCode, Load, Protection::Management, Availability::Working},
    {0xE4, Delete, Protection::Management, Availability::Working},
    {StoreDataCode, StoreData, Protection::Management, Availability::Working},
    {0xD8, PutKey, Protection::Management, Availability::Working},
};

const Instruction* FindInstruction(std::uint8_t code) {
    const auto* found = std::find_if(
        std::begin(Instructions), std::end(Instructions),
        [&](const Instruction& each) { return each.code == code; });
    return found == std::end(Instructions) ? nullptr : found;
}

// ISO 7816-4, 5.1.1, and GlobalPlatform, 11.1.4: classes 00 and 80, each with secure messaging, on channel 0.
void CheckClass(std::uint8_t cla) {
    if ((cla & ~(ProprietaryFlag | SecureMessagingClassBit | ChannelMask)) != 0) {
        Refuse(StatusWord::ClassNotSupported);
    }
    if ((cla & ChannelMask) != 0) {
        Refuse(StatusWord::ChannelNotSupported);
    }
}

void CheckClassOf(const Instruction& instruction, std::uint8_t cla) {
    const bool proprietary = (cla & ProprietaryFlag) != 0;
    const bool isProtected = (cla & SecureMessagingClassBit) != 0;
    bool right = proprietary;
    switch (instruction.protection) {
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
    if (instruction.protection == Protection::Selection && isProtected) {
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

CommandApdu WithoutProtection(Runtime& card, const Instruction& instruction, const CommandApdu& command) {
    const bool needsChannel = instruction.protection == Protection::Management;
    if (!needsChannel && instruction.protection != Protection::Reading) {
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
void GiveUpOthers(Session& session, std::uint8_t code, Protection protection) {
    if (code != ExternalAuthenticateCode) {
        session.challenge.reset();
    }
    if (code != LoadCode) {
        session.loading.reset();
    }
    if (code != GetStatusCode) {
        session.listing.reset();
    }
    if (code != StoreDataCode && protection != Protection::Reading) {
        session.storing.reset();
    }
}

}  // namespace

CommandApdu ReadCommand(const Bytes& bytes) {
    if (bytes.size() < HeaderLength) {
        Refuse(StatusWord::WrongLength);
    }
    CheckClass(bytes[0]);
    if (FindInstruction(bytes[1]) == nullptr) {
        Refuse(StatusWord::InstructionNotSupported);
    }
    std::optional<CommandApdu> command = ParseCommand(bytes);
    if (!command) {
        Refuse(StatusWord::WrongLength);
    }
    return std::move(*command);
}

Answer Interpret(Runtime& card, const CommandApdu& command) {
    const Instruction* instruction = FindInstruction(command.ins);
    GiveUpOthers(card.session, instruction->code, instruction->protection);
    CheckClassOf(*instruction, command.cla);
    const bool everybodys =
        instruction->protection == Protection::Selection || instruction->protection == Protection::Reading;
    if (!everybodys && !card.IssuerSelected()) {
        Refuse(StatusWord::InstructionNotSupported);
    }
    if (!IsAvailable(instruction->availability, card.Content().issuerDomain.state)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return instruction->carryOut(card, WithoutProtection(card, *instruction, command));
}

}  // namespace Card
