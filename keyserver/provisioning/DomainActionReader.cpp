// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/DomainActionReader.h"

#include "globalplatform/Aes.h"
#include "globalplatform/Aid.h"
#include "globalplatform/Privilege.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"
#include "keyserver/provisioning/CardActions.h"
#include "keyserver/provisioning/CardCommands.h"
#include "keyserver/provisioning/ValueReader.h"

namespace KeyServer {

namespace {

constexpr std::size_t LongestParameters = 127;

Bytes ReadPrivileges(const Place& place, const char* member, const Bytes& otherwise) {
    if (!place.Has(member)) {
        return otherwise;
    }
    const Bytes privileges = ReadHex(place.At(member), 1, GlobalPlatform::PrivilegesLength);
    if (privileges.size() == 2) {
        place.At(member).Complain("must have 1 or 3 bytes");
    }
    return privileges;
}

Bytes AidOr(const Place& place, const char* member, const Bytes& otherwise) {
    return place.Has(member) ? ReadAid(place.At(member)) : otherwise;
}

Bytes ParametersOr(const Place& place, const Bytes& otherwise) {
    return place.Has("parameters") ? ReadHex(place.At("parameters"), 0, LongestParameters) : otherwise;
}

}  // namespace

std::unique_ptr<Action> ReadInstallDomain(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"aid", "privileges", "parameters"});
    InstallOrder order;
    order.package = GlobalPlatform::DomainPackageAid();
    order.module = GlobalPlatform::DomainModuleAid();
    order.instance = ReadAid(place.At("aid"));
    order.privileges = ReadPrivileges(place, "privileges", {0x80});
    order.parameters =
        ParametersOr(place, GlobalPlatform::MakeTlv(GlobalPlatform::Tag::ApplicationParameters, {}));
    return FixedCommands(place, setting, {InstallCommand(order)});
}

// Nothing is sent; what follows goes to the domain.
std::unique_ptr<Action> ReadEnter(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"domain"});
    auto action = std::make_unique<FixedAction>(std::vector<PlainCommand>());
    action->needsChannel = false;
    action->enters = ReadDomain(place.At("domain"), setting.domains);
    return action;
}

std::unique_ptr<Action> ReadExtradite(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"aid", "from", "to"});
    return FixedCommands(
        place, setting,
        {ExtraditionCommand(
            {AidOr(place, "from", setting.domain), ReadAid(place.At("aid")), ReadAid(place.At("to"))})});
}

std::unique_ptr<Action> ReadUpdateRegistry(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"aid", "from", "to", "privileges", "parameters"});
    UpdateOrder order;
    order.move = {AidOr(place, "from", setting.domain), AidOr(place, "aid", {}), AidOr(place, "to", {})};
    order.privileges = ReadPrivileges(place, "privileges", {});
    order.parameters = ParametersOr(place, {});
    return FixedCommands(place, setting, {RegistryUpdateCommand(order)});
}

std::unique_ptr<Action> ReadStoreKey(const Place& place, const ActionSetting& setting) {
    ActionMembers(place, {"key", "version", "identifier", "replace"});
    KeyOrder order;
    order.key = ReadNamedKey(place.At("key"), setting.signatureKeys);
    order.version = ReadByte(place.At("version"));
    order.identifier = place.Has("identifier") ? ReadByte(place.At("identifier")) : std::uint8_t{1};
    order.replaced = place.Has("replace") ? ReadByte(place.At("replace")) : std::uint8_t{0};
    CheckRoom(place, {StoreKeyCommand(order, Bytes(GlobalPlatform::AesKeyLength))}, setting);
    return std::make_unique<StoreKeyAction>(std::move(order));
}

}  // namespace KeyServer
