#include <algorithm>

#include "card/Commands.h"
#include "globalplatform/Tlv.h"

namespace Card {

namespace {

constexpr std::size_t FabricationDataAt =
    10;  // in the production life-cycle data: date, serial and batch number
constexpr std::size_t FabricationDataLength = 8;

Bytes Part(const Bytes& bytes, std::size_t at, std::size_t length) {
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    return Bytes(first, first + static_cast<std::ptrdiff_t>(length));
}

Bytes ObjectIdentifier(const char* tail) {
    Bytes identifier = *FromHexText("2A864886FC6B");  // 1.2.840.114283, GlobalPlatform
    Append(identifier, *FromHexText(tail));
    return MakeTlv(0x06, identifier);
}

// Card recognition data, H.2: the card management of 2.3.1, the identification scheme, and the secure channel
// protocol with its option.
Bytes CardData() {
    Bytes recognition = ObjectIdentifier("01");
    Append(recognition, MakeTlv(0x60, ObjectIdentifier("02020301")));
    Append(recognition, MakeTlv(0x63, ObjectIdentifier("03")));
    Append(
        recognition,
        MakeTlv(0x64, ObjectIdentifier(HexText({0x04, SecureChannelProtocol, SecureChannelOption}).c_str())));
    return MakeTlv(0x66, MakeTlv(0x73, recognition));
}

// Identifier, version, type and length of each key, 11.3.3.1.
Bytes KeyInformation(const CardContent& content) {
    constexpr std::uint8_t AesType = 0x88;
    Bytes keys;
    for (const auto& [version, set] : content.keySets) {
        for (const auto& [identifier, value] : set.keys) {
            const auto length = static_cast<std::uint8_t>(value.size());
            Append(keys, MakeTlv(0xC0, {identifier, version, AesType, length}));
        }
    }
    return MakeTlv(0xE0, keys);
}

Bytes FourBytes(std::uint64_t size) {
    return BigEndian(std::min<std::uint64_t>(size, UINT32_MAX), 4);
}

// ETSI TS 102 226, 8.2.1.7.2: applications, free non-volatile and free volatile memory.
Bytes ExtendedResources(const Runtime& card) {
    const CardContent& content = card.Content();
    Bytes resources = MakeTlv(0x81, BigEndian(content.applications.size(), 2));
    Append(resources, MakeTlv(0x82, FourBytes(FreeMemory(content, card.options))));
    Append(resources, MakeTlv(0x83, FourBytes(card.options.volatileMemory)));
    return MakeTlv(0xFF21, resources);
}

// The applications that belong to the issuer domain, 11.3.3.1.2.
Bytes ApplicationList(const CardContent& content) {
    Bytes list;
    for (const Application& application : content.applications) {
        Append(list, MakeTlv(0x61, MakeTlv(AidTag, application.aid)));
    }
    return MakeTlv(0x2F00, list);
}

Bytes IssuerData(const Runtime& card, std::uint32_t tag) {
    const CardContent& content = card.Content();
    switch (tag) {
        case 0x42:
            return MakeTlv(tag, card.options.issuerNumber);
        case 0x45:
            return MakeTlv(tag, Part(card.options.cplc, FabricationDataAt, FabricationDataLength));
        case 0x66:
            return CardData();
        case 0xC1:
            return MakeTlv(
                tag, BigEndian(content.FirstCompleteSet()->second.sequenceCounter, SequenceCounterLength));
        case 0xCF:
            return MakeTlv(tag, KeyDiversificationData(card.options));
        case 0xE0:
            return KeyInformation(content);
        case 0x2F00:
            return ApplicationList(content);
        case 0x9F7F:
            return MakeTlv(tag, card.options.cplc);
        case 0xFF21:
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
