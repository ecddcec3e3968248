// SPDX-License-Identifier: Apache-2.0
#include "globalplatform/Instruction.h"

#include <algorithm>
#include <iterator>

namespace GlobalPlatform {

namespace {

struct NamedInstruction {
    std::uint8_t code;
    std::string_view name;
};

// ISO 7816-4, table 4. Odd codes are those whose data is in BER-TLV.
constexpr NamedInstruction Interindustry[] = {
    {0x04, "DEACTIVATE FILE"},
    {0x0C, "ERASE RECORD"},
    {0x0E, "ERASE BINARY"},
    {0x0F, "ERASE BINARY"},
    {0x10, "PERFORM SCQL OPERATION"},
    {0x12, "PERFORM TRANSACTION OPERATION"},
    {0x14, "PERFORM USER OPERATION"},
    {Instruction::Verify, "VERIFY"},
    {0x21, "VERIFY"},
    {0x22, "MANAGE SECURITY ENVIRONMENT"},
    {Instruction::ChangeReferenceData, "CHANGE REFERENCE DATA"},
    {0x26, "DISABLE VERIFICATION REQUIREMENT"},
    {0x28, "ENABLE VERIFICATION REQUIREMENT"},
    {0x2A, "PERFORM SECURITY OPERATION"},
    {Instruction::ResetRetryCounter, "RESET RETRY COUNTER"},
    {0x44, "ACTIVATE FILE"},
    {0x46, "GENERATE ASYMMETRIC KEY PAIR"},
    {Instruction::ManageChannel, "MANAGE CHANNEL"},
    {Instruction::ExternalAuthenticate, "EXTERNAL AUTHENTICATE"},
    {0x84, "GET CHALLENGE"},
    {0x86, "GENERAL AUTHENTICATE"},
    {0x87, "GENERAL AUTHENTICATE"},
    {0x88, "INTERNAL AUTHENTICATE"},
    {0xA0, "SEARCH BINARY"},
    {0xA1, "SEARCH BINARY"},
    {0xA2, "SEARCH RECORD"},
    {Instruction::Select, "SELECT"},
    {0xB0, "READ BINARY"},
    {0xB1, "READ BINARY"},
    {0xB2, "READ RECORD"},
    {0xB3, "READ RECORD"},
    {Instruction::GetResponse, "GET RESPONSE"},
    {0xC2, "ENVELOPE"},
    {0xC3, "ENVELOPE"},
    {Instruction::GetData, "GET DATA"},
    {Instruction::GetListedData, "GET DATA"},
    {0xD0, "WRITE BINARY"},
    {0xD1, "WRITE BINARY"},
    {0xD2, "WRITE RECORD"},
    {0xD6, "UPDATE BINARY"},
    {0xD7, "UPDATE BINARY"},
    {Instruction::PutData, "PUT DATA"},
    {Instruction::PutListedData, "PUT DATA"},
    {0xDC, "UPDATE RECORD"},
    {0xDD, "UPDATE RECORD"},
    {0xE0, "CREATE FILE"},
    {0xE2, "APPEND RECORD"},
    {0xE4, "DELETE FILE"},
    {0xE6, "TERMINATE DF"},
    {0xE8, "TERMINATE EF"},
    {0xFE, "TERMINATE CARD USAGE"},
};

// GlobalPlatform Card 2.3.1, chapter 11, and Amendment D, chapter 7.
constexpr NamedInstruction Proprietary[] = {
    {Instruction::InitializeUpdate, "INITIALIZE UPDATE"},
    {Instruction::EndResponseMac, "END R-MAC SESSION"},
    {Instruction::BeginResponseMac, "BEGIN R-MAC SESSION"},
    {Instruction::ExternalAuthenticate, "EXTERNAL AUTHENTICATE"},
    {Instruction::GetResponse, "GET RESPONSE"},
    {Instruction::GetData, "GET DATA"},
    {Instruction::GetListedData, "GET DATA"},
    {Instruction::PutKey, "PUT KEY"},
    {Instruction::StoreData, "STORE DATA"},
    {Instruction::Delete, "DELETE"},
    {Instruction::Install, "INSTALL"},
    {Instruction::Load, "LOAD"},
    {Instruction::SetStatus, "SET STATUS"},
    {Instruction::GetStatus, "GET STATUS"},
};

template <std::size_t Count>
std::string_view NameIn(const NamedInstruction (&table)[Count], std::uint8_t code) {
    const auto* const found = std::find_if(
        std::begin(table), std::end(table), [&](const NamedInstruction& each) { return each.code == code; });
    return found == std::end(table) ? std::string_view() : found->name;
}

}  // namespace

std::string_view InstructionName(std::uint8_t cla, std::uint8_t ins) {
    return (cla & ProprietaryClassBit) != 0 ? NameIn(Proprietary, ins) : NameIn(Interindustry, ins);
}

}  // namespace GlobalPlatform
