// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/CommandWords.h"

#include "globalplatform/CardWords.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Scp03.h"
#include "globalplatform/TagNames.h"

namespace GlobalPlatform {

namespace {

constexpr std::uint8_t FurtherChannelsBit = 0x40;  // channels 4 to 19

std::string Hex(std::uint8_t byte) {
    return HexText({byte});
}

std::string Joined(const std::string& first, const std::string& second) {
    return first.empty() || second.empty() ? first + second : first + ", " + second;
}

bool IsGlobalPlatform(const CommandApdu& command, std::uint8_t instruction) {
    return command.ins == instruction && (command.cla & ProprietaryClassBit) != 0;
}

std::string InstallWords(std::uint8_t p1) {
    struct Purpose {
        std::uint8_t bit;
        const char* words;
    };
    constexpr Purpose Purposes[] = {
        {InstallFor::Load, "for load"},
        {InstallFor::Install, "for install"},
        {InstallFor::MakeSelectable, "for make selectable"},
        {0x10, "for extradition"},
        {InstallFor::Personalization, "for personalization"},
        {0x40, "for registry update"}};
    std::string words;
    for (const Purpose& purpose : Purposes) {
        words = (p1 & purpose.bit) != 0 ? Joined(words, purpose.words) : words;
    }
    return Joined(words, (p1 & MoreCommandsFlag) != 0 ? "more commands follow" : "");
}

std::string StoreDataWords(std::uint8_t p1) {
    std::string words = (p1 & LastBlockFlag) != 0 ? "last block" : "more blocks follow";
    switch (p1 & 0x18) {
        case DataStructure::DataGroups:
            words += ", data groups";
            break;
        case DataStructure::BerTlv:
            words += ", BER-TLV";
            break;
        default:
            break;
    }
    switch (p1 & 0x60) {
        case 0x20:
            return words + ", encryption is the application's own";
        case 0x60:
            return words + ", encrypted";
        default:
            return words;
    }
}

std::string StatusSubsetWords(std::uint8_t p1) {
    switch (p1) {
        case StatusSubset::IssuerDomain:
            return "issuer security domain";
        case StatusSubset::Applications:
            return "applications and security domains";
        case StatusSubset::LoadFiles:
            return "load files";
        case StatusSubset::LoadFilesAndModules:
            return "load files and their modules";
        default:
            return {};
    }
}

std::string StatusTargetWords(std::uint8_t p1) {
    switch (p1 & StatusTarget::Mask) {
        case StatusTarget::IssuerDomain:
            return "of the card";
        case StatusTarget::Application:
            return "of an application or security domain";
        case StatusTarget::DomainAndItsApplications:
            return "of a security domain and its applications";
        default:
            return {};
    }
}

std::string SecurityLevelWords(std::uint8_t level) {
    std::string words;
    words = Joined(words, (level & 0x01) != 0 ? "commands with a code" : "");
    words = Joined(words, (level & 0x02) != 0 ? "commands encrypted" : "");
    words = Joined(words, (level & 0x10) != 0 ? "responses with a code" : "");
    words = Joined(words, (level & 0x20) != 0 ? "responses encrypted" : "");
    return words.empty() ? "no protection" : words;
}

std::string KeyVersionWords(std::uint8_t version, const char* ofNone) {
    return version == 0 ? ofNone : "key version " + Hex(version);
}

std::string ObjectWords(const CommandApdu& command) {
    const std::uint32_t tag = static_cast<std::uint32_t>(command.p1) << 8U | command.p2;
    const std::string name(TagName(tag));
    return name.empty() ? "object " + (command.p1 == 0 ? Hex(command.p2) : Hex(command.p1) + Hex(command.p2))
                        : name;
}

std::string StateWords(const CommandApdu& command) {
    std::string all;
    for (const std::string& words : LifeCycleWords(Hex(command.p2))) {
        const bool ofCard = words.rfind("of a card", 0) == 0;
        if (ofCard == (command.p1 == StatusTarget::IssuerDomain)) {
            all = Joined(all, words);
        }
    }
    return all;
}

std::string ProprietaryFirst(const CommandApdu& command) {
    const std::uint8_t p1 = command.p1;
    switch (command.ins) {
        case Instruction::InitializeUpdate:
            return KeyVersionWords(p1, "the card chooses the key version");
        case Instruction::ExternalAuthenticate:
            return SecurityLevelWords(p1);
        case Instruction::Install:
            return InstallWords(p1);
        case Instruction::Load:
            return (p1 & LastBlockFlag) != 0 ? "last block" : "more blocks follow";
        case Instruction::StoreData:
            return StoreDataWords(p1);
        case Instruction::PutKey:
            return Joined(
                KeyVersionWords(p1 & 0x7FU, "a new key version"),
                (p1 & MoreCommandsFlag) != 0 ? "more commands follow" : "");
        case Instruction::GetStatus:
            return StatusSubsetWords(p1);
        case Instruction::SetStatus:
            return StatusTargetWords(p1);
        case Instruction::Delete:
            return (p1 & MoreCommandsFlag) != 0 ? "more commands follow" : "last or only command";
        default:
            return {};
    }
}

std::string ProprietarySecond(const CommandApdu& command) {
    const std::uint8_t p2 = command.p2;
    switch (command.ins) {
        case Instruction::Load:
        case Instruction::StoreData:
            return "block " + std::to_string(p2);
        case Instruction::PutKey:
            return ((p2 & SeveralKeysFlag) != 0 ? "several keys from identifier " : "key identifier ") +
                   std::to_string(p2 & 0x7FU);
        case Instruction::GetStatus:
            return Joined(
                (p2 & StatusFlag::Next) != 0 ? "next occurrence" : "first or all occurrences",
                (p2 & StatusFlag::InTlv) != 0 ? "in TLV" : "");
        case Instruction::SetStatus:
            return StateWords(command);
        case Instruction::Delete:
            return (p2 & Deletion::WithRelatedObjects) != 0 ? "with related objects" : "the object alone";
        default:
            return {};
    }
}

std::string SelectionWords(std::uint8_t p2) {
    switch (p2 & 0x03) {
        case Selection::First:
            return "first or only occurrence";
        case Selection::Next:
            return "next occurrence";
        case 0x01:
            return "last occurrence";
        default:
            return "previous occurrence";
    }
}

}  // namespace

bool HasSecureMessaging(std::uint8_t cla) {
    return (cla & FurtherChannelsBit) != 0 ? (cla & 0x20) != 0 : (cla & 0x0C) != 0;
}

std::string ClassWords(std::uint8_t cla) {
    std::string words = (cla & ProprietaryClassBit) != 0 ? "GlobalPlatform" : "ISO";
    words = Joined(words, HasSecureMessaging(cla) ? "secure messaging" : "");
    const int channel = (cla & FurtherChannelsBit) != 0 ? 4 + (cla & 0x0F) : cla & LogicalChannelMask;
    return Joined(words, channel != 0 ? "logical channel " + std::to_string(channel) : "");
}

std::string InstructionWords(const CommandApdu& command) {
    const std::string_view name = InstructionName(command.cla, command.ins);
    return name.empty() ? "unknown instruction " + Hex(command.ins) : std::string(name);
}

std::string FirstParameterWords(const CommandApdu& command) {
    switch (command.ins) {
        case Instruction::GetData:
        case Instruction::GetListedData:
            return ObjectWords(command);
        case Instruction::Select:
            return command.p1 == Selection::ByName ? "by name" : "";
        case Instruction::ManageChannel:
            return command.p1 == 0 ? "open a channel" : "close a channel";
        default:
            return (command.cla & ProprietaryClassBit) != 0 ? ProprietaryFirst(command) : "";
    }
}

std::string SecondParameterWords(const CommandApdu& command) {
    switch (command.ins) {
        case Instruction::Select:
            return IsGlobalPlatform(command, Instruction::Select) ? "" : SelectionWords(command.p2);
        case Instruction::ManageChannel:
            return command.p2 == 0 && command.p1 == 0 ? "the card chooses its number"
                                                      : "channel " + std::to_string(command.p2);
        default:
            return (command.cla & ProprietaryClassBit) != 0 ? ProprietarySecond(command) : "";
    }
}

}  // namespace GlobalPlatform
