// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/TagNames.h"

#include "globalplatform/Tags.h"

namespace GlobalPlatform {

namespace {

constexpr std::uint32_t Anywhere = 0xFFFFFFFF;

struct NamedTag {
    std::uint32_t within;
    std::uint32_t tag;
    std::string_view name;
};

// Of rows for one tag, that of the object counts before that for anywhere.
constexpr NamedTag Names[] = {
    {Tag::KeyTemplate, Tag::KeyTypeCode, "key type"},
    {Tag::KeyTemplate, Tag::KeyLength, "key length"},
    {Tag::KeyTemplate, Tag::KeyIdentifierOfTemplate, "key identifier"},
    {Tag::KeyTemplate, Tag::KeyVersionOfTemplate, "key version"},
    {Tag::KeyTemplate, Tag::KeyCheckValue, "key check value"},
    {Tag::KeyTemplate, Tag::KeyUsage, "key usage"},
    {Tag::KeyTemplate, Tag::KeyAccess, "key access"},
    {Tag::RegistryEntry, Tag::LoadFileAid, "AID of the load file"},
    {Tag::RegistryEntry, Tag::LoadFileVersion, "version of the load file"},
    {Tag::RegistryEntry, Tag::Privileges, "privileges"},
    {Tag::RegistryEntry, Tag::SecurityDomainAid, "AID of the security domain"},
    {Tag::RegistryEntry, Tag::ImplicitSelection, "implicit selection"},
    {Tag::RegistryEntry, Tag::Name, "AID of a module"},
    {Tag::KeyInformation, Tag::KeyInformationData, "key information data"},
    {Tag::ExtendedResources, Tag::NumberOfApplications, "number of applications"},
    {Tag::ExtendedResources, Tag::FreeMemory, "free memory"},
    {Tag::ExtendedResources, Tag::FreeVolatileMemory, "free volatile memory"},
    {Tag::SystemParameters, Tag::CodeMemory, "memory for code"},
    {Tag::SystemParameters, Tag::InstanceMemory, "memory for instances"},
    {Tag::SystemParameters, Tag::VolatileQuota, "quota of volatile memory"},
    {Tag::SystemParameters, Tag::ReservedVolatileMemory, "reserved volatile memory"},
    {Tag::SystemParameters, Tag::ReservedMemory, "reserved memory"},
    {0, Tag::LoadFileDataBlock, "load file data block"},
    {0, Tag::AuthenticationBlock, "DAP block"},
    {0, Tag::KeyDiversification, "key diversification data"},
    {0, Tag::KeyIdentifier, "key identifier"},
    {0, Tag::KeyVersion, "key version"},
    {0, Tag::SequenceCounter, "sequence counter"},
    {0, Tag::ConfirmationCounter, "confirmation counter"},
    {0, Tag::CurrentSecurityLevel, "current security level"},
    {0, Tag::Token, "token"},
    {Anywhere, Tag::ObjectIdentifier, "object identifier"},
    {Anywhere, Tag::Aid, "AID"},
    {Anywhere, Tag::TagList, "tag list"},
    {Anywhere, Tag::ApplicationTemplate, "application template"},
    {Anywhere, Tag::ControlInformation, "file control information"},
    {Anywhere, Tag::Name, "AID"},
    {Anywhere, Tag::ControlProprietary, "proprietary data"},
    {Anywhere, Tag::LongestCommandData, "longest data of a command"},
    {Anywhere, Tag::IssuerNumber, "issuer identification number"},
    {Anywhere, Tag::CardImageNumber, "card image number"},
    {Anywhere, Tag::CardData, "card data"},
    {Anywhere, Tag::CardRecognition, "card recognition data"},
    {Anywhere, Tag::CardManagementType, "card management type and version"},
    {Anywhere, Tag::CardIdentification, "card identification scheme"},
    {Anywhere, Tag::ChannelProtocol, "secure channel protocol and its options"},
    {Anywhere, 0x65, "card configuration details"},
    {Anywhere, Tag::CardCapability, "card capability information"},
    {Anywhere, Tag::KeyInformation, "key information template"},
    {Anywhere, Tag::ApplicationList, "list of applications"},
    {Anywhere, Tag::ProductionLifeCycle, "card production life cycle data"},
    {Anywhere, Tag::ExtendedResources, "extended card resources"},
    {Anywhere, Tag::RegistryEntry, "registry entry"},
    {Anywhere, Tag::LifeCycleState, "life cycle state"},
    {Anywhere, Tag::SystemParameters, "system parameters"},
    {Anywhere, Tag::ApplicationParameters, "application parameters"},
    {Anywhere, Tag::ControlReference, "control reference template"},
    {Anywhere, Tag::KeyTemplate, "key"},
    {Anywhere, 0x5A, "card number"},
    {Anywhere, 0x57, "track 2 equivalent data"},
    {Anywhere, 0x5F20, "name of the holder"},
    {Anywhere, 0x5F24, "expiry date"},
    {Anywhere, 0x5F34, "sequence number of the card number"},
    {Anywhere, 0x70, "record"},
    {Anywhere, 0x50, "label"},
    {Anywhere, 0xBF0C, "issuer's discretionary data"},
};

}  // namespace

std::string_view TagName(std::uint32_t tag, std::uint32_t within) {
    std::string_view name;
    for (const NamedTag& each : Names) {
        if (each.tag == tag && each.within == within) {
            return each.name;
        }
        if (each.tag == tag && each.within == Anywhere) {
            name = each.name;
        }
    }
    return name;
}

bool IsConstructed(std::uint32_t tag) {
    while (tag > 0xFF) {
        tag >>= 8U;
    }
    return (tag & 0x20) != 0;
}

bool NamesACard(std::uint32_t tag) {
    constexpr std::uint32_t Tags[] = {0x42,   Tag::CardImageNumber,
                                      0x56,   0x57,
                                      0x5A,   0x5F20,
                                      0x5F24, 0x9F0B,
                                      0x9F1F, 0x9F20,
                                      0x9F6B, 0x9F24,
                                      0x9F25, Tag::KeyDiversification};
    for (const std::uint32_t each : Tags) {
        if (each == tag) {
            return true;
        }
    }
    return false;
}

}  // namespace GlobalPlatform
