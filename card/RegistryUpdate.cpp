// SPDX-License-Identifier: Apache-2.0
#include "card/RegistryUpdate.h"

#include "card/Delegation.h"
#include "card/Fields.h"
#include "card/Hierarchy.h"
#include "card/Installation.h"
#include "globalplatform/Aid.h"

namespace Card {

namespace {

constexpr std::uint8_t EveryRestriction = 0x7F;

bool IsAidOrNothing(const Bytes& field) {
    return field.empty() || IsAid(field);
}

// Where the association of an application or a load file stands, or nothing. The issuer domain has none, 7.2.
Association* FindAssociation(CardContent& content, const Bytes& aid) {
    if (Application* application = content.FindApplication(aid)) {
        return &application->domain;
    }
    LoadFile* file = content.FindLoadFile(aid);
    return file == nullptr ? nullptr : &file->domain;
}

// The name of the domain that it is associated with, as receipts tell it; nothing when it is not there.
Bytes DomainOf(CardContent& content, const Bytes& aid) {
    const Association* association = FindAssociation(content, aid);
    return association == nullptr ? Bytes() : content.Associated(*association)->aid;
}

// To another domain, or of a domain to itself, which makes it the root of a hierarchy, 7.2. None gets below
// what is below itself.
void Extradite(CardContent& content, const Application& manager, const Bytes& aid, const Bytes& newDomain) {
    if (aid == content.issuerDomain.aid) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Association* association = FindAssociation(content, aid);
    if (association == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    RequireConsent(content, *association, manager);
    const Application& taker = AcceptingDomain(content, newDomain);
    const Application* moved = content.FindDomain(aid);
    if (moved != nullptr && taker.aid != aid && IsBelow(content, taker.domain, *moved)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    if (moved == nullptr && content.FindLoadFile(aid) != nullptr && taker.Has(Privilege::DapVerification)) {
        Refuse(StatusWord::ConditionsNotSatisfied);  // it gets files with its signature alone, 9.4.1
    }
    *association = content.AssociationWith(taker);
}

// For good: only who may lock everything takes from all domains what they may manage; 9.1.3.5.
void RestrictCard(CardContent& content, const Application& manager, const std::vector<Bytes>& fields) {
    const UpdateParameters parameters = ReadUpdateParameters(fields[4]);
    RequireEmpty(fields, {0, 3});
    if (!parameters.restriction || !parameters.implicitSelection.empty()) {
        Refuse(StatusWord::WrongData);
    }
    if (!manager.Has(Privilege::GlobalLock)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    content.restrictions |= *parameters.restriction & EveryRestriction;
}

// The privileges that are given are those that it has then; 9.4.2.
void UpdatePrivileges(const CardContent& content, Application& application, const Bytes& field) {
    if (field.empty()) {
        return;
    }
    application.privileges = ReadPrivileges(field, application.IsDomain());
    if (application.Has(Privilege::CardReset) && application.state == LifeCycle::Installed) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    RequireSingleHolder(content, application);
}

void UpdateApplication(CardContent& content, const Application& manager, const std::vector<Bytes>& fields) {
    const UpdateParameters parameters = ReadUpdateParameters(fields[4]);
    if (fields[2] == content.issuerDomain.aid) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Application* application = content.FindApplication(fields[2]);
    if (application == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    RequireConsent(content, application->domain, manager);
    if (parameters.restriction && !application->IsDomain()) {
        Refuse(StatusWord::WrongData);
    }
    if (!parameters.implicitSelection.empty() && application->state == LifeCycle::Installed) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    Application updated = *application;
    UpdatePrivileges(content, updated, fields[3]);
    AddImplicitSelection(content, updated, parameters.implicitSelection);
    updated.restrictions |= parameters.restriction.value_or(0) & EveryRestriction;
    *application = std::move(updated);
    if (!fields[0].empty()) {
        Extradite(content, manager, fields[2], fields[0]);
    }
}

}  // namespace

// Fields of 11.5.2.3.4: new domain, nothing, application or load file, nothing, parameters, token.
Answer InstallForExtradition(Runtime& card, const CommandApdu& command) {
    const std::vector<Bytes> fields = Fields(command.data, 6);
    RequireEmpty(fields, {1, 3});
    if (!IsAid(fields[0]) || !IsAid(fields[2])) {
        Refuse(StatusWord::WrongData);
    }
    const Application& manager = Manager(card, command.p1);
    const Order order = InstallOrder(command, fields);
    CardContent changed = card.Content();
    const Bytes before = DomainOf(changed, fields[2]);
    Extradite(changed, manager, fields[2], fields[0]);
    const Mandate mandate = RequireMandate(card, manager, order);
    return CommitAndConfirm(card, std::move(changed), mandate, {before, fields[2], fields[0]});
}

// Fields of 11.5.2.3.5: new domain, nothing, application, privileges, parameters, token. Without an
// application it is the whole card that is restricted. All of it is done, or nothing.
Answer InstallForRegistryUpdate(Runtime& card, const CommandApdu& command) {
    const std::vector<Bytes> fields = Fields(command.data, 6);
    RequireEmpty(fields, {1});
    if (!IsAidOrNothing(fields[0]) || !IsAidOrNothing(fields[2])) {
        Refuse(StatusWord::WrongData);
    }
    const Application& manager = Manager(card, command.p1);
    const Order order = InstallOrder(command, fields);
    CardContent changed = card.Content();
    const Bytes before = DomainOf(changed, fields[2]);
    if (fields[2].empty()) {
        RestrictCard(changed, manager, fields);
    } else {
        UpdateApplication(changed, manager, fields);
    }
    const Mandate mandate = RequireMandate(card, manager, order);
    return CommitAndConfirm(
        card, std::move(changed), mandate, {before, fields[2], fields[0], fields[3], fields[4]});
}

}  // namespace Card
