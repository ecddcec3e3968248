// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/ActionSetting.h"

#include "keyserver/provisioning/CardActions.h"
#include "keyserver/provisioning/CardCommands.h"
#include "keyserver/provisioning/ValueReader.h"

namespace KeyServer {

using GlobalPlatform::HexText;

void ActionMembers(const Place& place, std::vector<std::string> ofKind) {
    ofKind.insert(ofKind.begin(), {"do", "comment"});
    place.OnlyMembers(ofKind);
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

std::unique_ptr<Action> FixedCommands(
    const Place& place, const ActionSetting& setting, std::vector<PlainCommand> commands) {
    for (PlainCommand& command : commands) {
        const bool managed =
            setting.delegation.tokenKey && command.apdu.p1 != GlobalPlatform::InstallFor::Personalization;
        if (managed) {
            AddToken(command, *setting.delegation.tokenKey);
        }
    }
    CheckRoom(place, commands, setting);
    return std::make_unique<FixedAction>(std::move(commands), false, setting.delegation.receiptKey);
}

DomainAccess ReadDomain(const Place& place, const Domains& domains) {
    const Bytes aid = ReadAid(place);
    const auto found = domains.find(aid);
    if (found == domains.end()) {
        place.Complain("\"domains\" has no " + HexText(aid));
    }
    return {aid, found->second};
}

std::uint8_t ReadKnownVersion(const Place& place, const KeyRing& keyRing) {
    const std::uint8_t version = ReadByte(place);
    if (keyRing.count(version) == 0) {
        place.Complain("\"cardKeys\" has no keys of version " + HexText({version}));
    }
    return version;
}

}  // namespace KeyServer
