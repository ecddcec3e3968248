// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "card/Commands.h"
#include "card/Fields.h"
#include "card/KeyChange.h"
#include "globalplatform/Instruction.h"
#include "globalplatform/Tags.h"

namespace Card {

namespace {

template <typename Items, typename Predicate>
void Remove(Items& items, Predicate predicate) {
    items.erase(std::remove_if(items.begin(), items.end(), predicate), items.end());
}

// A load file goes only when nothing was installed from it, or together with that; 11.2.2.3.1 and 9.5.
void DeleteObject(CardContent& content, const Bytes& aid, bool withRelated) {
    const auto isIt = [&](const auto& each) { return each.aid == aid; };
    if (content.FindApplication(aid) != nullptr) {
        Remove(content.applications, isIt);
        return;
    }
    if (content.FindLoadFile(aid) == nullptr) {
        const bool issuer = aid == content.issuerDomain.aid;
        Refuse(issuer ? StatusWord::ConditionsNotSatisfied : StatusWord::FileNotFound);
    }
    const auto isOfFile = [&](const Application& each) { return each.loadFile == aid; };
    const auto& applications = content.applications;
    if (!withRelated && std::any_of(applications.begin(), applications.end(), isOfFile)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Remove(content.applications, isOfFile);
    Remove(content.loadFiles, isIt);
}

// What is selected on another logical channel is not deleted, 9.5.
void RequireSelectionsStay(const Runtime& card, const CardContent& changed) {
    for (const auto& other : card.others) {
        const Bytes& selected = other.second.selected;
        if (selected != changed.issuerDomain.aid && changed.FindApplication(selected) == nullptr) {
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

// One key; or all keys of a version, or with an identifier, where only that is given; 11.2.2.3.2. The card
// keeps a set that opens a channel.
void DeleteKeys(
    CardContent& content, std::optional<std::uint8_t> identifier, std::optional<std::uint8_t> version) {
    std::size_t deleted = 0;
    for (auto& [setVersion, set] : content.keySets) {
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
    for (auto set = content.keySets.begin(); set != content.keySets.end();) {
        set = set->second.keys.empty() ? content.keySets.erase(set) : std::next(set);
    }
    RequireCompleteSet(content);
}

// The AID, and behind it what belongs to a token, 11.2.2.3.1: the domain that verifies it, and the token
// itself, which is an error where none is asked for.
const Bytes* ObjectName(const std::vector<TlvObject>& objects) {
    if (objects.empty() || objects.front().tag != Tag::Aid) {
        return nullptr;
    }
    for (auto object = objects.begin() + 1; object != objects.end(); ++object) {
        const bool emptyToken = object->tag == Tag::Token && object->value.empty();
        if (object->tag != Tag::ControlReference && !emptyToken) {
            return nullptr;
        }
    }
    return &objects.front().value;
}

}  // namespace

Answer Delete(Runtime& card, const CommandApdu& command) {
    const std::vector<TlvObject> objects = Objects(command.data);
    const Bytes* identifier = FindObject(objects, Tag::KeyIdentifier);
    const Bytes* version = FindObject(objects, Tag::KeyVersion);
    const std::size_t keyObjects = (identifier != nullptr ? 1U : 0U) + (version != nullptr ? 1U : 0U);
    CardContent changed = card.Content();
    if (const Bytes* name = ObjectName(objects)) {
        DeleteObject(changed, *name, (command.p2 & Deletion::WithRelatedObjects) != 0);
        RequireSelectionsStay(card, changed);
    } else if (!objects.empty() && objects.size() == keyObjects) {
        DeleteKeys(changed, KeyNumber(identifier), KeyNumber(version));
    } else {
        Refuse(StatusWord::WrongData);
    }
    card.Commit(std::move(changed));
    return NoConfirmation();
}

}  // namespace Card
