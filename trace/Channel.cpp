// SPDX-License-Identifier: Apache-2.0
#include "trace/Channel.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "globalplatform/Aes.h"
#include "globalplatform/CommandWords.h"
#include "globalplatform/Instruction.h"

namespace Trace {

namespace {

using GlobalPlatform::CommandApdu;
using GlobalPlatform::SecurityLevel;
using GlobalPlatform::StaticKeys;
namespace Instruction = GlobalPlatform::Instruction;

constexpr std::uint8_t EncryptionBit = 0x02;
constexpr std::uint8_t ResponseCodeBit = 0x10;

Bytes DataOf(const Bytes& response) {
    constexpr std::size_t StatusLength = 2;
    return GlobalPlatform::First(response, response.size() - std::min(response.size(), StatusLength));
}

Bytes KeyOf(const nlohmann::json& row, const char* name) {
    const std::optional<Bytes> bytes = GlobalPlatform::FromHexText(row.at(name).get<std::string>());
    return bytes ? *bytes : Bytes();
}

void AddKeys(const nlohmann::json& row, ChannelKeys& keys) {
    const std::optional<Bytes> version = GlobalPlatform::FromHexText(row.at("version").get<std::string>());
    StaticKeys of{KeyOf(row, "enc"), KeyOf(row, "mac"), KeyOf(row, "dek")};
    if (!version || version->size() != 1 || !AreChannelKeys(of)) {
        throw std::runtime_error("\"cardKeys\" has a row that is no version of one byte with three AES keys");
    }
    keys[version->front()] = std::move(of);
}

}  // namespace

ChannelKeys ReadKeys(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw std::runtime_error(file + ": cannot be read");
    }
    ChannelKeys keys;
    try {
        const nlohmann::json object = nlohmann::json::parse(stream);
        for (const nlohmann::json& row : object.at("cardKeys")) {
            AddKeys(row, keys);
        }
    } catch (const nlohmann::json::exception&) {
        throw std::runtime_error(
            file +
            ": has no \"cardKeys\", a list of objects with version, enc, mac and dek in hexadecimal digits");
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
    return keys;
}

void Channel::Close() {
    messaging.reset();
    session.reset();
    level = 0;
    isOpening = false;
}

Unwrapped Channel::Follow(const Entry& entry) {
    Unwrapped result;
    if (entry.kind == Kind::Open || entry.kind == Kind::Close) {
        Close();
    }
    const std::optional<CommandApdu> command = entry.kind == Kind::Apdu && entry.knowsCommand
                                                   ? GlobalPlatform::ParseCommand(entry.command.bytes)
                                                   : std::nullopt;
    if (!command) {
        return result;
    }
    const bool isProprietary = (command->cla & GlobalPlatform::ProprietaryClassBit) != 0;
    if (isProprietary && command->ins == Instruction::InitializeUpdate) {
        Open(entry, *command, result);
    } else if (GlobalPlatform::HasSecureMessaging(command->cla)) {
        Unwrap(entry, *command, result);
    } else if (command->ins == Instruction::Select) {
        Close();
    }
    return result;
}

void Channel::Open(const Entry& entry, const CommandApdu& command, Unwrapped& result) {
    Close();
    const auto answer = GlobalPlatform::ReadChannelAnswer(DataOf(entry.response.bytes));
    if (StatusWordOf(entry) != "9000" || !answer || answer->cryptogram.empty()) {
        return;
    }
    isOpening = true;
    const auto found = keys.find(answer->keyVersion);
    if (found == keys.end() || command.data.size() != GlobalPlatform::ChallengeLength) {
        return;
    }
    hostChallenge = command.data;
    cardChallenge = answer->challenge;
    session = DeriveSessionKeys(found->second, hostChallenge, cardChallenge);
    const bool isRight = answer->cryptogram == CardCryptogram(*session, hostChallenge, cardChallenge);
    result.verdict = isRight ? "by the keys given, the card's cryptogram is right"
                             : "by the keys given, the card's cryptogram is wrong";
    if (isRight) {
        messaging.emplace(*session);
    }
}

void Channel::Unwrap(const Entry& entry, const CommandApdu& command, Unwrapped& result) {
    const bool isAuthentication = command.ins == Instruction::ExternalAuthenticate && isOpening;
    if (isAuthentication) {
        level = command.p1;
        isOpening = false;
    }
    result.isProtected = true;
    result.isEncrypted = !isAuthentication && (level & EncryptionBit) != 0;
    result.hasProtectedResponse = !isAuthentication && (level & ResponseCodeBit) != 0;
    if (!messaging) {
        return;
    }
    if (!entry.command.masked.empty()) {
        result.verdict = "the input hides what the codes of this command and of those behind it are made of";
        messaging.reset();
        return;
    }
    const SecurityLevel agreed{level};
    result.command = messaging->Unwrap(command, agreed);
    if (!result.command) {
        result.verdict = "by the keys given, the command's code is wrong";
        messaging.reset();
        return;
    }
    if (isAuthentication) {
        const bool isRight = result.command->data == HostCryptogram(*session, hostChallenge, cardChallenge);
        result.verdict = isRight ? "by the keys given, the host's cryptogram is right"
                                 : "by the keys given, the host's cryptogram is wrong";
    } else if (result.hasProtectedResponse && entry.response.bytes.size() > 2) {
        const Bytes data = DataOf(entry.response.bytes);
        const auto status = static_cast<std::uint16_t>(
            GlobalPlatform::FromBigEndian(GlobalPlatform::Last(entry.response.bytes, 2)));
        result.response = messaging->UnwrapResponse(data, status, agreed);
    }
}

}  // namespace Trace
