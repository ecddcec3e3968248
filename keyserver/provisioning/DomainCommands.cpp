// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/DomainCommands.h"

#include "globalplatform/Aes.h"
#include "globalplatform/Des.h"
#include "globalplatform/Instruction.h"
#include "keyserver/provisioning/CardCommands.h"

namespace KeyServer {

namespace {

using namespace GlobalPlatform;

PlainCommand Installation(std::uint8_t purpose, const std::vector<Bytes>& fields, const std::string& title) {
    PlainCommand command = CardCommand(Instruction::Install, purpose, 0x00, Fields(fields), title);
    command.decides = true;
    return command;
}

bool IsSecret(std::uint8_t type) {
    return type == KeyType::Des || type == KeyType::Aes || type == KeyType::EccPrivate;
}

// A length of one to three bytes, 11.8.2.3.
Bytes LongField(const Bytes& value) {
    Bytes field;
    if (value.size() > 0x80) {
        field.push_back(value.size() > 0xFF ? 0x82 : 0x81);
    }
    Append(field, BigEndian(value.size(), value.size() > 0xFF ? 2 : 1));
    Append(field, value);
    return field;
}

Bytes CheckValueOf(const KeyComponents& key) {
    switch (key.front().type) {
        case KeyType::Aes:
            return AesKeyCheckValue(key.front().value);
        case KeyType::Des:
            return DesKeyCheckValue(key.front().value);
        default:
            return {};
    }
}

}  // namespace

PlainCommand ExtraditionCommand(const ExtraditionOrder& order) {
    PlainCommand command = Installation(
        InstallFor::Extradition, {order.to, {}, order.object, {}, {}, {}},
        "INSTALL [for extradition] of " + HexText(order.object));
    command.receiptFields = {order.from, order.object, order.to};
    return command;
}

PlainCommand RegistryUpdateCommand(const UpdateOrder& order) {
    const ExtraditionOrder& move = order.move;
    PlainCommand command = Installation(
        InstallFor::RegistryUpdate, {move.to, {}, move.object, order.privileges, order.parameters, {}},
        "INSTALL [for registry update] of " + HexText(move.object));
    command.receiptFields = {move.from, move.object, move.to, order.privileges, order.parameters};
    return command;
}

PlainCommand StoreKeyCommand(const KeyOrder& order, const Bytes& dataEncryptionKey) {
    Bytes data{order.version};
    for (const KeyComponent& component : order.key) {
        data.push_back(component.type);
        const bool secret = IsSecret(component.type);
        Append(
            data, LongField(secret ? EncryptedSecret(component.value, dataEncryptionKey) : component.value));
    }
    Append(data, LongField(CheckValueOf(order.key)));
    return CardCommand(
        Instruction::PutKey, order.replaced, order.identifier, std::move(data),
        "PUT KEY " + HexText({order.identifier}) + " of version " + HexText({order.version}));
}

Bytes StoreKeyConfirmation(const KeyOrder& order) {
    Bytes confirmation{order.version};
    Append(confirmation, CheckValueOf(order.key));
    return confirmation;
}

}  // namespace KeyServer
