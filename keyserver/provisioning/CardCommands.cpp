// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/CardCommands.h"

#include "globalplatform/Aes.h"
#include "globalplatform/KeyType.h"
#include "globalplatform/LoadFile.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"

namespace KeyServer {

namespace {

using namespace GlobalPlatform;

constexpr std::size_t AnyLength = 256;
constexpr std::size_t MostBlocks = 256;  // of STORE DATA; their number has one byte

const std::vector<std::string> Success{"9000"};

PlainCommand WithoutResponse(PlainCommand command) {
    command.apdu.expectedLength.reset();
    return command;
}

void AppendField(Bytes& data, const Bytes& value) {
    if (value.size() > 0xFF) {
        throw std::length_error("a field has " + std::to_string(value.size()) + " bytes; 255 have room");
    }
    data.push_back(static_cast<std::uint8_t>(value.size()));
    Append(data, value);
}

std::string Numbered(const std::string& title, std::size_t index, std::size_t count) {
    return title + " block " + std::to_string(index + 1) + " of " + std::to_string(count);
}

// Type, the key, and its check value; Amendment D, 7.2.
void AppendKey(Bytes& data, const Bytes& key, const Bytes& dataEncryptionKey) {
    data.push_back(KeyType::Aes);
    AppendField(data, EncryptedSecret(key, dataEncryptionKey));
    AppendField(data, AesKeyCheckValue(key));
}

}  // namespace

Bytes EncryptedSecret(const Bytes& secret, const Bytes& dataEncryptionKey) {
    Bytes component{static_cast<std::uint8_t>(secret.size())};
    Bytes padded = secret;
    padded.resize((secret.size() + AesBlockLength - 1) / AesBlockLength * AesBlockLength);
    Append(component, AesEncryptCbc(dataEncryptionKey, Bytes(AesBlockLength), padded));
    return component;
}

PlainCommand CardCommand(std::uint8_t ins, std::uint8_t p1, std::uint8_t p2, Bytes data, std::string title) {
    PlainCommand command;
    command.apdu.cla = ProprietaryClassBit;
    command.apdu.ins = ins;
    command.apdu.p1 = p1;
    command.apdu.p2 = p2;
    command.apdu.data = std::move(data);
    command.apdu.expectedLength = AnyLength;
    command.title = std::move(title);
    command.expected = Success;
    return command;
}

Bytes Fields(const std::vector<Bytes>& values) {
    Bytes data;
    for (const Bytes& value : values) {
        AppendField(data, value);
    }
    return data;
}

std::size_t RoomForData(SecurityLevel level) {
    constexpr std::size_t ShortData = 255;
    const std::size_t behindMac = ShortData - CommandMacLength;
    switch (level) {
        case SecurityLevel::None:
            return ShortData;
        case SecurityLevel::CommandMac:
        case SecurityLevel::CommandAndResponseMac:
            return behindMac;
        default:
            return behindMac / AesBlockLength * AesBlockLength - 1;
    }
}

PlainCommand SelectCommand(const Bytes& aid) {
    PlainCommand command =
        CardCommand(Instruction::Select, Selection::ByName, Selection::First, aid, "SELECT");
    command.apdu.cla = 0x00;
    return command;
}

PlainCommand InitializeUpdateCommand(std::uint8_t keyVersion, const Bytes& challenge) {
    PlainCommand command =
        CardCommand(Instruction::InitializeUpdate, keyVersion, 0x00, challenge, "INITIALIZE UPDATE");
    command.codeWhenAbsent = ResultCode::UnknownKeys;
    return command;
}

PlainCommand ExternalAuthenticateCommand(SecurityLevel level, const Bytes& hostCryptogram) {
    return WithoutResponse(CardCommand(
        Instruction::ExternalAuthenticate, static_cast<std::uint8_t>(level), 0x00, hostCryptogram,
        "EXTERNAL AUTHENTICATE"));
}

PlainCommand DeleteCommand(const Bytes& aid, bool dependents, bool absentIsFine) {
    PlainCommand command = CardCommand(
        Instruction::Delete, 0x00, dependents ? Deletion::WithRelatedObjects : Deletion::OfObject,
        MakeTlv(Tag::Aid, aid), "DELETE of " + HexText(aid));
    if (absentIsFine) {
        command.expected = {"9000", "6A88", "6A82"};
    }
    command.receiptFields = {aid};
    return command;
}

PlainCommand GetDataCommand(std::uint16_t tag, bool absentIsFine) {
    const Bytes bytes = BigEndian(tag, 2);
    PlainCommand command =
        CardCommand(Instruction::GetData, bytes.at(0), bytes.at(1), {}, "GET DATA " + HexText(bytes));
    if (absentIsFine) {
        command.expected = {"9000", "6A88"};
    }
    return command;
}

PlainCommand GetStatusCommand(std::uint8_t subset, bool next) {
    PlainCommand command = CardCommand(
        Instruction::GetStatus, subset, next ? StatusFlag::InTlv | StatusFlag::Next : StatusFlag::InTlv,
        MakeTlv(Tag::Aid, {}), "GET STATUS " + HexText({subset}) + (next ? ", next" : ""));
    command.expected = {"9000", "6310", "6A88"};
    return command;
}

PlainCommand SetStatusCommand(std::uint8_t type, std::uint8_t state, const Bytes& aid) {
    return WithoutResponse(CardCommand(
        Instruction::SetStatus, type, state, aid,
        "SET STATUS of " + HexText(aid) + " to " + HexText({state})));
}

std::vector<PlainCommand> LoadCommands(const LoadOrder& order) {
    const std::size_t count = (order.fileData.size() + order.blockLength - 1) / order.blockLength;
    if (count == 0 || count > MostLoadBlocks) {
        throw std::length_error(
            "the load file takes " + std::to_string(count) + " blocks of " +
            std::to_string(order.blockLength) + " bytes; LOAD numbers 1 to 256 of them");
    }
    std::vector<PlainCommand> commands{CardCommand(
        Instruction::Install, InstallFor::Load, 0x00,
        Fields({order.package, order.domain, order.hash, order.parameters, {}}), "INSTALL [for load]")};
    commands.front().decides = true;
    for (std::size_t i = 0; i < count; ++i) {
        const auto begin = order.fileData.begin() + static_cast<std::ptrdiff_t>(i * order.blockLength);
        const auto end =
            i + 1 == count ? order.fileData.end() : begin + static_cast<std::ptrdiff_t>(order.blockLength);
        commands.push_back(CardCommand(
            Instruction::Load, i + 1 == count ? LastBlockFlag : 0, static_cast<std::uint8_t>(i),
            Bytes(begin, end), Numbered("LOAD", i, count)));
    }
    commands.back().receiptFields = {order.package, order.receiver};
    return commands;
}

PlainCommand InstallCommand(const InstallOrder& order) {
    const std::uint8_t purpose =
        order.selectable ? InstallFor::Install | InstallFor::MakeSelectable : InstallFor::Install;
    PlainCommand command = CardCommand(
        Instruction::Install, purpose, 0x00,
        Fields({order.package, order.module, order.instance, order.privileges, order.parameters, {}}),
        order.selectable ? "INSTALL [for install and make selectable]" : "INSTALL [for install]");
    command.receiptFields = {order.package, order.instance};
    return command;
}

// The last block may finish the personalisation, so it waits for the others.
std::vector<PlainCommand> PersonalisationCommands(
    const Bytes& instance, DataFormat format, const std::vector<Bytes>& blocks) {
    std::vector<PlainCommand> commands{CardCommand(
        Instruction::Install, InstallFor::Personalization, 0x00, Fields({{}, {}, instance, {}, {}, {}}),
        "INSTALL [for personalization]")};
    commands.front().decides = true;
    if (blocks.size() > MostBlocks) {
        throw std::length_error("STORE DATA numbers at most 256 blocks");
    }
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const bool last = i + 1 == blocks.size();
        commands.push_back(WithoutResponse(CardCommand(
            Instruction::StoreData,
            static_cast<std::uint8_t>((last ? LastBlockFlag : 0) | static_cast<std::uint8_t>(format)),
            static_cast<std::uint8_t>(i), blocks[i], Numbered("STORE DATA", i, blocks.size()))));
        commands.back().decides = i + 2 == blocks.size();
    }
    return commands;
}

PlainCommand PutKeyCommand(
    std::uint8_t replaced, std::uint8_t version, const StaticKeys& keys, const Bytes& dataEncryptionKey) {
    constexpr std::uint8_t SeveralKeysFromFirst = SeveralKeysFlag | 1;
    Bytes data{version};
    for (const Bytes& key : {keys.encryption, keys.mac, keys.dataEncryption}) {
        AppendKey(data, key, dataEncryptionKey);
    }
    return CardCommand(
        Instruction::PutKey, replaced, SeveralKeysFromFirst, std::move(data),
        replaced == 0 ? "PUT KEY of new version " + HexText({version})
                      : "PUT KEY of version " + HexText({version}) + " in place of " + HexText({replaced}));
}

Bytes PutKeyConfirmation(std::uint8_t version, const StaticKeys& keys) {
    Bytes confirmation{version};
    for (const Bytes& key : {keys.encryption, keys.mac, keys.dataEncryption}) {
        Append(confirmation, AesKeyCheckValue(key));
    }
    return confirmation;
}

}  // namespace KeyServer
