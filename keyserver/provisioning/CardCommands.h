// SPDX-License-Identifier: Apache-2.0
// Command APDUs of card content management; GlobalPlatform Card 2.3.1, chapter 11, without
// secure messaging. Functions throw std::length_error when a field or the data has no room.
#pragma once

#include "globalplatform/Instruction.h"
#include "keyserver/provisioning/CardService.h"

namespace KeyServer {

// A command of the proprietary class that is answered with 9000 and data.
[[nodiscard]] PlainCommand CardCommand(
    std::uint8_t ins, std::uint8_t p1, std::uint8_t p2, Bytes data, std::string title);

// A secret of a key with its length in front, filled up to whole blocks and encrypted; Amendment D, 7.2.
[[nodiscard]] Bytes EncryptedSecret(const Bytes& secret, const Bytes& dataEncryptionKey);

// Fields of INSTALL, each behind its length.
[[nodiscard]] Bytes Fields(const std::vector<Bytes>& values);

// How much data fits in one short command under a level: padding to whole blocks and the code take room.
[[nodiscard]] std::size_t RoomForData(GlobalPlatform::SecurityLevel level);

[[nodiscard]] PlainCommand SelectCommand(const Bytes& aid);  // 11.9
[[nodiscard]] PlainCommand InitializeUpdateCommand(
    std::uint8_t keyVersion, const Bytes& challenge);  // Amendment D, 7.1.1
[[nodiscard]] PlainCommand ExternalAuthenticateCommand(
    GlobalPlatform::SecurityLevel level, const Bytes& hostCryptogram);  // Amendment D, 7.1.2
[[nodiscard]] PlainCommand DeleteCommand(const Bytes& aid, bool dependents, bool absentIsFine);  // 11.2
[[nodiscard]] PlainCommand GetDataCommand(std::uint16_t tag, bool absentIsFine);                 // 11.3
[[nodiscard]] PlainCommand GetStatusCommand(std::uint8_t subset, bool next);  // 11.4, answered in TLV
[[nodiscard]] PlainCommand SetStatusCommand(
    std::uint8_t type, std::uint8_t state, const Bytes& aid);  // 11.10

struct LoadOrder {
    Bytes package;
    Bytes domain;      // of the security domain that it belongs to; empty for the selected one
    Bytes parameters;  // as they stand in INSTALL [for load]
    Bytes fileData;    // the load file: optional DAP blocks and the object C4, 11.6.2.3
    Bytes hash;        // SHA-256 of the contents of C4
    std::size_t blockLength = 0;
    Bytes receiver{};  // the domain by its AID also when it is the selected one; for the receipt
};

// INSTALL [for load], 11.5.2.3.1, and the blocks of LOAD, 11.6. At most 256 blocks.
[[nodiscard]] std::vector<PlainCommand> LoadCommands(const LoadOrder& order);

struct InstallOrder {
    Bytes package;
    Bytes module;
    Bytes instance;
    Bytes privileges;  // 1 or 3 bytes
    Bytes parameters;
    bool selectable = true;
};

// INSTALL [for install], or also [and make selectable], 11.5.2.3.2.
[[nodiscard]] PlainCommand InstallCommand(const InstallOrder& order);

enum class DataFormat : std::uint8_t {
    Plain = GlobalPlatform::DataStructure::Unknown,
    Dgi = GlobalPlatform::DataStructure::DataGroups,
    Tlv = GlobalPlatform::DataStructure::BerTlv,
};

// INSTALL [for personalization], 11.5.2.3.6, and STORE DATA, 11.11, one command for each block.
[[nodiscard]] std::vector<PlainCommand> PersonalisationCommands(
    const Bytes& instance, DataFormat format, const std::vector<Bytes>& blocks);

// 11.8 with the AES keys of Amendment D, 7.2: a version that is new when `replaced` is 0. The keys are
// encrypted under the channel's Key-DEK.
[[nodiscard]] PlainCommand PutKeyCommand(
    std::uint8_t replaced, std::uint8_t version, const GlobalPlatform::StaticKeys& keys,
    const Bytes& dataEncryptionKey);

// What the card answers to it: the version and the three key check values.
[[nodiscard]] Bytes PutKeyConfirmation(std::uint8_t version, const GlobalPlatform::StaticKeys& keys);

}  // namespace KeyServer
