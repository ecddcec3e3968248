// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

// In the production life-cycle data: date, serial and batch number.
constexpr std::size_t FabricationDataAt = 10;
constexpr std::size_t FabricationDataLength = 8;

constexpr std::size_t ConfirmationCounterLength = 2;

namespace Capability {
constexpr std::uint32_t ChannelProtocol = 0xA0;
constexpr std::uint32_t Protocol = 0x80;
constexpr std::uint32_t ProtocolOptions = 0x81;
constexpr std::uint32_t AesLengths = 0x82;
constexpr std::uint8_t EveryAesLength = 0x07;
constexpr std::uint32_t ApplicationPrivileges = 0x82;
constexpr std::uint32_t LoadFileHashes = 0x83;
constexpr std::uint8_t Sha1 = 0x01;
constexpr std::uint8_t Sha256 = 0x02;
constexpr std::uint8_t Sha384 = 0x03;
constexpr std::uint8_t Sha512 = 0x04;
}  // namespace Capability

Bytes Part(const Bytes& bytes, std::size_t at, std::size_t length) {
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    return Bytes(first, first + static_cast<std::ptrdiff_t>(length));
}

Bytes ObjectIdentifier(const char* tail) {
    Bytes identifier = *FromHexText("2A864886FC6B");  // 1.2.840.114283, GlobalPlatform
    Append(identifier, *FromHexText(tail));
    return MakeTlv(Tag::ObjectIdentifier, identifier);
}

// Card recognition data, H.2: the card management of 2.3.1, the identification scheme, and the secure channel
// protocol with its option.
Bytes CardData(const Options& options) {
    Bytes recognition = ObjectIdentifier("01");
    Append(recognition, MakeTlv(Tag::CardManagementType, ObjectIdentifier("02020301")));
    Append(recognition, MakeTlv(Tag::CardIdentification, ObjectIdentifier("03")));
    Append(
        recognition,
        MakeTlv(
            Tag::ChannelProtocol,
            ObjectIdentifier(HexText({0x04, SecureChannelProtocol, options.channelOption}).c_str())));
    return MakeTlv(Tag::CardRecognition, recognition);
}

// Card capability information, H.4: the secure channel protocol with its option and the three lengths of its
// keys, the privileges that an application may have, and the hashes of load files.
Bytes CardCapability(const Options& options) {
    Bytes protocol = MakeTlv(Capability::Protocol, {SecureChannelProtocol});
    Append(protocol, MakeTlv(Capability::ProtocolOptions, {options.channelOption}));
    Append(protocol, MakeTlv(Capability::AesLengths, {Capability::EveryAesLength}));
    Bytes capability = MakeTlv(Capability::ChannelProtocol, protocol);
    Append(capability, MakeTlv(Capability::ApplicationPrivileges, {CardResetPrivilege, 0x00, 0x00}));
    Append(
        capability, MakeTlv(
                        Capability::LoadFileHashes,
                        {Capability::Sha1, Capability::Sha256, Capability::Sha384, Capability::Sha512}));
    return capability;
}

Bytes KeyInformation(const CardContent& content) {
    Bytes keys;
    for (const auto& [version, set] : content.keySets) {
        for (const auto& [identifier, key] : set.keys) {
            Append(keys, Information(key, identifier, version));
        }
    }
    return keys;
}

Bytes FourBytes(std::uint64_t size) {
    return BigEndian(std::min<std::uint64_t>(size, UINT32_MAX), 4);
}

// ETSI TS 102 226, 8.2.1.7.2: applications, free non-volatile and free volatile memory.
Bytes ExtendedResources(const Runtime& card) {
    const CardContent& content = card.Content();
    Bytes resources = MakeTlv(Tag::NumberOfApplications, BigEndian(content.applications.size(), 2));
    Append(resources, MakeTlv(Tag::FreeMemory, FourBytes(FreeMemory(content, card.options))));
    Append(resources, MakeTlv(Tag::FreeVolatileMemory, FourBytes(card.options.volatileMemory)));
    return resources;
}

// What protects the session now, 10.2.2 and table 10-1.
Bytes CurrentSecurityLevel(const Session& session) {
    constexpr std::uint8_t Authenticated = 0x80;
    return {
        session.channel
            ? static_cast<std::uint8_t>(Authenticated | static_cast<std::uint8_t>(session.channel->level))
            : std::uint8_t{0}};
}

// The value of what the issuer domain knows by itself, or of what was not stored yet.
Bytes IssuerData(const Runtime& card, std::uint32_t tag) {
    const CardContent& content = card.Content();
    switch (tag) {
        case Tag::IssuerNumber:
            return card.options.issuerNumber;
        case Tag::CardImageNumber:
            return Part(card.options.cplc, FabricationDataAt, FabricationDataLength);
        case Tag::CardData:
            return CardData(card.options);
        case Tag::CardCapability:
            return CardCapability(card.options);
        case Tag::SequenceCounter:
            return BigEndian(content.FirstCompleteSet()->second.sequenceCounter, SequenceCounterLength);
        case Tag::ConfirmationCounter:
            return Bytes(ConfirmationCounterLength);  // no receipt was ever given
        case Tag::KeyDiversification:
            return KeyDiversificationData(card.options);
        case Tag::CurrentSecurityLevel:
            return CurrentSecurityLevel(card.session);
        case Tag::KeyInformation:
            return KeyInformation(content);
        case Tag::ProductionLifeCycle:
            return card.options.cplc;
        case Tag::ExtendedResources:
            return ExtendedResources(card);
        default:
            Refuse(StatusWord::ReferencedDataNotFound);
    }
}

// What was stored comes first.
Bytes ValueOf(const Runtime& card, std::uint32_t tag) {
    const CardContent& content = card.Content();
    const bool issuer = card.IssuerSelected();
    const Application* application =
        issuer ? &content.issuerDomain : content.FindApplication(card.session.selected);
    if (application != nullptr) {
        const auto stored = application->data.find(tag);
        if (stored != application->data.end()) {
            return stored->second;
        }
    }
    if (!issuer) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    return IssuerData(card, tag);
}

// The applications that belong to the issuer domain, 11.3.3.1.2: a list of templates without one around it,
// for the tag list of everything and no other.
Answer ApplicationList(const Runtime& card, const CommandApdu& command) {
    if (command.data.empty()) {
        Refuse(StatusWord::WrongLength);
    }
    const bool everything = command.data == Bytes{Tag::TagList, 0x00};
    Answer list;
    for (const Application& application : card.Content().applications) {
        Append(list.data, MakeTlv(Tag::ApplicationTemplate, MakeTlv(Tag::Aid, application.aid)));
    }
    if (!card.IssuerSelected() || !everything || list.data.empty()) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    return list;
}

std::uint32_t TagIn(const CommandApdu& command) {
    return static_cast<std::uint32_t>(command.p1) << 8 | command.p2;
}

}  // namespace

Bytes KeyDiversificationData(const Options& options) {
    Bytes data = First(options.cplc, 4);
    Append(data, Part(options.cplc, FabricationDataAt, 6));
    return data;
}

// GlobalPlatform's class gives the object, ISO's its value; 11.3.3.1.
Answer GetData(Runtime& card, const CommandApdu& command) {
    const std::uint32_t tag = TagIn(command);
    const bool proprietary = (command.cla & ProprietaryClassBit) != 0;
    if (proprietary && tag == Tag::ApplicationList) {
        return ApplicationList(card, command);
    }
    Bytes value = ValueOf(card, tag);
    return {proprietary ? MakeTlv(tag, value) : std::move(value)};
}

// The form of ISO's class for the one list that there is, 11.3.2.
Answer GetListedData(Runtime& card, const CommandApdu& command) {
    if ((command.cla & ProprietaryClassBit) != 0) {
        Refuse(StatusWord::InstructionNotSupported);
    }
    if (TagIn(command) != Tag::ApplicationList) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    return ApplicationList(card, command);
}

}  // namespace Card
