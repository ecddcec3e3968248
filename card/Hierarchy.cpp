// SPDX-License-Identifier: Apache-2.0
#include "card/Hierarchy.h"

namespace Card {

const Application* Above(const CardContent& content, const Application& domain) {
    const bool root = content.IsIssuer(domain) || domain.domain == domain.aid;
    return root ? nullptr : content.Associated(domain.domain);
}

bool IsBelow(const CardContent& content, const Association& association, const Application& domain) {
    const Application* at = content.Associated(association);
    while (at != nullptr && at->aid != domain.aid) {
        at = Above(content, *at);
    }
    return at != nullptr;
}

bool IsOperational(const CardContent& content, const Application& domain) {
    return content.IsIssuer(domain) || domain.state == LifeCycle::Personalized;
}

const Application* NearestWith(
    const CardContent& content, const Application& domain, std::uint32_t privilege) {
    const Application* at = &domain;
    while (at != nullptr && !at->Has(privilege)) {
        at = Above(content, *at);
    }
    return at;
}

bool IsRestricted(const CardContent& content, const Application& domain, std::uint8_t manner) {
    return ((content.restrictions | domain.restrictions) & manner) != 0;
}

const Application& Manager(const Runtime& card, std::uint8_t manner) {
    const CardContent& content = card.Content();
    const Application& domain = *card.SelectedDomain();
    const bool manages =
        domain.Has(Privilege::AuthorizedManagement) || domain.Has(Privilege::DelegatedManagement);
    if (!manages || IsRestricted(content, domain, manner) || !IsOperational(content, domain)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return domain;
}

const Application& AcceptingDomain(const CardContent& content, const Bytes& aid) {
    const Application* domain = content.FindDomain(aid);
    if (domain == nullptr) {
        Refuse(StatusWord::ReferencedDataNotFound);
    }
    if (!IsOperational(content, *domain)) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
    return *domain;
}

void RequireConsent(const CardContent& content, const Association& association, const Application& manager) {
    if (!IsBelow(content, association, manager) ||
        !IsOperational(content, *content.Associated(association))) {
        Refuse(StatusWord::ConditionsNotSatisfied);
    }
}

}  // namespace Card
