// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "card/StoredObjects.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"

namespace Card {

namespace {

// P1, 11.11.2.1.
constexpr std::uint8_t EncryptionMask = 0x60;
constexpr std::uint8_t StructureMask = 0x18;

// What the card works out by itself cannot be stored in the issuer domain.
bool IsComputed(std::uint32_t tag) {
    constexpr std::uint32_t Computed[] = {
        Tag::Aid,
        Tag::SequenceCounter,
        Tag::KeyDiversification,
        Tag::KeyInformation,
        Tag::ApplicationList,
        Tag::ProductionLifeCycle,
        Tag::ExtendedResources};
    return std::find(std::begin(Computed), std::end(Computed), tag) != std::end(Computed);
}

// The structure of the data. Without a word about it, the issuer domain reads what it knows, BER-TLV, and an
// application what only its code would know.
std::uint8_t StructureOf(const CommandApdu& command, bool issuer) {
    const std::uint8_t structure = command.p1 & StructureMask;
    return structure == 0 && issuer ? DataStructure::BerTlv : structure;
}

// The objects that are whole with this block; what is left over begins the next block's.
std::vector<TlvObject> WholeObjects(Storing& storing, const CommandApdu& command, bool issuer) {
    const std::uint8_t structure = StructureOf(command, issuer);
    if (!storing.remainder.empty() && structure != storing.structure) {
        Refuse(StatusWord::WrongData);
    }
    storing.structure = structure;
    if (structure == DataStructure::Unknown) {
        return {};
    }
    Bytes data = std::move(storing.remainder);
    Append(data, command.data);
    std::optional<LeadingObjects> leading = ReadLeadingObjects(data, structure);
    const bool last = (command.p1 & LastBlockFlag) != 0;
    if (!leading || (last && !leading->remainder.empty())) {
        Refuse(StatusWord::WrongData);
    }
    storing.remainder = std::move(leading->remainder);
    return std::move(leading->objects);
}

void Keep(Runtime& card, const Storing& storing, std::vector<TlvObject> objects, bool issuer) {
    CardContent changed = card.Content();
    StoredData& data = issuer ? changed.issuerDomain.data : changed.FindApplication(storing.aid)->data;
    for (TlvObject& object : objects) {
        if (issuer && IsComputed(object.tag)) {
            Refuse(StatusWord::WrongData);
        }
        data[object.tag] = std::move(object.value);
    }
    if (storing.remainder.size() > FreeMemory(changed, card.options)) {
        Refuse(StatusWord::NotEnoughMemory);
    }
    if (!objects.empty()) {
        card.Commit(std::move(changed));
    }
}

}  // namespace

// Goes to the application that INSTALL named for personalisation, else to the issuer domain. Each block's
// whole objects last when it is answered; a block that is refused ends the sequence.
Answer StoreData(Runtime& card, const CommandApdu& command) {
    Storing storing;
    storing.aid = card.Content().issuerDomain.aid;
    if (card.session.storing) {
        storing = std::move(*card.session.storing);
    }
    card.session.storing.reset();
    const bool issuer = storing.aid == card.Content().issuerDomain.aid;
    const std::uint8_t structure = command.p1 & StructureMask;
    const bool encryptedForIssuer = issuer && (command.p1 & EncryptionMask) != 0;
    if (structure == StructureMask || encryptedForIssuer || command.p2 != (storing.nextBlock & 0xFF)) {
        Refuse(StatusWord::WrongParameters);
    }
    std::vector<TlvObject> objects = WholeObjects(storing, command, issuer);
    Keep(card, storing, std::move(objects), issuer);
    ++storing.nextBlock;
    if ((command.p1 & LastBlockFlag) == 0) {
        card.session.storing = std::move(storing);
    }
    return {};
}

}  // namespace Card
