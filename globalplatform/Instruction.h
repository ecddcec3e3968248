// SPDX-License-Identifier: Apache-2.0
// The instructions of ISO 7816-4 (2005) and GlobalPlatform Card 2.3.1, chapter 11: the codes that a card and
// its host exchange, what their parameters say, and their names for people.
#pragma once

#include <cstdint>
#include <string_view>

namespace GlobalPlatform {

// Of the class byte: set where the instruction is not ISO's own; GlobalPlatform's are such; 11.1.4.
constexpr std::uint8_t ProprietaryClassBit = 0x80;

// The bits of a class that tell the first four logical channels; 11.1.4.
constexpr std::uint8_t LogicalChannelMask = 0x03;

namespace Instruction {
constexpr std::uint8_t Verify = 0x20;
constexpr std::uint8_t ChangeReferenceData = 0x24;
constexpr std::uint8_t ResetRetryCounter = 0x2C;
constexpr std::uint8_t InitializeUpdate = 0x50;
constexpr std::uint8_t ManageChannel = 0x70;
constexpr std::uint8_t EndResponseMac = 0x78;
constexpr std::uint8_t BeginResponseMac = 0x7A;
constexpr std::uint8_t ExternalAuthenticate = 0x82;
constexpr std::uint8_t Select = 0xA4;
constexpr std::uint8_t GetResponse = 0xC0;
constexpr std::uint8_t GetData = 0xCA;
constexpr std::uint8_t GetListedData = 0xCB;  // GET DATA of ISO, whose data is in BER-TLV
constexpr std::uint8_t PutKey = 0xD8;
constexpr std::uint8_t PutData = 0xDA;
constexpr std::uint8_t PutListedData = 0xDB;  // PUT DATA whose data is in BER-TLV
constexpr std::uint8_t StoreData = 0xE2;
constexpr std::uint8_t Delete = 0xE4;
constexpr std::uint8_t Install = 0xE6;
constexpr std::uint8_t Load = 0xE8;
constexpr std::uint8_t SetStatus = 0xF0;
constexpr std::uint8_t GetStatus = 0xF2;
}  // namespace Instruction

// "GET DATA", as the standards spell it. The class decides between two instructions of one code. Empty when
// the standards know none.
[[nodiscard]] std::string_view InstructionName(std::uint8_t cla, std::uint8_t ins);

// P1 of INSTALL, DELETE and PUT KEY, 11.1.5.1: the command goes on with the next one.
constexpr std::uint8_t MoreCommandsFlag = 0x80;

// P1 of LOAD and STORE DATA, 11.6.2.1 and 11.11.2.1.
constexpr std::uint8_t LastBlockFlag = 0x80;

// P1 and P2 of SELECT, 11.9.2.
namespace Selection {
constexpr std::uint8_t ByName = 0x04;
constexpr std::uint8_t First = 0x00;
constexpr std::uint8_t Next = 0x02;
}  // namespace Selection

// P2 of DELETE, 11.2.2.2.
namespace Deletion {
constexpr std::uint8_t OfObject = 0x00;
constexpr std::uint8_t WithRelatedObjects = 0x80;
}  // namespace Deletion

// P1 of INSTALL, 11.5.2.1.
namespace InstallFor {
constexpr std::uint8_t Load = 0x02;
constexpr std::uint8_t Install = 0x04;
constexpr std::uint8_t MakeSelectable = 0x08;
constexpr std::uint8_t Extradition = 0x10;
constexpr std::uint8_t Personalization = 0x20;
constexpr std::uint8_t RegistryUpdate = 0x40;
}  // namespace InstallFor

// P1 of STORE DATA, 11.11.2.1: the structure of what it carries.
namespace DataStructure {
constexpr std::uint8_t Unknown = 0x00;
constexpr std::uint8_t DataGroups = 0x08;
constexpr std::uint8_t BerTlv = 0x10;
}  // namespace DataStructure

// P1 of GET STATUS, 11.4.2.1.
namespace StatusSubset {
constexpr std::uint8_t IssuerDomain = 0x80;
constexpr std::uint8_t Applications = 0x40;
constexpr std::uint8_t LoadFiles = 0x20;
constexpr std::uint8_t LoadFilesAndModules = 0x10;
constexpr std::uint8_t Mask = 0xF0;
}  // namespace StatusSubset

// P2 of GET STATUS, 11.4.2.2.
namespace StatusFlag {
constexpr std::uint8_t Next = 0x01;
constexpr std::uint8_t InTlv = 0x02;
}  // namespace StatusFlag

// P1 of SET STATUS, 11.10.2.1.
namespace StatusTarget {
constexpr std::uint8_t IssuerDomain = 0x80;
constexpr std::uint8_t Application = 0x40;
constexpr std::uint8_t DomainAndItsApplications = 0x60;
constexpr std::uint8_t Mask = 0xE0;
}  // namespace StatusTarget

// P2 of PUT KEY, 11.8.2.2, beside the first key's identifier.
constexpr std::uint8_t SeveralKeysFlag = 0x80;

}  // namespace GlobalPlatform
