// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <iterator>

#include "globalplatform/CardWords.h"
#include "globalplatform/CommandWords.h"
#include "globalplatform/CplcFields.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/StatusMeaning.h"
#include "globalplatform/TagNames.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"
#include "trace/Details.h"

namespace Trace {

namespace {

using GlobalPlatform::CommandApdu;
using GlobalPlatform::HexText;
using GlobalPlatform::LengthValueReader;
namespace Instruction = GlobalPlatform::Instruction;
namespace Tag = GlobalPlatform::Tag;

constexpr std::size_t ShortestConcealed = 4;  // shorter values stand in other places by chance
constexpr std::size_t CodeLength = GlobalPlatform::CommandMacLength;
constexpr unsigned DeepestTree = 16;

bool IsProprietary(const CommandApdu& command) {
    return (command.cla & GlobalPlatform::ProprietaryClassBit) != 0;
}

// What the data of a command is when nobody has to see it; empty for what may be seen.
std::string SecretOf(const CommandApdu& command) {
    if (IsProprietary(command)) {
        return command.ins == Instruction::PutKey      ? "key data"
               : command.ins == Instruction::StoreData ? "card data"
                                                       : "";
    }
    switch (command.ins) {
        case 0x20:
        case 0x21:
        case 0x24:
        case 0x2C:
            return "reference data";
        case 0xD0:
        case 0xD1:
        case 0xD2:
        case 0xD6:
        case 0xD7:
        case 0xDA:
        case 0xDB:
        case 0xDC:
        case 0xDD:
        case 0xE2:
            return "card data";
        default:
            return "";
    }
}

bool ReadsRecords(const CommandApdu& command) {
    return !IsProprietary(command) && command.ins >= 0xB0 && command.ins <= 0xB3;
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& each : words) {
        text += (text.empty() ? "" : "; ") + each;
    }
    return text;
}

// The value of a data object in words, where it has such.
std::string MeaningOf(std::uint32_t tag, const Bytes& value) {
    switch (tag) {
        case Tag::LifeCycleState:
            return Joined(GlobalPlatform::LifeCycleWords(HexText(value)));
        case Tag::Privileges:
            return Joined(GlobalPlatform::PrivilegeWords(HexText(value)));
        case Tag::FreeMemory:
        case Tag::FreeVolatileMemory:
        case Tag::NumberOfApplications:
        case Tag::SequenceCounter:
            return std::to_string(GlobalPlatform::FromBigEndian(value));
        default:
            return {};
    }
}

std::string TagText(std::uint32_t tag) {
    const std::size_t width = tag > 0xFFFF ? 3 : tag > 0xFF ? 2 : 1;
    return HexText(GlobalPlatform::BigEndian(tag, width));
}

Bytes Without(const Bytes& bytes, std::size_t last) {
    return GlobalPlatform::First(bytes, bytes.size() - std::min(last, bytes.size()));
}

}  // namespace

std::string ApduDescriber::Title(const Bytes& bytes) const {
    const std::optional<CommandApdu> command = GlobalPlatform::ParseCommand(bytes);
    if (!command) {
        return "a command that is malformed";
    }
    const std::string first = FirstParameterWords(*command);
    const bool hasBlocks = IsProprietary(*command) &&
                           (command->ins == Instruction::Load || command->ins == Instruction::StoreData);
    const std::string words = hasBlocks ? SecondParameterWords(*command) : first;
    return InstructionWords(*command) + (words.empty() ? "" : ", " + words);
}

void ApduDescriber::Plain(const std::string& name, const Bytes& value, unsigned depth, Rows& rows) {
    const bool isName = name.find("AID") != std::string::npos;  // which every card of its kind has
    if (mask.IsOn() && !isName && HoldsCardNumber(value)) {
        Secret(name, "card", value, depth, rows);
        return;
    }
    rows.push_back({depth, name, HexText(value), ""});
}

void ApduDescriber::Secret(
    const std::string& name, const std::string& kind, const Bytes& value, unsigned depth, Rows& rows) {
    secrets.emplace_back(kind, value);
    const std::string length = std::to_string(value.size()) + (value.size() == 1 ? " byte" : " bytes");
    rows.push_back({depth, name, mask.Hide(kind, value), mask.IsOn() ? length + ", masked" : ""});
}

// The digits of all of it with an alias in the place of each secret.
std::string ApduDescriber::Concealed(const Bytes& whole) {
    std::string text = HexText(whole);
    if (!mask.IsOn()) {
        return text;
    }
    std::sort(secrets.begin(), secrets.end(), [](const auto& left, const auto& right) {
        return left.second.size() > right.second.size();
    });
    for (const auto& [kind, secret] : secrets) {
        if (!secret.empty() && secret.size() < ShortestConcealed) {
            return mask.Hide("data", whole);
        }
        const std::string digits = HexText(secret);
        for (std::size_t at = text.find(digits); !digits.empty() && at != std::string::npos;
             at = text.find(digits, at)) {
            const std::string alias = mask.Hide(kind, secret);
            text.replace(at, digits.size(), alias);
            at += alias.size();
        }
    }
    return text;
}

void ApduDescriber::LifeCycleData(const Bytes& value, unsigned depth, Rows& rows) {
    for (const GlobalPlatform::CplcField& field : GlobalPlatform::DecodeCplc(HexText(value))) {
        const bool isSerial = field.key == "icSerialNumber" || field.key == "icBatchIdentifier" ||
                              field.key == "icPrePersonalizationEquipment" ||
                              field.key == "icPersonalizationEquipment";
        const Bytes bytes = GlobalPlatform::FromHexText(field.value).value_or(Bytes());
        rows.push_back(
            {depth, field.label, isSerial ? mask.Hide("serial", bytes) : field.value, field.meaning});
    }
}

void ApduDescriber::Object(
    std::uint32_t tag, const Bytes& value, std::uint32_t within, unsigned depth, Rows& rows) {
    const std::string_view known = GlobalPlatform::TagName(tag, within);
    const std::string name = TagText(tag) + (known.empty() ? "" : " " + std::string(known));
    if (tag == Tag::ProductionLifeCycle) {
        Secret(name, "card", value, depth, rows);
        LifeCycleData(value, depth + 1, rows);
        return;
    }
    if (within != Tag::RegistryEntry && GlobalPlatform::NamesACard(tag)) {
        Secret(name, "card", value, depth, rows);
        return;
    }
    Rows inner;
    if (GlobalPlatform::IsConstructed(tag) && depth < DeepestTree && Tree(value, tag, depth + 1, inner)) {
        rows.push_back({depth, name, "", std::to_string(value.size()) + " bytes"});
        std::move(inner.begin(), inner.end(), std::back_inserter(rows));
        return;
    }
    Plain(name, value, depth, rows);
    rows.back().meaning += rows.back().meaning.empty() ? MeaningOf(tag, value) : "";
}

// False when the data is no sequence of objects.
bool ApduDescriber::Tree(const Bytes& data, std::uint32_t within, unsigned depth, Rows& rows) {
    const auto objects = GlobalPlatform::ParseTlv(data);
    if (!objects || objects->empty()) {
        return false;
    }
    for (const GlobalPlatform::TlvObject& object : *objects) {
        Object(object.tag, object.value, within, depth, rows);
    }
    return true;
}

// Fields of a length and a value; GlobalPlatform Card 2.3.1, 11.5.2.3.
void ApduDescriber::InstallData(const CommandApdu& command, const Bytes& data, Rows& rows) {
    namespace For = GlobalPlatform::InstallFor;
    static const std::vector<std::string> ForLoad = {
        "AID of the load file", "AID of the security domain", "hash of the load file", "parameters", "token"};
    static const std::vector<std::string> ForInstall = {
        "AID of the load file", "AID of the module", "AID of the application",
        "privileges",           "parameters",        "token"};
    static const std::vector<std::string> Others = {"field 1", "field 2",    "AID",
                                                    "field 4", "parameters", "token"};
    const bool installs = (command.p1 & (For::Install | For::MakeSelectable)) != 0;
    const std::vector<std::string>& names = (command.p1 & For::Load) != 0 ? ForLoad
                                            : installs                    ? ForInstall
                                                                          : Others;
    Rows fields;
    LengthValueReader reader(data);
    for (const std::string& name : names) {
        const std::optional<Bytes> value = reader.NextLong();
        if (!value) {
            Plain("data", data, 0, rows);
            return;
        }
        if (!value->empty()) {
            Plain(name, *value, 0, fields);
            fields.back().meaning = name == "privileges" ? MeaningOf(Tag::Privileges, *value) : "";
            if (name == "parameters") {
                Tree(*value, 0, 1, fields);
            }
        }
        if (reader.AtEnd()) {
            break;
        }
    }
    std::move(fields.begin(), fields.end(), std::back_inserter(rows));
}

void ApduDescriber::Data(const CommandApdu& command, const Bytes& data, Rows& rows) {
    if (data.empty()) {
        return;
    }
    const std::string secret = SecretOf(command);
    if (!secret.empty()) {
        Secret("data", secret, data, 0, rows);
        return;
    }
    if (IsProprietary(command)) {
        switch (command.ins) {
            case Instruction::Install:
                InstallData(command, data, rows);
                return;
            case Instruction::Load:
                rows.push_back(
                    {0, "part of the load file", HexText(data), std::to_string(data.size()) + " bytes"});
                return;
            case Instruction::InitializeUpdate:
                rows.push_back({0, "host challenge", HexText(data), ""});
                return;
            case Instruction::ExternalAuthenticate:
                rows.push_back({0, "host cryptogram", HexText(data), ""});
                return;
            default:
                break;
        }
    }
    if (command.ins == Instruction::Select) {
        rows.push_back({0, "AID", HexText(data), ""});
    } else if (!Tree(data, 0, 0, rows)) {
        Plain("data", data, 0, rows);
    }
}

// What stands around aliases that another program has put there may still be more than anybody has to see.
std::string ApduDescriber::HiddenData(const std::string& text) const {
    constexpr std::size_t LongestRest = 2 * (CodeLength + 2);  // of what is no data, in digits
    const std::size_t end = EndOfAlias(text, 0);
    return end != std::string::npos && text.size() - end <= LongestRest ? text : mask.HideText("data", text);
}

// The digits of all of it, as far as they are seen.
std::string ApduDescriber::HiddenBody(const CommandApdu& command, const std::string& text, Rows& rows) {
    const std::size_t lengthBytes = command.extended ? 3 : 1;
    const std::size_t head =
        std::min(text.find('{'), 2 * (GlobalPlatform::CommandHeaderLength + lengthBytes));
    const std::string data = HiddenData(text.substr(head));
    rows.push_back({0, "data", data, "masked by who wrote the input"});
    return text.substr(0, head) + data;
}

void ApduDescriber::Body(const CommandApdu& command, const Unwrapped& unwrapped, Rows& rows) {
    const bool hasCode = unwrapped.isProtected && command.data.size() >= CodeLength;
    const Bytes data = hasCode ? Without(command.data, CodeLength) : command.data;
    if (unwrapped.isEncrypted && SecretOf(command).empty() && !data.empty()) {
        rows.push_back({0, "data, encrypted", HexText(data), std::to_string(data.size()) + " bytes"});
    } else {
        Data(command, data, rows);
    }
    if (hasCode) {
        rows.push_back({0, "code (C-MAC)", HexText(GlobalPlatform::Last(command.data, CodeLength)), ""});
    }
    if (command.expectedLength) {
        rows.push_back({0, "Le", std::to_string(*command.expectedLength), ""});
    }
}

void ApduDescriber::Command(const Seen& seen, const Unwrapped& unwrapped, Details& details) {
    secrets.clear();
    const std::optional<CommandApdu> command = GlobalPlatform::ParseCommand(seen.bytes);
    Section section{"Command", {}};
    Rows& rows = section.rows;
    if (!command) {
        details.command = mask.HideText("data", TextOf(seen));
        rows.push_back({0, "command", details.command, ""});
        details.sections.push_back(std::move(section));
        return;
    }
    rows.push_back({0, "CLA", HexText({command->cla}), GlobalPlatform::ClassWords(command->cla)});
    rows.push_back({0, "INS", HexText({command->ins}), InstructionWords(*command)});
    rows.push_back({0, "P1", HexText({command->p1}), FirstParameterWords(*command)});
    rows.push_back({0, "P2", HexText({command->p2}), SecondParameterWords(*command)});
    if (!command->data.empty()) {
        rows.push_back({0, "Lc", std::to_string(command->data.size()), ""});
    }
    if (seen.masked.empty()) {
        Body(*command, unwrapped, rows);
        details.command = Concealed(seen.bytes);
    } else {
        details.command = HiddenBody(*command, seen.masked, rows);
    }
    if (!unwrapped.verdict.empty()) {
        rows.push_back({0, "channel", "", unwrapped.verdict});
    }
    details.sections.push_back(std::move(section));
    if (unwrapped.command) {
        Section clear{"Command in the clear", {}};
        Data(*unwrapped.command, unwrapped.command->data, clear.rows);
        details.sections.push_back(std::move(clear));
    }
}

void ApduDescriber::ChannelAnswer(const Bytes& data, Rows& rows) {
    const auto answer = GlobalPlatform::ReadChannelAnswer(data);
    if (!answer || answer->cryptogram.empty()) {
        Plain("data", data, 0, rows);
        return;
    }
    const std::string protocol = HexText({answer->protocol});
    Secret("key diversification data", "card", answer->diversification, 0, rows);
    rows.push_back({0, "key version", HexText({answer->keyVersion}), ""});
    rows.push_back(
        {0, "protocol", protocol, "SCP" + protocol + " with option i=" + HexText({answer->option})});
    rows.push_back({0, "card challenge", HexText(answer->challenge), ""});
    rows.push_back({0, "card cryptogram", HexText(answer->cryptogram), ""});
    if (!answer->rest.empty()) {
        rows.push_back({0, "sequence counter", HexText(answer->rest), ""});
    }
}

void ApduDescriber::ResponseData(const CommandApdu& command, const Bytes& data, Rows& rows) {
    if (data.empty()) {
        return;
    }
    const std::uint32_t object = static_cast<std::uint32_t>(command.p1) << 8U | command.p2;
    const bool readsData = command.ins == Instruction::GetData || command.ins == Instruction::GetListedData;
    if (IsProprietary(command) && command.ins == Instruction::InitializeUpdate) {
        ChannelAnswer(data, rows);
    } else if (ReadsRecords(command) || (IsProprietary(command) && command.ins == Instruction::StoreData)) {
        Secret("data", "card data", data, 0, rows);
    } else if (!Tree(data, 0, 0, rows)) {
        const bool isSecret = readsData && GlobalPlatform::NamesACard(object);
        if (isSecret) {
            Secret("data", "card", data, 0, rows);
        } else {
            Plain("data", data, 0, rows);
        }
    }
}

void ApduDescriber::Response(const Entry& entry, const Unwrapped& unwrapped, Details& details) {
    secrets.clear();
    const CommandApdu command = GlobalPlatform::ParseCommand(entry.command.bytes).value_or(CommandApdu());
    const std::string word = StatusWordOf(entry);
    Section section{"Response", {}};
    if (entry.response.masked.empty()) {
        ResponseBody(command, entry.response.bytes, unwrapped, details, section.rows);
        details.response = Concealed(entry.response.bytes);
    } else {
        const std::string& text = entry.response.masked;
        const std::string data = mask.HideText("data", text.substr(0, text.size() - word.size()));
        section.rows.push_back({0, "data", data, "masked by who wrote the input"});
        details.response = data + word;
    }
    section.rows.push_back({0, "SW", word, std::string(GlobalPlatform::StatusMeaning(word))});
    details.sections.push_back(std::move(section));
}

void ApduDescriber::ResponseBody(
    const CommandApdu& command, const Bytes& response, const Unwrapped& unwrapped, Details& details,
    Rows& rows) {
    const Bytes whole = Without(response, 2);
    const bool hasCode = unwrapped.hasProtectedResponse && whole.size() >= CodeLength;
    const Bytes data = hasCode ? Without(whole, CodeLength) : whole;
    if (unwrapped.response) {
        Section clear{"Response in the clear", {}};
        ResponseData(command, *unwrapped.response, clear.rows);
        details.sections.push_back(std::move(clear));
    }
    ResponseData(command, data, rows);
    if (hasCode) {
        rows.push_back({0, "code (R-MAC)", HexText(GlobalPlatform::Last(whole, CodeLength)), ""});
    }
}

}  // namespace Trace
