// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "card/Delegation.h"
#include "card/Fields.h"
#include "card/Hierarchy.h"
#include "card/KeyChange.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"

namespace Card {

namespace {

// As restrictions have it, table 11-53.
constexpr std::uint8_t DeletionManner = 0x01;

template <typename Items, typename Predicate>
void Remove(Items& items, Predicate predicate) {
    items.erase(std::remove_if(items.begin(), items.end(), predicate), items.end());
}

// By the domain that has it, one above that, or one that may delete everything; 9.5.
void RequireMayDelete(
    const CardContent& content, const Association& association, const Application& manager) {
    if (!IsBelow(content, association, manager) && !manager.Has(Privilege::GlobalDelete)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
}

// A load file goes only when nothing was installed from it, or together with that; 11.2.2.3.1 and 9.5.
void DeleteLoadFile(
    CardContent& content, const LoadFile& file, const Application& manager, bool withRelated) {
    const Bytes aid = file.aid;
    RequireMayDelete(content, file.domain, manager);
    for (const Application& application : content.applications) {
        if (application.loadFile != aid) {
            continue;
        }
        if (!withRelated) {
            Refuse(StatusWord::ConditionsNotSatisfied);
        }
        RequireMayDelete(content, application.domain, manager);
    }
    Remove(content.applications, [&](const Application& each) { return each.loadFile == aid; });
    Remove(content.loadFiles, [&](const LoadFile& each) { return each.aid == aid; });
}

void DeleteObject(CardContent& content, const Application& manager, const Bytes& aid, bool withRelated) {
    if (const Application* application = content.FindApplication(aid)) {
        RequireMayDelete(content, application->domain, manager);
        Remove(content.applications, [&](const Application& each) { return each.aid == aid; });
        return;
    }
    const LoadFile* file = content.FindLoadFile(aid);
    if (file == nullptr) {
        const bool issuer = aid == content.issuerDomain.aid;
        Refuse(issuer ? StatusWord::ConditionsNotSatisfied : StatusWord::FileNotFound);
    }
    DeleteLoadFile(content, *file, manager, withRelated);
}

// A domain stays as long as something that stays is associated with it; 9.5.1 and 9.5.3.
void RequireDomainsStay(const CardContent& content) {
    const auto lost = [&](const auto& entry) { return content.Associated(entry.domain) == nullptr; };
    if (std::any_of(content.applications.begin(), content.applications.end(), lost) ||
        std::any_of(content.loadFiles.begin(), content.loadFiles.end(), lost)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
}

// What is selected on another logical channel is not deleted, 9.5.
void RequireSelectionsStay(const Runtime& card, const CardContent& changed) {
    for (const auto& other : card.others) {
        if (changed.FindSelectable(other.second.selected) == nullptr) {
            Refuse(StatusWord::ConditionsNotSatisfied);
        }
    }
}

std::optional<std::uint8_t> KeyNumber(const Bytes* value) {
    if (value == nullptr) {
        return std::nullopt;
    }
    if (value->size() != 1) {
        Refuse(StatusWord::WrongData);
    }
    return value->front();
}

// One key; or all keys of a version, or with an identifier, where only that is given; 11.2.2.3.2.
void DeleteKeys(KeySets& sets, std::optional<std::uint8_t> identifier, std::optional<std::uint8_t> version) {
    std::size_t deleted = 0;
    for (auto& [setVersion, set] : sets) {
        if (version && setVersion != *version) {
            continue;
        }
        deleted += identifier ? set.keys.erase(*identifier) : set.keys.size();
        if (!identifier) {
            set.keys.clear();
        }
    }
    if (deleted == 0) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    for (auto set = sets.begin(); set != sets.end();) {
        set = set->second.keys.empty() ? sets.erase(set) : std::next(set);
    }
}

// The AID, and behind it what belongs to a token, 11.2.2.3.1: the domain that verifies it, and the token
// itself.
const Bytes* ObjectName(const std::vector<TlvObject>& objects) {
    if (objects.empty() || objects.front().tag != Tag::Aid) {
        return nullptr;
    }
    const bool alone = std::all_of(objects.begin() + 1, objects.end(), [](const TlvObject& object) {
        return object.tag == Tag::ControlReference || object.tag == Tag::Token;
    });
    return alone ? &objects.front().value : nullptr;
}

Answer DeleteContent(
    Runtime& card, const CommandApdu& command, const std::vector<TlvObject>& objects, const Bytes& name) {
    CardContent changed = card.Content();
    const Application& manager = Manager(card, DeletionManner);
    DeleteObject(changed, manager, name, (command.p2 & Deletion::WithRelatedObjects) != 0);
    RequireDomainsStay(changed);
    RequireSelectionsStay(card, changed);
    const Mandate mandate = RequireMandate(card, manager, DeletionOrder(command, objects));
    return CommitAndConfirm(card, std::move(changed), mandate, {name});
}

}  // namespace

Answer Delete(Runtime& card, const CommandApdu& command) {
    const std::vector<TlvObject> objects = Objects(command.data);
    if (const Bytes* name = ObjectName(objects)) {
        return DeleteContent(card, command, objects, *name);
    }
    const Bytes* identifier = FindObject(objects, Tag::KeyIdentifier);
    const Bytes* version = FindObject(objects, Tag::KeyVersion);
    const std::size_t keyObjects = (identifier != nullptr ? 1U : 0U) + (version != nullptr ? 1U : 0U);
    if (objects.empty() || objects.size() != keyObjects) {
        Refuse(StatusWord::WrongData);
    }
    CardContent changed = card.Content();
    Application& domain = *changed.FindSelectable(card.session.selected);
    DeleteKeys(domain.keySets, KeyNumber(identifier), KeyNumber(version));
    RequireCompleteSet(domain, *card.SelectedDomain());
    card.Commit(std::move(changed));
    return NoConfirmation();
}

}  // namespace Card
