// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/ActionReader.h"

#include <array>
#include <stdexcept>

#include "globalplatform/Aid.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"
#include "keyserver/provisioning/CardActions.h"
#include "keyserver/provisioning/CardCommands.h"
#include "keyserver/provisioning/LoadFile.h"

namespace KeyServer {

namespace {

using GlobalPlatform::FromHexText;
using GlobalPlatform::HexText;
namespace StatusTarget = GlobalPlatform::StatusTarget;

using Reader = std::unique_ptr<Action> (*)(const Place& place, const ActionSetting& setting);

// The members that every action may have come with those of its kind.
void Members(const Place& place, std::vector<std::string> ofKind) {
    ofKind.insert(ofKind.begin(), {"do", "comment"});
    place.OnlyMembers(ofKind);
}

bool FlagOr(const Place& place, const std::string& member, bool otherwise) {
    return place.Has(member) ? place.At(member).Flag() : otherwise;
}

Bytes HexOr(const Place& place, const std::string& member, std::size_t most, const Bytes& otherwise) {
    return place.Has(member) ? ReadHex(place.At(member), 0, most) : otherwise;
}

void CheckRoom(const Place& place, const std::vector<PlainCommand>& commands, const ActionSetting& setting) {
    const std::size_t room = RoomForData(setting.level);
    for (const PlainCommand& command : commands) {
        if (command.apdu.data.size() > room) {
            place.Complain(
                command.title + " has " + std::to_string(command.apdu.data.size()) +
                " bytes of data; under this security " + std::to_string(room) + " have room");
        }
    }
}

std::unique_ptr<Action> Fixed(
    const Place& place, const ActionSetting& setting, std::vector<PlainCommand> commands) {
    CheckRoom(place, commands, setting);
    return std::make_unique<FixedAction>(std::move(commands));
}

CardSubset ReadSubset(const Place& place) {
    const std::string subset = place.Text();
    if (subset == "issuerDomain") {
        return CardSubset::IssuerDomain;
    }
    if (subset == "applications") {
        return CardSubset::Applications;
    }
    if (subset == "loadFiles") {
        return CardSubset::LoadFiles;
    }
    place.Complain("must be \"issuerDomain\", \"applications\" or \"loadFiles\", not \"" + subset + "\"");
}

std::unique_ptr<Action> ReadList(const Place& place, const ActionSetting&) {
    Members(place, {"of"});
    std::vector<CardSubset> subsets{
        CardSubset::IssuerDomain, CardSubset::Applications, CardSubset::LoadFiles};
    if (place.Has("of")) {
        subsets.clear();
        for (const Place& subset : place.At("of").OneOrMore()) {
            subsets.push_back(ReadSubset(subset));
        }
    }
    return std::make_unique<ListAction>(std::move(subsets));
}

std::unique_ptr<Action> ReadDelete(const Place& place, const ActionSetting& setting) {
    Members(place, {"aid", "dependents", "mustExist"});
    std::vector<PlainCommand> commands;
    for (const Place& aid : place.At("aid").OneOrMore()) {
        commands.push_back(DeleteCommand(
            ReadAid(aid), FlagOr(place, "dependents", false), !FlagOr(place, "mustExist", false)));
        commands.back().decides = true;
    }
    return Fixed(place, setting, std::move(commands));
}

std::unique_ptr<Action> ReadLoad(const Place& place, const ActionSetting& setting) {
    Members(place, {"file", "package", "securityDomain", "parameters", "blockLength"});
    const Place filePlace = place.At("file");
    const std::size_t room = RoomForData(setting.level);
    LoadOrder order;
    order.package = ReadAid(place.At("package"));
    order.domain = place.Has("securityDomain") ? ReadAid(place.At("securityDomain")) : Bytes();
    order.parameters = HexOr(place, "parameters", 127, {});
    order.blockLength = place.Has("blockLength") ? place.At("blockLength").Number(1, room) : room;
    try {
        LoadFile file = MakeLoadFile(ReadWholeFile((setting.folder / filePlace.NonEmptyText()).string()));
        order.fileData = std::move(file.data);
        order.hash = std::move(file.hash);
        return Fixed(place, setting, LoadCommands(order));
    } catch (const ScriptError& error) {
        filePlace.Complain(error.what());
    } catch (const std::logic_error& error) {
        filePlace.Complain(error.what());
    }
}

std::unique_ptr<Action> ReadInstall(const Place& place, const ActionSetting& setting) {
    Members(place, {"package", "module", "instance", "privileges", "parameters", "selectable"});
    InstallOrder order;
    order.package = ReadAid(place.At("package"));
    order.module = ReadAid(place.At("module"));
    order.instance = place.Has("instance") ? ReadAid(place.At("instance")) : order.module;
    order.privileges = HexOr(place, "privileges", 3, {0x00});
    if (order.privileges.size() != 1 && order.privileges.size() != 3) {
        place.At("privileges").Complain("must have 1 or 3 bytes");
    }
    order.parameters = HexOr(
        place, "parameters", 127, GlobalPlatform::MakeTlv(GlobalPlatform::Tag::ApplicationParameters, {}));
    order.selectable = FlagOr(place, "selectable", true);
    return Fixed(place, setting, {InstallCommand(order)});
}

DataFormat ReadFormat(const Place& place) {
    const std::string format = place.Text();
    if (format == "dgi") {
        return DataFormat::Dgi;
    }
    if (format == "tlv") {
        return DataFormat::Tlv;
    }
    if (format == "plain") {
        return DataFormat::Plain;
    }
    place.Complain("must be \"dgi\", \"tlv\" or \"plain\", not \"" + format + "\"");
}

std::unique_ptr<Action> ReadPersonalise(const Place& place, const ActionSetting& setting) {
    Members(place, {"instance", "format", "data"});
    const DataFormat format = place.Has("format") ? ReadFormat(place.At("format")) : DataFormat::Dgi;
    std::vector<Bytes> blocks;
    for (const Place& block : place.At("data").OneOrMore()) {
        blocks.push_back(ReadHex(block, 1, RoomForData(setting.level)));
    }
    try {
        return Fixed(place, setting, PersonalisationCommands(ReadAid(place.At("instance")), format, blocks));
    } catch (const std::length_error& error) {
        place.At("data").Complain(error.what());
    }
}

std::unique_ptr<Action> ReadPutKey(const Place& place, const ActionSetting& setting) {
    Members(place, {"version", "replace"});
    const std::uint8_t version = ReadKnownVersion(place.At("version"), setting.keyRing);
    std::optional<std::uint8_t> replaced;
    if (place.Has("replace")) {
        replaced = ReadByte(place.At("replace"));
    }
    auto action = std::make_unique<PutKeyAction>(version, setting.keyRing.at(version), replaced);
    action->newKeyVersion = version;
    return action;
}

std::unique_ptr<Action> ReadSelect(const Place& place, const ActionSetting& setting) {
    Members(place, {"aid"});
    auto action = Fixed(place, setting, {SelectCommand(ReadAid(place.At("aid")))});
    action->needsChannel = false;
    action->endsChannel = true;
    return action;
}

std::unique_ptr<Action> ReadSetStatus(const Place& place, const ActionSetting& setting) {
    Members(place, {"aid", "of", "state"});
    const std::string of = place.Has("of") ? place.At("of").Text() : "application";
    const std::uint8_t state = ReadByte(place.At("state"));
    if (of == "card") {
        return Fixed(place, setting, {SetStatusCommand(StatusTarget::IssuerDomain, state, {})});
    }
    if (of != "application" && of != "securityDomain") {
        place.At("of").Complain(
            "must be \"application\", \"securityDomain\" or \"card\", not \"" + of + "\"");
    }
    const std::uint8_t type =
        of == "application" ? StatusTarget::Application : StatusTarget::DomainAndItsApplications;
    return Fixed(place, setting, {SetStatusCommand(type, state, ReadAid(place.At("aid")))});
}

std::unique_ptr<Action> ReadRead(const Place& place, const ActionSetting& setting) {
    Members(place, {"tag", "mustExist"});
    std::vector<PlainCommand> commands;
    for (const Place& tag : place.At("tag").OneOrMore()) {
        const Bytes bytes = ReadHex(tag, 1, 2);
        const auto number = static_cast<std::uint16_t>(
            bytes.size() == 1 ? bytes[0] : static_cast<unsigned>(bytes[0]) << 8U | bytes[1]);
        commands.push_back(GetDataCommand(number, !FlagOr(place, "mustExist", false)));
    }
    CheckRoom(place, commands, setting);
    auto action = std::make_unique<FixedAction>(std::move(commands), true);
    action->needsChannel = false;
    return action;
}

struct Kind {
    const char* name;
    Reader reader;
};

constexpr std::array<Kind, 9> Kinds{{
    {"list", ReadList},
    {"delete", ReadDelete},
    {"load", ReadLoad},
    {"install", ReadInstall},
    {"personalise", ReadPersonalise},
    {"putKey", ReadPutKey},
    {"select", ReadSelect},
    {"setStatus", ReadSetStatus},
    {"read", ReadRead},
}};

}  // namespace

std::unique_ptr<const Action> ReadAction(const Place& place, const ActionSetting& setting) {
    const std::string wanted = place.At("do").Text();
    std::string names;
    for (const Kind& kind : Kinds) {
        if (wanted == kind.name) {
            std::unique_ptr<Action> action = kind.reader(place, setting);
            action->name = wanted;
            if (place.Has("comment")) {
                action->name += " (" + place.At("comment").Text() + ")";
            }
            return action;
        }
        names += (names.empty() ? "" : ", ") + std::string(kind.name);
    }
    place.At("do").Complain("there is no action \"" + wanted + "\"; it can be one of " + names);
}

Bytes ReadHex(const Place& place, std::size_t least, std::size_t most) {
    const std::string text = place.Text();
    const std::optional<Bytes> bytes = FromHexText(text);
    if (!bytes) {
        place.Complain("must be bytes in hexadecimal digits, two for each");
    }
    if (bytes->size() < least || bytes->size() > most) {
        const std::string range =
            least == most ? std::to_string(least) : std::to_string(least) + " to " + std::to_string(most);
        place.Complain("has " + std::to_string(bytes->size()) + " bytes; it must have " + range);
    }
    return *bytes;
}

std::uint8_t ReadByte(const Place& place) {
    return ReadHex(place, 1, 1).front();
}

Bytes ReadAid(const Place& place) {
    return ReadHex(place, GlobalPlatform::ShortestAid, GlobalPlatform::LongestAid);
}

std::uint8_t ReadKnownVersion(const Place& place, const KeyRing& keyRing) {
    const std::uint8_t version = ReadByte(place);
    if (keyRing.count(version) == 0) {
        place.Complain("\"cardKeys\" has no keys of version " + HexText({version}));
    }
    return version;
}

}  // namespace KeyServer
