// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "card/Fields.h"
#include "card/KeyTemplates.h"
#include "card/Memory.h"
#include "card/StoredObjects.h"
#include "globalplatform/Aid.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"

namespace Card {

namespace {

// P1, 11.11.2.1.
constexpr std::uint8_t EncryptionMask = 0x60;
constexpr std::uint8_t Encrypted = 0x60;
constexpr std::uint8_t EncryptionReserved = 0x40;
constexpr std::uint8_t StructureMask = 0x18;

// What a domain takes in data groups, 11.11.3 and 11.11.4.
constexpr std::uint32_t ObjectsGroup = 0x0070;
constexpr std::uint32_t KeyTemplatesGroup = 0x00B9;

// What the card works out by itself cannot be stored in a domain, 11.11.3.1.
bool IsComputed(std::uint32_t tag) {
    constexpr std::uint32_t Computed[] = {
        Tag::SequenceCounter, Tag::ConfirmationCounter, Tag::KeyDiversification,  Tag::CurrentSecurityLevel,
        Tag::KeyInformation,  Tag::ApplicationList,     Tag::ProductionLifeCycle, Tag::ExtendedResources};
    return std::find(std::begin(Computed), std::end(Computed), tag) != std::end(Computed);
}

// The issuer domain, and no other, gets another name; 11.11.3.1.
void Rename(CardContent& content, Application& domain, const Bytes& aid) {
    const bool taken = aid != domain.aid && content.IsTaken(aid);
    if (!IsAid(aid) || taken || !content.IsIssuer(domain)) {
        Refuse(StatusWord::WrongData);
    }
    domain.aid = aid;
}

void StoreInDomain(CardContent& content, Application& domain, const std::vector<TlvObject>& objects) {
    for (const TlvObject& object : objects) {
        if (IsComputed(object.tag)) {
            Refuse(StatusWord::WrongData);
        }
        if (object.tag == Tag::Aid) {
            Rename(content, domain, object.value);
        } else {
            domain.data[object.tag] = object.value;
        }
    }
}

// Passes over what needs no value of its own.
void SkipReferences(Storing& storing) {
    while (storing.keyValues.size() < storing.announced.size() &&
           !ValueGroup(storing.announced[storing.keyValues.size()])) {
        storing.keyValues.emplace_back();
    }
}

// All keys that are announced come to be together, behind the last value.
void TakeKeyValue(Application& domain, Storing& storing, const TlvObject& group, const Bytes& transportKey) {
    if (group.tag != ValueGroup(storing.announced.at(storing.keyValues.size()))) {
        Refuse(StatusWord::WrongData);
    }
    storing.keyValues.push_back(group.value);
    SkipReferences(storing);
    if (storing.keyValues.size() < storing.announced.size()) {
        return;
    }
    StoreKeys(domain, Application(domain), KeysOf(storing.announced, storing.keyValues, transportKey));
    storing.announced.clear();
    storing.keyValues.clear();
}

void StoreGroup(
    CardContent& content, Application& domain, Storing& storing, const TlvObject& group,
    const Bytes& transportKey) {
    const bool keysDue = !storing.announced.empty();
    if (keysDue) {
        TakeKeyValue(domain, storing, group, transportKey);
    } else if (group.tag == KeyTemplatesGroup) {
        storing.announced = ReadKeyTemplates(group.value);
        SkipReferences(storing);
        // References alone are no keys.
        if (storing.keyValues.size() == storing.announced.size()) {
            Refuse(StatusWord::WrongData);
        }
    } else if (group.tag == ObjectsGroup) {
        StoreInDomain(content, domain, Objects(group.value));
    } else {
        Refuse(StatusWord::WrongData);
    }
}

// What the card can do with P1. Objects in BER-TLV are plain; in data groups, what is secret is encrypted in
// any case. Without a word about the structure, a domain reads BER-TLV.
void CheckManner(std::uint8_t p1, bool domain) {
    const std::uint8_t structure = p1 & StructureMask;
    const std::uint8_t encryption = p1 & EncryptionMask;
    const bool encryptedObjects = domain && encryption == Encrypted && structure != DataStructure::DataGroups;
    if (structure == StructureMask || encryption == EncryptionReserved || encryptedObjects) {
        Refuse(StatusWord::WrongParameters);
    }
}

// The objects that are whole with this block; what is left over begins the next block's. What has no
// structure that is told, only an application's code would know.
std::vector<TlvObject> WholeObjects(Storing& storing, const CommandApdu& command, bool domain) {
    const std::uint8_t told = command.p1 & StructureMask;
    const std::uint8_t structure =
        domain && told == DataStructure::Unknown ? std::uint8_t{DataStructure::BerTlv} : told;
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

void KeepForDomain(
    CardContent& content, Application& domain, Storing& storing, const std::vector<TlvObject>& objects,
    const Bytes& transportKey) {
    if (storing.structure != DataStructure::DataGroups) {
        StoreInDomain(content, domain, objects);
        return;
    }
    for (const TlvObject& group : objects) {
        StoreGroup(content, domain, storing, group, transportKey);
    }
}

// The application that is personalized, as long as it can be; else the selected domain itself.
const Application& Target(Runtime& card, const Bytes& personalized) {
    if (personalized.empty()) {
        return *card.SelectedDomain();
    }
    const Application* application = card.Content().FindApplication(personalized);
    if (application == nullptr || application->IsLocked()) {
        card.session.personalized.clear();
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return *application;
}

// Sessions know the issuer domain by its new name.
void FollowName(Runtime& card, const Bytes& before) {
    const Bytes& after = card.Content().issuerDomain.aid;
    const auto follow = [&](Session& session) {
        if (session.selected == before) {
            session.selected = after;
        }
    };
    follow(card.session);
    for (auto& other : card.others) {
        follow(other.second);
    }
}

void Keep(Runtime& card, Storing& storing, const CommandApdu& command, const Bytes& target) {
    CardContent changed = card.Content();
    Application& application = *changed.FindSelectable(target);
    std::vector<TlvObject> objects = WholeObjects(storing, command, application.IsDomain());
    if (application.IsDomain()) {
        KeepForDomain(changed, application, storing, objects, card.session.channel->dataEncryptionKey);
    } else {
        for (TlvObject& object : objects) {
            application.data[object.tag] = std::move(object.value);
        }
    }
    const bool last = (command.p1 & LastBlockFlag) != 0;
    if (last && !storing.announced.empty()) {
        Refuse(StatusWord::WrongData);
    }
    if (storing.remainder.size() > FreeMemory(changed, card.options)) {
        Refuse(StatusWord::NotEnoughMemory);
    }
    if (!objects.empty()) {
        const Bytes before = card.Content().issuerDomain.aid;
        card.Commit(std::move(changed));
        FollowName(card, before);
    }
}

}  // namespace

// Goes to the application that INSTALL named for personalization, else to the selected domain. Each block's
// whole objects last when it is answered. A block that is refused ends the sequence; the last one, whatever
// becomes of it, ends the personalization, 7.3.2.
Answer StoreData(Runtime& card, const CommandApdu& command) {
    const Bytes personalized = card.session.personalized;
    Storing storing = card.session.storing ? std::move(*card.session.storing) : Storing();
    card.session.storing.reset();
    const bool last = (command.p1 & LastBlockFlag) != 0;
    if (last) {
        card.session.personalized.clear();
    }
    const Application& target = Target(card, personalized);
    CheckManner(command.p1, target.IsDomain());
    if (command.p2 != (storing.nextBlock & 0xFF)) {
        Refuse(StatusWord::WrongParameters);
    }
    Keep(card, storing, command, Bytes(target.aid));
    ++storing.nextBlock;
    if (!last) {
        card.session.storing = std::move(storing);
    }
    return {};
}

}  // namespace Card
