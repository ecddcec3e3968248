// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "card/Delegation.h"
#include "card/Identification.h"
#include "card/Installation.h"
#include "card/Memory.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

namespace Capability {
constexpr std::uint32_t ChannelProtocol = 0xA0;
constexpr std::uint32_t Protocol = 0x80;
constexpr std::uint32_t ProtocolOptions = 0x81;
constexpr std::uint32_t AesLengths = 0x82;
constexpr std::uint8_t EveryAesLength = 0x07;
constexpr std::uint32_t DomainPrivileges = 0x81;
constexpr std::uint32_t ApplicationPrivileges = 0x82;
constexpr std::uint32_t LoadFileHashes = 0x83;
constexpr std::uint8_t Sha1 = 0x01;
constexpr std::uint8_t Sha256 = 0x02;
constexpr std::uint8_t Sha384 = 0x03;
constexpr std::uint8_t Sha512 = 0x04;
constexpr std::uint32_t LoadFileCiphers = 0x84;
constexpr std::uint8_t EveryCipher = 0x8F;  // triple DES, the three of AES, with an initial vector
constexpr std::uint32_t TokenSignatures = 0x85;
constexpr std::uint32_t ReceiptSignatures = 0x86;
constexpr std::uint32_t AuthenticationSignatures = 0x87;
constexpr std::uint32_t Curves = 0x88;
constexpr std::uint8_t NumberOfCurves = 9;
}  // namespace Capability

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
// keys, the privileges that domains and other applications may have, the hashes and ciphers of load files,
// the signatures and the curves.
Bytes CardCapability(const Options& options) {
    Bytes protocol = MakeTlv(Capability::Protocol, {SecureChannelProtocol});
    Append(protocol, MakeTlv(Capability::ProtocolOptions, {options.channelOption}));
    Append(protocol, MakeTlv(Capability::AesLengths, {Capability::EveryAesLength}));
    Bytes capability = MakeTlv(Capability::ChannelProtocol, protocol);
    Append(
        capability,
        MakeTlv(Capability::DomainPrivileges, BigEndian(PossiblePrivileges(true), PrivilegesLength)));
    Append(
        capability,
        MakeTlv(Capability::ApplicationPrivileges, BigEndian(PossiblePrivileges(false), PrivilegesLength)));
    Append(
        capability, MakeTlv(
                        Capability::LoadFileHashes,
                        {Capability::Sha1, Capability::Sha256, Capability::Sha384, Capability::Sha512}));
    Append(capability, MakeTlv(Capability::LoadFileCiphers, {Capability::EveryCipher}));
    for (const std::uint32_t tag :
         {Capability::TokenSignatures, Capability::ReceiptSignatures, Capability::AuthenticationSignatures}) {
        Append(capability, MakeTlv(tag, {0xFF, 0x03}));  // every one that there is
    }
    Bytes curves;
    for (std::uint8_t reference = 0; reference < Capability::NumberOfCurves; ++reference) {
        curves.push_back(reference);
    }
    Append(capability, MakeTlv(Capability::Curves, curves));
    return capability;
}

Bytes KeyInformation(const Application& domain) {
    Bytes keys;
    for (const auto& [version, set] : domain.keySets) {
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
    Append(resources, MakeTlv(Tag::FreeVolatileMemory, FourBytes(FreeVolatileMemory(content, card.options))));
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

// What only the issuer domain knows by itself.
std::optional<Bytes> IssuerData(const Options& options, std::uint32_t tag) {
    switch (tag) {
        case Tag::CardCapability:
            return CardCapability(options);
        case Tag::ProductionLifeCycle:
            return options.cplc;
        default:
            return std::nullopt;
    }
}

// The counter of the set that a channel is opened with by default.
Bytes DefaultSequenceCounter(const CardContent& content, const Application& domain) {
    const Application& owner = KeyOwner(content, domain);
    const auto set = owner.FirstCompleteSet();
    if (set == owner.keySets.end()) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    return BigEndian(set->second.sequenceCounter, SequenceCounterLength);
}

// The value of what a security domain knows by itself.
Bytes DomainData(const Runtime& card, const Application& domain, std::uint32_t tag) {
    switch (tag) {
        case Tag::CardData:
            return CardData(card.options);
        case Tag::SequenceCounter:
            return DefaultSequenceCounter(card.Content(), domain);
        case Tag::KeyDiversification:
            return KeyDiversificationData(card.options);
        case Tag::CurrentSecurityLevel:
            return CurrentSecurityLevel(card.session);
        case Tag::KeyInformation:
            return KeyInformation(domain);
        case Tag::ExtendedResources:
            return ExtendedResources(card);
        default:
            break;
    }
    if (tag == Tag::ConfirmationCounter && domain.Has(Privilege::ReceiptGeneration)) {
        return BigEndian(domain.confirmations, ConfirmationCounterLength);
    }
    Refuse(StatusWord::ReferencedDataNotFound);
}

// What was stored comes first.
Bytes ValueOf(const Runtime& card, std::uint32_t tag) {
    const Application* application = card.Selected();
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    const auto stored = application->data.find(tag);
    if (stored != application->data.end()) {
        return stored->second;
    }
    const bool isNumber = tag == Tag::IssuerNumber || tag == Tag::CardImageNumber;
    if (!application->IsDomain()) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    const bool issuer = card.Content().IsIssuer(*application);
    std::optional<Bytes> value = isNumber ? DomainNumber(card.Content(), card.options, *application, tag)
                                 : issuer ? IssuerData(card.options, tag)
                                          : std::nullopt;
    return value ? std::move(*value) : DomainData(card, *application, tag);
}

// The applications that belong to the domain, or with global registry all, 11.3.3.1.2: a list of templates
// without one around it, for the tag list of everything and no other.
Answer ApplicationList(const Runtime& card, const CommandApdu& command) {
    if (command.data.empty()) {
        Refuse(StatusWord::WrongLength);
    }
    const Application* domain = card.SelectedDomain();
    if (domain == nullptr || command.data != Bytes{Tag::TagList, 0x00}) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    const Association own = card.Content().AssociationWith(*domain);
    Answer list;
    for (const Application& application : card.Content().applications) {
        if (domain->Has(Privilege::GlobalRegistry) || application.domain == own) {
            Append(list.data, MakeTlv(Tag::ApplicationTemplate, MakeTlv(Tag::Aid, application.aid)));
        }
    }
    if (list.data.empty()) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    return list;
}

std::uint32_t TagIn(const CommandApdu& command) {
    return static_cast<std::uint32_t>(command.p1) << 8 | command.p2;
}

}  // namespace

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
