// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/ActionReader.h"

#include <array>
#include <stdexcept>

#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"
#include "keyserver/provisioning/CardActions.h"
#include "keyserver/provisioning/CardCommands.h"
#include "keyserver/provisioning/DomainActionReader.h"
#include "keyserver/provisioning/LoadFile.h"
#include "keyserver/provisioning/ValueReader.h"

namespace KeyServer {

namespace {

namespace StatusTarget = GlobalPlatform::StatusTarget;

using Reader = std::unique_ptr<Action> (*)(const Place& place, const ActionSetting& setting);

bool FlagOr(const Place& place, const std::string& member, bool otherwise) {
    return place.Has(member) ? place.At(member).Flag() : otherwise;
}

Bytes HexOr(const Place& place, const std::string& member, std::size_t most, const Bytes& otherwise) {
    return place.Has(member) ? ReadHex(place.At(member), 0, most) : otherwise;
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
    ActionMembers(place, {"of"});
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
    ActionMembers(place, {"aid", "dependents", "mustExist"});
    std::vector<PlainCommand> commands;
    for (const Place& aid : place.At("aid").OneOrMore()) {
        commands.push_back(DeleteCommand(
            ReadAid(aid), FlagOr(place, "dependents", false), !FlagOr(place, "mustExist", false)));
        commands.back().decides = true;
    }
    return FixedCommands(place, setting, std::move(commands));
}

// Who signs the load file.
std::vector<Signer> ReadSigners(const Place& place, const SignatureKeys& keys) {
    std::vector<Signer> signers;
    if (place.Has("signedBy")) {
        for (const Place& signer : place.At("signedBy").OneOrMore()) {
            signer.OnlyMembers({"domain", "key"});
            signers.push_back({ReadAid(signer.At("domain")), ReadNamedKey(signer.At("key"), keys)});
        }
    }
    return signers;
}

std::unique_ptr<Action> ReadLoad(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"file", "package", "securityDomain", "parameters", "blockLength", "signedBy"});
    const Place filePlace = place.At("file");
    const std::size_t room = RoomForData(setting.level);
    LoadOrder order;
    order.package = ReadAid(place.At("package"));
    order.domain = place.Has("securityDomain") ? ReadAid(place.At("securityDomain")) : Bytes();
    order.receiver = order.domain.empty() ? setting.domain : order.domain;
    order.parameters = HexOr(place, "parameters", 127, {});
    order.blockLength = place.Has("blockLength") ? place.At("blockLength").Number(1, room) : room;
    try {
        LoadFile file = MakeLoadFile(
            ReadWholeFile((setting.folder / filePlace.NonEmptyText()).string()),
            ReadSigners(place, setting.signatureKeys));
        order.fileData = std::move(file.data);
        order.hash = std::move(file.hash);
        return FixedCommands(place, setting, LoadCommands(order));
    } catch (const ScriptError& error) {
        filePlace.Complain(error.what());
    } catch (const std::logic_error& error) {
        filePlace.Complain(error.what());
    }
}

std::unique_ptr<Action> ReadInstall(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"package", "module", "instance", "privileges", "parameters", "selectable"});
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
    return FixedCommands(place, setting, {InstallCommand(order)});
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
    ActionMembers(place, {"instance", "format", "data"});
    const DataFormat format = place.Has("format") ? ReadFormat(place.At("format")) : DataFormat::Dgi;
    std::vector<Bytes> blocks;
    for (const Place& block : place.At("data").OneOrMore()) {
        blocks.push_back(ReadHex(block, 1, RoomForData(setting.level)));
    }
    try {
        return FixedCommands(
            place, setting, PersonalisationCommands(ReadAid(place.At("instance")), format, blocks));
    } catch (const std::length_error& error) {
        place.At("data").Complain(error.what());
    }
}

std::unique_ptr<Action> ReadPutKey(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"version", "replace"});
    const std::uint8_t version = ReadKnownVersion(place.At("version"), *setting.keyRing);
    std::optional<std::uint8_t> replaced;
    if (place.Has("replace")) {
        replaced = ReadByte(place.At("replace"));
    }
    auto action = std::make_unique<PutKeyAction>(version, setting.keyRing->at(version), replaced);
    action->newKeyVersion = version;
    return action;
}

std::unique_ptr<Action> ReadSelect(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"aid"});
    auto action = FixedCommands(place, setting, {SelectCommand(ReadAid(place.At("aid")))});
    action->needsChannel = false;
    action->endsChannel = true;
    return action;
}

std::unique_ptr<Action> ReadSetStatus(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"aid", "of", "state"});
    const std::string of = place.Has("of") ? place.At("of").Text() : "application";
    const std::uint8_t state = ReadByte(place.At("state"));
    if (of == "card") {
        return FixedCommands(place, setting, {SetStatusCommand(StatusTarget::IssuerDomain, state, {})});
    }
    if (of != "application" && of != "securityDomain") {
        place.At("of").Complain(
            "must be \"application\", \"securityDomain\" or \"card\", not \"" + of + "\"");
    }
    const std::uint8_t type =
        of == "application" ? StatusTarget::Application : StatusTarget::DomainAndItsApplications;
    return FixedCommands(place, setting, {SetStatusCommand(type, state, ReadAid(place.At("aid")))});
}

std::unique_ptr<Action> ReadRead(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"tag", "mustExist"});
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

constexpr std::array<Kind, 14> Kinds{{
    {"list", ReadList},
    {"delete", ReadDelete},
    {"load", ReadLoad},
    {"install", ReadInstall},
    {"personalise", ReadPersonalise},
    {"putKey", ReadPutKey},
    {"select", ReadSelect},
    {"setStatus", ReadSetStatus},
    {"read", ReadRead},
    {"installDomain", ReadInstallDomain},
    {"enter", ReadEnter},
    {"extradite", ReadExtradite},
    {"updateRegistry", ReadUpdateRegistry},
    {"storeKey", ReadStoreKey},
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

}  // namespace KeyServer
