// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "globalplatform/Aes.h"
#include "globalplatform/Tags.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

// In the production life-cycle data: date, serial and batch number.
constexpr std::size_t FabricationDataAt = 10;
constexpr std::size_t FabricationDataLength = 8;

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
Bytes CardData() {
    Bytes recognition = ObjectIdentifier("01");
    Append(recognition, MakeTlv(Tag::CardManagementType, ObjectIdentifier("02020301")));
    Append(recognition, MakeTlv(Tag::CardIdentification, ObjectIdentifier("03")));
    Append(
        recognition,
        MakeTlv(
            Tag::ChannelProtocol,
            ObjectIdentifier(HexText({0x04, SecureChannelProtocol, SecureChannelOption}).c_str())));
    return MakeTlv(Tag::CardData, MakeTlv(Tag::CardRecognition, recognition));
}

// Identifier, version, type and length of each key, 11.3.3.1.
Bytes KeyInformation(const CardContent& content) {
    Bytes keys;
    for (const auto& [version, set] : content.keySets) {
        for (const auto& [identifier, value] : set.keys) {
            const auto length = static_cast<std::uint8_t>(value.size());
            Append(keys, MakeTlv(Tag::KeyInformationData, {identifier, version, AesKeyType, length}));
        }
    }
    return MakeTlv(Tag::KeyInformation, keys);
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
    return MakeTlv(Tag::ExtendedResources, resources);
}

// The applications that belong to the issuer domain, 11.3.3.1.2.
Bytes ApplicationList(const CardContent& content) {
    Bytes list;
    for (const Application& application : content.applications) {
        Append(list, MakeTlv(Tag::ApplicationTemplate, MakeTlv(Tag::Aid, application.aid)));
    }
    return MakeTlv(Tag::ApplicationList, list);
}

Bytes IssuerData(const Runtime& card, std::uint32_t tag) {
    const CardContent& content = card.Content();
    switch (tag) {
        case Tag::IssuerNumber:
            return MakeTlv(tag, card.options.issuerNumber);
        case Tag::CardImageNumber:
            return MakeTlv(tag, Part(card.options.cplc, FabricationDataAt, FabricationDataLength));
        case Tag::CardData:
            return CardData();
        case Tag::SequenceCounter:
            return MakeTlv(
                tag, BigEndian(content.FirstCompleteSet()->second.sequenceCounter, SequenceCounterLength));
        case Tag::KeyDiversification:
            return MakeTlv(tag, KeyDiversificationData(card.options));
        case Tag::KeyInformation:
            return KeyInformation(content);
        case Tag::ApplicationList:
            return ApplicationList(content);
        case Tag::ProductionLifeCycle:
            return MakeTlv(tag, card.options.cplc);
        case Tag::ExtendedResources:
            return ExtendedResources(card);
        default:
            Refuse(StatusWord::ReferencedDataNotFound);
    }
}

}  // namespace

Bytes KeyDiversificationData(const Options& options) {
    Bytes data = First(options.cplc, 4);
    Append(data, Part(options.cplc, FabricationDataAt, 6));
    return data;
}

// What was stored comes first.
Answer GetData(Runtime& card, const CommandApdu& command) {
    const std::uint32_t tag = static_cast<std::uint32_t>(command.p1) << 8 | command.p2;
    const CardContent& content = card.Content();
    const bool issuer = card.IssuerSelected();
    const Application* application =
        issuer ? &content.issuerDomain : content.FindApplication(card.session.selected);
    if (application != nullptr) {
        const auto stored = application->data.find(tag);
        if (stored != application->data.end()) {
            return {MakeTlv(tag, stored->second)};
        }
    }
    if (!issuer) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    return {IssuerData(card, tag)};
}

}  // namespace Card
