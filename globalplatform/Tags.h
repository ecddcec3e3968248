// SPDX-License-Identifier: Apache-2.0
// Tags of the data objects that cards and their hosts exchange. Clauses are those of GlobalPlatform
// Card 2.3.1.
#pragma once

#include <cstdint>

namespace GlobalPlatform {

namespace Tag {

// Of ISO 7816-4.
constexpr std::uint32_t ObjectIdentifier = 0x06;
constexpr std::uint32_t Aid = 0x4F;
constexpr std::uint32_t TagList = 0x5C;
constexpr std::uint32_t ApplicationTemplate = 0x61;
constexpr std::uint32_t ControlInformation = 0x6F;  // of SELECT, 11.9.3.1
constexpr std::uint32_t Name = 0x84;                // AID of the selected, 11.9.3.1; of a module, 11.4.3.1
constexpr std::uint32_t ControlProprietary = 0xA5;
constexpr std::uint32_t LongestCommandData = 0x9F65;

// What GET DATA reads, 11.3 and H.
constexpr std::uint32_t IssuerNumber = 0x42;
constexpr std::uint32_t CardImageNumber = 0x45;
constexpr std::uint32_t CardData = 0x66;
constexpr std::uint32_t CardRecognition = 0x73;
constexpr std::uint32_t CardManagementType = 0x60;
constexpr std::uint32_t CardIdentification = 0x63;
constexpr std::uint32_t ChannelProtocol = 0x64;
constexpr std::uint32_t CardCapability = 0x67;
constexpr std::uint32_t SequenceCounter = 0xC1;
constexpr std::uint32_t ConfirmationCounter = 0xC2;
constexpr std::uint32_t CurrentSecurityLevel = 0xD3;
constexpr std::uint32_t KeyDiversification = 0xCF;
constexpr std::uint32_t KeyInformation = 0xE0;
constexpr std::uint32_t KeyInformationData = 0xC0;
constexpr std::uint32_t ApplicationList = 0x2F00;
constexpr std::uint32_t ProductionLifeCycle = 0x9F7F;
constexpr std::uint32_t ExtendedResources = 0xFF21;  // ETSI TS 102 226, 8.2.1.7.2
constexpr std::uint32_t NumberOfApplications = 0x81;
constexpr std::uint32_t FreeMemory = 0x82;
constexpr std::uint32_t FreeVolatileMemory = 0x83;

// An entry of GET STATUS, 11.4.3.1.
constexpr std::uint32_t RegistryEntry = 0xE3;
constexpr std::uint32_t LifeCycleState = 0x9F70;
constexpr std::uint32_t LoadFileAid = 0xC4;
constexpr std::uint32_t LoadFileVersion = 0xCE;
constexpr std::uint32_t Privileges = 0xC5;
constexpr std::uint32_t SecurityDomainAid = 0xCC;

// A load file, 11.6.2.3.
constexpr std::uint32_t AuthenticationBlock = 0xE2;
constexpr std::uint32_t BlockSignature = 0xC3;
constexpr std::uint32_t LoadFileDataBlock = 0xC4;
constexpr std::uint32_t CipheredDataBlock = 0xD4;
constexpr std::uint32_t InitialVector = 0xD3;  // of its cipher

// Parameters of INSTALL, 11.5.2.3.7.
constexpr std::uint32_t SystemParameters = 0xEF;
constexpr std::uint32_t CodeMemory = 0xC6;
constexpr std::uint32_t InstanceMemory = 0xC8;
constexpr std::uint32_t ApplicationParameters = 0xC9;

constexpr std::uint32_t ControlReference = 0xB6;  // of a token, 11.1.6
constexpr std::uint32_t TokenNumber = 0x93;
constexpr std::uint32_t VolatileQuota = 0xC7;
constexpr std::uint32_t ReservedVolatileMemory = 0xD7;
constexpr std::uint32_t ReservedMemory = 0xD8;
constexpr std::uint32_t ImplicitSelection = 0xCF;  // also in an entry of GET STATUS
constexpr std::uint32_t Restriction = 0xD9;        // of what a domain or the whole card may still do
constexpr std::uint32_t Token = 0x9E;              // of DELETE, 11.2.2.3.1

// A key that STORE DATA brings, 11.11.4.
constexpr std::uint32_t KeyTemplate = 0xB9;
constexpr std::uint32_t KeyTypeCode = 0x80;
constexpr std::uint32_t KeyLength = 0x81;
constexpr std::uint32_t KeyIdentifierOfTemplate = 0x82;
constexpr std::uint32_t KeyVersionOfTemplate = 0x83;
constexpr std::uint32_t KeyCheckValue = 0x84;
constexpr std::uint32_t CurveReference = 0x85;
constexpr std::uint32_t KeyUsage = 0x95;
constexpr std::uint32_t KeyAccess = 0x96;

// What DELETE names a key by, 11.2.2.3.2.
constexpr std::uint32_t KeyIdentifier = 0xD0;
constexpr std::uint32_t KeyVersion = 0xD2;

}  // namespace Tag

}  // namespace GlobalPlatform
